# SPDX-License-Identifier: Apache-2.0
"""Helpers of the exporter's end-to-end tests: starting the exporter on a
free loopback port, bounded HTTP requests, and a parser of the text
exposition format that undoes its escapes."""

import os
import re
import signal
import subprocess
import threading
import time
import urllib.request

LISTENING = re.compile(r"listening on (127\.0\.0\.1|\[::1\]):(\d+)")


class Exporter:
    """fiberdecode-exporter on 127.0.0.1 with a port the system chooses."""

    def __init__(self, binary, args, start_timeout=20.0):
        self.lines = []
        self.proc = subprocess.Popen([binary, "--web.listen-address", "127.0.0.1:0", *args],
                                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.port = None
        ready = threading.Event()

        def drain():
            for line in self.proc.stderr:
                self.lines.append(line.rstrip("\n"))
                m = LISTENING.search(line)
                if m and self.port is None:
                    self.port = int(m.group(2))
                    ready.set()
            ready.set()

        self.reader = threading.Thread(target=drain, daemon=True)
        self.reader.start()
        if not ready.wait(start_timeout) or self.port is None:
            self.kill()
            raise AssertionError("the exporter did not start: " + "\n".join(self.lines))

    def url(self, path):
        return f"http://127.0.0.1:{self.port}{path}"

    def get(self, path="/metrics", headers=None, timeout=5.0):
        """(status, headers, body bytes, seconds) of one GET."""
        request = urllib.request.Request(self.url(path), headers=headers or {})
        started = time.monotonic()
        try:
            with urllib.request.urlopen(request, timeout=timeout) as response:
                body = response.read()
                return response.status, dict(response.headers), body, time.monotonic() - started
        except urllib.error.HTTPError as error:
            return error.code, dict(error.headers), error.read(), time.monotonic() - started

    def metrics(self):
        status, _, body, _ = self.get("/metrics")
        assert status == 200, status
        return body.decode("utf-8")

    def terminate(self, timeout=15.0):
        """SIGTERM; the exit status, or None when it did not stop in time."""
        self.proc.send_signal(signal.SIGTERM)
        try:
            return self.proc.wait(timeout)
        except subprocess.TimeoutExpired:
            self.kill()
            return None

    def kill(self):
        if self.proc.poll() is None:
            self.proc.kill()
            self.proc.wait(10)


def unescape(value):
    out, i = [], 0
    while i < len(value):
        c = value[i]
        if c == "\\" and i + 1 < len(value):
            out.append({"\\": "\\", '"': '"', "n": "\n"}.get(value[i + 1], "\\" + value[i + 1]))
            i += 2
        else:
            out.append(c)
            i += 1
    return "".join(out)


SAMPLE = re.compile(r'^([a-zA-Z_:][a-zA-Z0-9_:]*)(?:\{(.*)\})? (\S+)$')
LABEL = re.compile(r'([a-zA-Z_][a-zA-Z0-9_]*)="((?:[^"\\]|\\.)*)",?')


def parse(text):
    """Samples as a list of (name, labels dict, value float)."""
    samples = []
    for line in text.splitlines():
        if not line or line.startswith("#"):
            continue
        m = SAMPLE.match(line)
        assert m, "not a sample line: " + line
        labels = {}
        rest = m.group(2) or ""
        pos = 0
        while pos < len(rest):
            lm = LABEL.match(rest, pos)
            assert lm, "bad labels: " + line
            labels[lm.group(1)] = unescape(lm.group(2))
            pos = lm.end()
        samples.append((m.group(1), labels, float(m.group(3))))
    return samples


def select(samples, name, **labels):
    return [(l, v) for n, l, v in samples if n == name and all(l.get(k) == w for k, w in labels.items())]


def value(samples, name, **labels):
    found = select(samples, name, **labels)
    return found[0][1] if len(found) == 1 else None


def wait_until(predicate, timeout, step=0.05):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        result = predicate()
        if result:
            return result
        time.sleep(step)
    return predicate()


def free_port():
    import socket
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]

