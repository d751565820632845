#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Compares the dynamic symbols a shared library defines with the names its
# public header declares: nothing internal may leak, nothing public may miss,
# and every name carries the version node given (FIBERDECODE_1.0).
set -eu
lib=$1
header=$2
node=$3
tmp=${TMPDIR:-/tmp}/fiber_exports.$$
trap 'rm -f "$tmp".*' EXIT
nm -D --defined-only "$lib" | awk '$2 ~ /^[TDBRVW]$/ {print $3}' | sort -u >"$tmp.versioned"
if grep -v "@@$node\$" "$tmp.versioned" >"$tmp.other"; then
  echo "exported without the version $node:" >&2
  cat "$tmp.other" >&2
  exit 1
fi
sed 's/@.*//' "$tmp.versioned" >"$tmp.lib"
grep -E '^FIBER_API' "$header" | sed -E 's/\(.*//; s/\[.*//; s/.*[ *]([A-Za-z_][A-Za-z0-9_]*)$/\1/' | sort -u >"$tmp.hdr"
if ! diff -u "$tmp.hdr" "$tmp.lib"; then
  echo "exported symbols differ from the header (- header only, + library only)" >&2
  exit 1
fi
echo "$(wc -l <"$tmp.hdr") public names exported as $node, nothing else"
