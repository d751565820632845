#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Rewrites the golden reports of the command-line decoder tests from a built
# tool. The tests only compare; run this after a deliberate change to the
# reports or to the library's decoding, and review the diff by eye against
# the sample bytes before committing.
#
#   tests/cli/update_golden.sh [BUILD_DIR]     (default: build)
set -eu
cd "$(dirname "$0")/../.."
tool="${1:-build}/fiberdecode"
golden=tests/cli/golden
for image in samples/*.bin; do
    name=$(basename "$image" .bin)
    "$tool" "$image" > "$golden/$name.txt"
    "$tool" --json "$image" > "$golden/$name.json"
done
"$tool" --dump samples/qsfpdd-400g-fr4.bin > "$golden/qsfpdd-400g-fr4.dump.txt"
echo "golden reports rewritten in $golden"
