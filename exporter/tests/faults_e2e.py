#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Faults while the exporter runs, on copies of real modules: a module file
deleted, truncated, replaced with garbage, an SFP replaced by a CMIS module,
and a read that hangs (a FIFO nobody writes). Each change shows up by the
next polls as the right metrics or a counted read error, the other ports
keep their values, every scrape answers within 100 ms, and SIGTERM stops
the exporter cleanly.

usage: faults_e2e.py EXPORTER SFP_DUMP SFP_DUMP2 QSFP_DUMP CMIS_DUMP
"""

import os
import shutil
import sys
import tempfile
import threading
import time

from harness import Exporter, parse, select, value, wait_until

INTERVAL = 0.3
TIMEOUT = 0.5
CHANGE_LIMIT = 10.0  # seconds for a change to show up: many polls


def main():
    exporter_bin, sfp, sfp2, qsfp, cmis = sys.argv[1:]
    work = tempfile.mkdtemp(prefix="fiberdecode-faults-")
    layout = {"keep_sfp": sfp, "keep_qsfp": qsfp, "keep_cmis": cmis, "deleted": sfp2, "truncated": qsfp,
              "garbage": sfp, "swapped": sfp2, "hung": sfp}
    args = []
    for name, source in layout.items():
        shutil.copy(source, os.path.join(work, name))
        args += ["--module", f"{name}={os.path.join(work, name)}"]
    exporter = Exporter(exporter_bin, args + ["--interval", str(INTERVAL), "--read-timeout", str(TIMEOUT)])

    latencies, failed, stop = [], [], threading.Event()

    def scraper():
        while not stop.is_set() and len(latencies) < 20000:
            try:
                status, _, _, seconds = exporter.get("/metrics", timeout=2)
                latencies.append(seconds)
                if status != 200:
                    failed.append(status)
            except OSError as error:
                failed.append(str(error))
            time.sleep(0.01)

    def snapshot():
        return parse(exporter.metrics())

    def keeps(samples, baseline):
        for port in ("keep_sfp", "keep_qsfp", "keep_cmis"):
            for name in ("fiberdecode_temperature_celsius", "fiberdecode_module_present",
                         "fiberdecode_read_errors_total"):
                if value(samples, name, port=port) != value(baseline, name, port=port):
                    return False
        return True

    thread = threading.Thread(target=scraper, daemon=True)
    status = None
    try:
        base = wait_until(lambda: (s := snapshot()) and all(
            value(s, "fiberdecode_module_present", port=p) == 1 for p in layout) and s, 20)
        assert base, "the first round did not find every module"
        thread.start()

        def change(label, action, predicate):
            action()
            samples = wait_until(lambda: (s := snapshot()) and predicate(s) and s, CHANGE_LIMIT)
            assert samples, f"{label}: not seen within {CHANGE_LIMIT} s:\n" + exporter.metrics()
            assert keeps(samples, base), f"{label}: the other ports changed"
            print(f"{label}: seen")

        path = lambda name: os.path.join(work, name)

        # Deleted: no module, and not a read error.
        change("deleted", lambda: os.remove(path("deleted")),
               lambda s: value(s, "fiberdecode_module_present", port="deleted") == 0
               and value(s, "fiberdecode_read_errors_total", port="deleted") == 0
               and not select(s, "fiberdecode_temperature_celsius", port="deleted"))

        # Truncated to less than its pages: counted errors, nothing stale.
        def truncate():
            with open(path("truncated"), "r+b") as f:
                f.truncate(100)
        change("truncated", truncate,
               lambda s: value(s, "fiberdecode_read_errors_total", port="truncated") >= 1
               and value(s, "fiberdecode_module_present", port="truncated") == 0
               and not select(s, "fiberdecode_module_info", port="truncated"))

        # Garbage: text that is no module dump.
        def garbage():
            with open(path("garbage"), "w") as f:
                f.write("this is not a module memory dump\n" * 20)
        change("garbage", garbage,
               lambda s: value(s, "fiberdecode_read_errors_total", port="garbage") >= 1
               and value(s, "fiberdecode_module_present", port="garbage") == 0)

        # An SFP swapped for a CMIS module: the port reports the new family.
        def swap():
            shutil.copy(cmis, path("swapped") + ".new")
            os.replace(path("swapped") + ".new", path("swapped"))
        change("swapped", swap,
               lambda s: [l["family"] for l, _ in select(s, "fiberdecode_module_info", port="swapped")] == ["cmis"]
               and len(select(s, "fiberdecode_module_state", port="swapped")) == 1
               and value(s, "fiberdecode_read_errors_total", port="swapped") == 0)

        # A read that never returns: a FIFO nobody writes. Errors are counted
        # round after round while the read stays blocked.
        def hang():
            os.remove(path("hung"))
            os.mkfifo(path("hung"))
        change("hung", hang,
               lambda s: value(s, "fiberdecode_read_errors_total", port="hung") >= 3
               and value(s, "fiberdecode_module_present", port="hung") == 0)

        # The hung read does not stop the rounds: a change elsewhere still shows.
        change("deleted file back", lambda: shutil.copy(sfp2, path("deleted")),
               lambda s: value(s, "fiberdecode_module_present", port="deleted") == 1)

        stop.set()
        thread.join(10)
        worst = max(latencies)
        ordered = sorted(latencies)
        print(f"scrapes: {len(latencies)}, failed: {len(failed)}, p50 {ordered[len(ordered) // 2] * 1000:.1f} ms, "
              f"max {worst * 1000:.1f} ms")
        assert len(latencies) >= 50, "too few scrapes"
        assert not failed, f"failed scrapes: {failed[:5]}"
        assert worst < 0.1, f"a scrape took {worst * 1000:.1f} ms"
    finally:
        stop.set()
        started = time.monotonic()
        status = exporter.terminate(timeout=15)
        print(f"SIGTERM: exit status {status} after {time.monotonic() - started:.2f} s")
        shutil.rmtree(work, ignore_errors=True)
    assert status == 0, f"exit status after SIGTERM: {status}"
    assert any("stopping" in line for line in exporter.lines), exporter.lines
    return 0


if __name__ == "__main__":
    sys.exit(main())
