#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A real Prometheus server on loopback scrapes the exporter: its HTTP API
returns the modules' temperatures and an active alarm, and the example
rules load and evaluate.

usage: prometheus_e2e.py EXPORTER PROMETHEUS ALERTS_YML FILE...
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import urllib.parse
import urllib.request

from harness import Exporter, free_port, wait_until


def query(port, expr):
    url = f"http://127.0.0.1:{port}/api/v1/query?" + urllib.parse.urlencode({"query": expr})
    try:
        with urllib.request.urlopen(url, timeout=5) as response:
            doc = json.load(response)
    except OSError:
        return None
    return doc["data"]["result"] if doc.get("status") == "success" else None


def main():
    exporter_bin, prometheus, alerts, *files = sys.argv[1:]
    ports = [f"m{i}" for i in range(len(files))]
    args = []
    for name, path in zip(ports, files):
        args += ["--module", f"{name}={path}"]
    work = tempfile.mkdtemp(prefix="fiberdecode-prom-")
    exporter = Exporter(exporter_bin, args + ["--interval", "1"])
    server = None
    try:
        shutil.copy(alerts, os.path.join(work, "alerts.yml"))
        with open(os.path.join(work, "prometheus.yml"), "w") as config:
            config.write(f"""global:
  scrape_interval: 1s
  evaluation_interval: 1s
rule_files: [alerts.yml]
scrape_configs:
  - job_name: fiberdecode
    static_configs:
      - targets: ['127.0.0.1:{exporter.port}']
""")
        web = free_port()
        server = subprocess.Popen([prometheus, "--config.file", os.path.join(work, "prometheus.yml"),
                                   "--storage.tsdb.path", os.path.join(work, "data"),
                                   "--web.listen-address", f"127.0.0.1:{web}", "--log.level", "warn"],
                                  stdout=subprocess.DEVNULL, stderr=open(os.path.join(work, "prometheus.log"), "w"))

        temps = wait_until(lambda: (r := query(web, "fiberdecode_temperature_celsius")) and len(r) >= 2 and r, 60, 0.5)
        assert temps, "Prometheus has no temperatures: " + open(os.path.join(work, "prometheus.log")).read()[-2000:]
        for series in temps:
            assert series["metric"]["job"] == "fiberdecode", series
            assert -40 < float(series["value"][1]) < 125, series
        print("temperatures:", {s["metric"]["port"]: s["value"][1] for s in temps})

        alarms = query(web, "fiberdecode_alarm_active == 1")
        assert alarms, "no active alarm in Prometheus"
        print("alarms:", [(a["metric"]["port"], a["metric"]["alarm"]) for a in alarms])

        up = query(web, 'up{job="fiberdecode"}')
        assert up and up[0]["value"][1] == "1", up

        def rules_ok():
            with urllib.request.urlopen(f"http://127.0.0.1:{web}/api/v1/rules", timeout=5) as response:
                groups = json.load(response)["data"]["groups"]
            rules = [r for g in groups for r in g["rules"]]
            return len(rules) == 8 and all(r["health"] == "ok" for r in rules) and rules
        rules = wait_until(rules_ok, 20, 0.5)
        assert rules, "the example rules did not load and evaluate"
        print("rules:", len(rules), "healthy")
    finally:
        if server:
            server.terminate()
            try:
                server.wait(30)
            except subprocess.TimeoutExpired:
                server.kill()
        status = exporter.terminate()
        shutil.rmtree(work, ignore_errors=True)
    assert status == 0, f"exporter exit status {status}"
    return 0


if __name__ == "__main__":
    sys.exit(main())
