#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The exporter's metrics for real modules of every family: promtool check
metrics accepts them, and every value equals the one `fiberdecode --json`
gives for the same file; /modules carries the same documents.

usage: check_metrics.py EXPORTER FIBERDECODE PROMTOOL FILE...
"""

import gzip
import json
import math
import os
import subprocess
import sys

from harness import Exporter, parse, select, value, wait_until

FAMILIES = ["module_present", "module_info", "temperature_celsius", "supply_voltage_volts", "tx_bias_amperes",
            "tx_power_dbm", "rx_power_dbm", "temperature_threshold_celsius", "supply_voltage_threshold_volts",
            "tx_bias_threshold_amperes", "tx_power_threshold_dbm", "rx_power_threshold_dbm", "alarm_active",
            "module_state", "datapath_state", "read_errors_total", "last_read_success_timestamp_seconds",
            "read_duration_seconds", "exporter_build_info"]
THRESHOLDS = {"temperature_celsius": "temperature_threshold_celsius",
              "supply_voltage_volts": "supply_voltage_threshold_volts",
              "tx_bias_amperes": "tx_bias_threshold_amperes",
              "tx_power_dbm": "tx_power_threshold_dbm",
              "rx_power_dbm": "rx_power_threshold_dbm"}
LEVELS = ["high_alarm", "low_alarm", "high_warning", "low_warning"]

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)


def dbm(number, watts):
    """The metric a document's dBm becomes: null at 0 W is -Inf."""
    if number is None:
        return -math.inf if watts == 0 else None
    return float(number)


def expect(samples, port, name, want, **labels):
    got = value(samples, "fiberdecode_" + name, port=port, **labels)
    if want is None:
        check(not select(samples, "fiberdecode_" + name, port=port, **labels),
              f"{port}: {name} {labels} should be absent")
    else:
        check(got == float(want), f"{port}: {name} {labels} is {got}, the document says {want}")


def compare(samples, port, doc):
    vendor, normal, description = doc["vendor"] or {}, doc["normal"] or {}, doc.get("description") or {}
    info = select(samples, "fiberdecode_module_info", port=port)
    check(len(info) == 1, f"{port}: {len(info)} module_info samples")
    if info:
        labels = info[0][0]
        ident = description.get("identifier")
        want = {"family": doc["kind"],
                "identifier": ident.get("name", "") if isinstance(ident, dict) else (ident or ""),
                "vendor": (vendor.get("vendor_name") or "").rstrip(" "),
                "part_number": (vendor.get("vendor_pn") or "").rstrip(" "),
                "serial": (normal.get("serial_number") or "").rstrip(" "),
                "revision": (vendor.get("vendor_rev") or "").rstrip(" "),
                "type": (normal.get("name_prefix") or "") + (normal.get("type_name") or ""),
                "summary": description.get("summary") or ""}
        for key, text in want.items():
            check(labels.get(key) == text, f"{port}: module_info {key}={labels.get(key)!r}, document {text!r}")

    readings = doc.get("readings")
    if readings is None:
        for name in ["temperature_celsius", "supply_voltage_volts", "tx_power_dbm", "rx_power_dbm"]:
            expect(samples, port, name, None)
    else:
        expect(samples, port, "temperature_celsius", readings["temperature_celsius"])
        expect(samples, port, "supply_voltage_volts", readings["supply_voltage_volts"])
        lanes = readings["lanes"]
        check(len(select(samples, "fiberdecode_rx_power_dbm", port=port)) == len(lanes),
              f"{port}: Rx power lanes differ from the document's {len(lanes)}")
        for lane in lanes:
            n = str(lane["lane"])
            expect(samples, port, "tx_bias_amperes", lane["tx_bias_amperes"], lane=n)
            expect(samples, port, "tx_power_dbm", dbm(lane["tx_power_dbm"], lane["tx_power_watts"]), lane=n)
            expect(samples, port, "rx_power_dbm", dbm(lane["rx_power_dbm"], lane["rx_power_watts"]), lane=n)
        thresholds = readings.get("thresholds") or {}
        for key, family in THRESHOLDS.items():
            block = thresholds.get(key) or {}
            watts = thresholds.get(key.replace("_dbm", "_watts")) or {} if key.endswith("_dbm") else None
            for level in LEVELS:
                want = block.get(level)
                if watts is not None:
                    want = dbm(want, watts.get(level))
                expect(samples, port, family, want, level=level)

    alarms = {(str(a["id"]), a["text"]) for a in ((doc.get("alarm") or {}).get("alarms") or [])}
    got = {(l["id"], l["alarm"]) for l, v in select(samples, "fiberdecode_alarm_active", port=port) if v == 1}
    check(alarms == got, f"{port}: alarms {sorted(got)} differ from the document's {sorted(alarms)}")

    core = doc.get("coremgmt")
    states = select(samples, "fiberdecode_module_state", port=port)
    if core is None:
        check(not states, f"{port}: a module state without coremgmt")
    else:
        check([l["state"] for l, _ in states] == [core["module_state"]], f"{port}: module state {states}")
        for l, _ in select(samples, "fiberdecode_datapath_state", port=port):
            check(core["datapath_state"][int(l["lane"]) - 1] == l["state"], f"{port}: data path {l}")


def main():
    exporter_bin, fiberdecode, promtool, *files = sys.argv[1:]
    args = []
    ports = {}
    for path in files:
        port = os.path.basename(os.path.dirname(path)) if os.path.basename(path) == "dump.bin" else \
            os.path.basename(path)
        ports[port] = path
        args += ["--module", f"{port}={path}"]
    exporter = Exporter(exporter_bin, args + ["--interval", "60"])
    try:
        ready = wait_until(lambda: len(select(parse(exporter.metrics()), "fiberdecode_module_present")) == len(ports), 20)
        check(ready, "the first round did not complete")
        text = exporter.metrics()
        samples = parse(text)

        lint = subprocess.run([promtool, "check", "metrics"], input=text, capture_output=True, text=True)
        check(lint.returncode == 0 and not lint.stdout.strip() and not lint.stderr.strip(),
              "promtool check metrics: " + lint.stdout + lint.stderr)
        for family in FAMILIES:
            check(f"# TYPE fiberdecode_{family} " in text, f"family {family} missing")
        check("# TYPE fiberdecode_read_errors_total counter" in text, "read_errors_total is not a counter")

        status, headers, body, _ = exporter.get("/metrics", {"Accept-Encoding": "gzip"})
        check(status == 200 and headers.get("Content-Encoding") == "gzip", "no gzip response")
        check(gzip.decompress(body).decode() == text, "the gzip body differs from the plain one")

        status, headers, body, _ = exporter.get("/modules")
        check(status == 200 and headers.get("Content-Type") == "application/json", "/modules")
        listed = {entry["port"]: entry for entry in json.loads(body)}
        check(set(listed) == set(ports), "/modules lists other ports")

        families = set()
        for port, path in ports.items():
            doc = json.loads(subprocess.run([fiberdecode, "--json", path], capture_output=True, text=True).stdout)
            families.add(doc["kind"])
            check(value(samples, "fiberdecode_module_present", port=port) == 1, f"{port}: not present")
            check(value(samples, "fiberdecode_read_errors_total", port=port) == 0, f"{port}: read errors")
            compare(samples, port, doc)
            module = dict(listed[port]["module"])
            check(module.pop("file") == port, f"{port}: /modules names the file otherwise")
            doc.pop("file")
            check(module == doc, f"{port}: /modules document differs from fiberdecode --json")
        check(families == {"sfp", "xfp", "qsfp", "cmis"}, f"families covered: {sorted(families)}")
    finally:
        status = exporter.terminate()
        check(status == 0, f"exit status after SIGTERM: {status}")
    for f in failures:
        print("FAIL:", f)
    print(f"{len(ports)} modules, {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
