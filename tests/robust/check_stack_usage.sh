#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Fails when any function of the library has a stack frame above the limit,
# reading the .su files that -fstack-usage writes next to the objects.
# A frame of unbounded (dynamic) size fails too, and so does finding no .su
# file at all: the check must never pass by having nothing to read.
#
# usage: check_stack_usage.sh OBJECT_DIR [LIMIT_BYTES]   (default 9216 = 9 KiB)
set -eu
dir=$1
limit=${2:-9216}
files=$(find "$dir" -name '*.su' -type f | sort)
if [ -z "$files" ]; then
  echo "no .su files under $dir: was the library compiled with -fstack-usage?" >&2
  exit 1
fi
# Each line: file:line:column:function<TAB>bytes<TAB>static|dynamic[,bounded]
# shellcheck disable=SC2086
awk -F '\t' -v limit="$limit" '
  NF >= 3 {
    functions++
    if ($2 + 0 > max) { max = $2 + 0; largest = $1 }
    if ($2 + 0 > limit) { print "frame over " limit " bytes: " $2 "  " $1; bad++ }
    else if ($3 ~ /dynamic/ && $3 !~ /bounded/) { print "frame of unbounded size: " $1; bad++ }
  }
  END {
    if (functions == 0) { print "no function listed in the .su files"; exit 1 }
    printf "%d functions, largest frame %d bytes (%s), limit %d\n", functions, max, largest, limit
    exit bad > 0
  }' $files
