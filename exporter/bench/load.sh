#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Load benchmark of fiberdecode-exporter (not a test): 512 modules (copies of
# the bundled real modules), 32 concurrent scrapers for 20 s on loopback with
# wrk, once plain and once with Accept-Encoding: gzip as Prometheus sends it.
# Prints scrapes per second, p50/p99 latency, failed scrapes, CPU time per
# scrape and resident memory before and after.
#
#   exporter/bench/load.sh [build-dir] [modules] [connections] [seconds]
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build}
modules=${2:-512}
connections=${3:-32}
seconds=${4:-20}
exporter=$build/fiberdecode-exporter
[ -x "$exporter" ] || { echo "no $exporter: build first (scripts/build)" >&2; exit 2; }
command -v wrk >/dev/null || { echo "wrk missing (Debian package wrk; scripts/deps installs it)" >&2; exit 2; }

work=$(mktemp -d)
pid=
cleanup() { [ -n "$pid" ] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT

mapfile -t dumps < <(ls tests/data/*/dump.bin samples/*.bin)
mkdir "$work/modules"
for ((i = 0; i < modules; i++)); do
  cp "${dumps[i % ${#dumps[@]}]}" "$work/modules/port$i"
  echo "port$i $work/modules/port$i"
done >"$work/modules.txt"

"$exporter" --modules-file "$work/modules.txt" --web.listen-address 127.0.0.1:0 --interval 60 2>"$work/log" &
pid=$!
for _ in $(seq 100); do grep -q listening "$work/log" && break; sleep 0.1; done
port=$(grep -o 'listening on 127.0.0.1:[0-9]*' "$work/log" | grep -o '[0-9]*$')
url=http://127.0.0.1:$port/metrics
for _ in $(seq 200); do
  [ "$(curl -s "$url" | grep -c '^fiberdecode_module_present{')" -eq "$modules" ] && break
  sleep 0.1
done
bytes=$(curl -s "$url" | wc -c)
gz_bytes=$(curl -s -H 'Accept-Encoding: gzip' "$url" | wc -c)

cpu_ticks() { awk '{print $14 + $15}' "/proc/$pid/stat"; }
rss_kib() { awk '/^VmRSS/ {print $2}' "/proc/$pid/status"; }
hz=$(getconf CLK_TCK)
echo "modules: $modules, body: $bytes bytes ($gz_bytes gzip), $connections connections, ${seconds} s each, $(nproc) CPUs"
echo "resident memory at start: $(rss_kib) KiB"

run() {
  local label=$1; shift
  local before after out requests
  before=$(cpu_ticks)
  out=$(wrk -t2 -c"$connections" -d"${seconds}s" --latency --timeout 5s "$@" "$url")
  after=$(cpu_ticks)
  requests=$(awk '/requests in/ {print $1}' <<<"$out")
  printf '%-6s scrapes/s %s  p50 %s  p99 %s  failed %s  CPU per scrape %s ms  RSS %s KiB\n' "$label" \
    "$(awk '/Requests\/sec/ {print $2}' <<<"$out")" \
    "$(awk '$1 == "50%" {print $2}' <<<"$out")" "$(awk '$1 == "99%" {print $2}' <<<"$out")" \
    "$(awk '/Non-2xx|Socket errors/ {s = s $0 "; "} END {print (s == "" ? 0 : s)}' <<<"$out")" \
    "$(awk -v t=$((after - before)) -v r="$requests" -v hz="$hz" 'BEGIN {printf "%.3f", t * 1000 / hz / r}')" \
    "$(rss_kib)"
}
run plain
run gzip -H 'Accept-Encoding: gzip'
echo "resident memory at end: $(rss_kib) KiB"
