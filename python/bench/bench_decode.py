#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Benchmark of the Python package: microseconds per module for decoding
every real module of the test data (tests/data/*/dump.bin) from Python,
with every record, next to a pure-Python reference a user might otherwise
write (SFF-8472 A2h temperature, voltage, bias and powers with struct),
measured in the same run.

    PYTHONPATH=build/python /usr/bin/python3 python/bench/bench_decode.py

Each figure is the best of --repeat rounds of --loops passes over all
modules, divided by the number of modules decoded per pass.
"""

import argparse
import math
import pathlib
import struct
import sys
import time

import fiberdecode as fd

SOURCE_DIR = pathlib.Path(__file__).resolve().parents[2]


def sfp_diag_struct(a2):
    """What a script would do by hand: SFF-8472 A2h bytes 96-105 (internal
    calibration): temperature in 1/256 degree C, Vcc in 100 uV, Tx bias in
    2 uA, Tx and Rx power in 0.1 uW, powers converted to dBm."""
    temperature, vcc, bias, tx, rx = struct.unpack_from(">hHHHH", a2, 96)

    def dbm(power):
        return 10.0 * math.log10(power / 10000.0) if power else -40.0

    return {"temperature": temperature / 256.0, "voltage": vcc / 10000.0, "tx_bias": bias * 0.002,
            "tx_power": dbm(tx), "rx_power": dbm(rx)}


def all_records(module):
    return (module.normal, module.vendor, module.diag, module.readings, module.alarm, module.coremgmt,
            module.alarms, module.notes)


def pages_of(kind, image):
    if kind == fd.Kind.SFP:
        return image[:128], {0: image[256:384]} if len(image) >= 384 else {}
    if kind == fd.Kind.XFP:
        return image[128:256], {0: image[:128]}
    size = (lambda n: 512 if kind == fd.Kind.CMIS and (0x20 <= n <= 0x23 or n == 0x2C) else 128)
    return image[:128], {n: image[128 * (n + 1):128 * (n + 1) + size(n)].ljust(size(n), b"\0")
                         for n in range(fd.PAGE_COUNT) if len(image) >= 128 * (n + 2)}


def measure(label, work, items, loops, repeat):
    best = math.inf
    for _ in range(repeat):
        start = time.process_time_ns()
        for _ in range(loops):
            for item in items:
                work(item)
        best = min(best, (time.process_time_ns() - start) / (loops * len(items)) / 1000.0)
    print(f"| {label} | {len(items)} | {best:.2f} |")
    return best


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--loops", type=int, default=200)
    parser.add_argument("--repeat", type=int, default=7)
    args = parser.parse_args()

    images = [p.read_bytes() for p in sorted((SOURCE_DIR / "tests" / "data").glob("*/dump.bin"))]
    modules = [fd.decode_bytes(image) for image in images]
    pages = [(m.kind, *pages_of(m.kind, image)) for m, image in zip(modules, images)]
    a2_blocks = [image[256:384] for m, image in zip(modules, images)
                 if m.kind == fd.Kind.SFP and len(image) >= 384 and m.diag and m.diag.ddm_supported]

    print(f"fiberdecode {fd.__version__}, Python {sys.version.split()[0]}; "
          f"{len(images)} real modules, best of {args.repeat} x {args.loops} passes")
    print("| per module | modules | µs |")
    print("|---|---:|---:|")
    measure("`decode_bytes`", fd.decode_bytes, images, args.loops, args.repeat)
    measure("`decode_bytes` + `to_dict()`", lambda d: fd.decode_bytes(d).to_dict(), images, args.loops, args.repeat)
    measure("`decode_bytes` + every record as attributes", lambda d: all_records(fd.decode_bytes(d)), images,
            args.loops, args.repeat)
    measure("`decode_pages` + `to_dict()`", lambda p: fd.decode_pages(*p).to_dict(), pages, args.loops,
            args.repeat)
    measure("pure Python: SFP A2h monitors with `struct` (SFP modules only)", sfp_diag_struct, a2_blocks,
            args.loops, args.repeat)


if __name__ == "__main__":
    main()
