#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The ABI guard of libfiberdecode.so.1, with libabigail.
#   abi.sh check  LIB HEADERS BASELINE   abidiff BASELINE against LIB: any change fails
#   abi.sh update LIB HEADERS BASELINE   rewrite BASELINE from LIB (abidw)
# LIB must carry DWARF debug information: record layouts are seen only there.
# The version script exports only the names of the public header in HEADERS,
# so the types compared are those its functions and data reach.
set -eu
mode=$1
lib=$2
headers=$3
baseline=$4

if ! readelf -S "$lib" | grep -q '\.debug_info'; then
  echo "$lib has no debug information: abidw cannot see the record layouts" >&2
  exit 1
fi

case $mode in
  update)
    # Translation units are named relative to the source tree, not the
    # machine that wrote the baseline.
    root=$(cd "$headers/.." && pwd)
    abidw --no-corpus-path --no-comp-dir-path --no-show-locs "$lib" | sed "s|path='$root/|path='|" >"$baseline"
    echo "wrote $baseline"
    ;;
  check)
    status=0
    abidiff --no-show-locs "$baseline" "$lib" || status=$?
    if [ "$status" -ne 0 ]; then
      # abidiff's status is a bit set: 1 error, 2 usage, 4 ABI change, 8 incompatible change.
      echo "abidiff status $status: the ABI of $lib differs from $baseline." >&2
      echo "An intended change regenerates the baseline in the same commit:" >&2
      echo "  cmake --build <build dir> --target abi_baseline" >&2
      exit 1
    fi
    echo "ABI of $lib matches $baseline"
    ;;
  *)
    echo "usage: abi.sh check|update LIB HEADERS BASELINE" >&2
    exit 2
    ;;
esac
