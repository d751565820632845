# SPDX-License-Identifier: Apache-2.0
# Shared fixtures of the package's tests: where the sources, the command and
# the module dumps are, and the command's own output for a dump, which the
# package's results are compared with.
import json
import os
import pathlib
import subprocess

import pytest

SOURCE_DIR = pathlib.Path(os.environ.get("FIBER_SOURCE_DIR", pathlib.Path(__file__).resolve().parents[2]))
TOOL = os.environ.get("FIBERDECODE_TOOL", str(SOURCE_DIR / "build" / "fiberdecode"))

# Every sample and every real module in the test data, binary and text.
INPUTS = sorted(
    [p for p in (SOURCE_DIR / "samples").iterdir() if p.suffix in (".bin", ".hex")]
    + list((SOURCE_DIR / "tests" / "data").glob("*/dump.*"))
    + list((SOURCE_DIR / "tests" / "cli" / "data").glob("*/dump.*")))
INPUTS = [p for p in INPUTS if p.suffix in (".bin", ".txt", ".hex")]


def input_id(path):
    return str(path.relative_to(SOURCE_DIR))


class Command:
    """The fiberdecode command: its JSON document or its error for a dump."""

    def __init__(self, tool):
        self.tool = tool

    def run(self, *args, stdin=None):
        return subprocess.run([self.tool, *args], input=stdin, capture_output=True, check=False)

    def document(self, *args, stdin=None):
        """(exit status, parsed JSON document or None, stderr text)."""
        done = self.run("--json", *args, stdin=stdin)
        document = json.loads(done.stdout) if done.stdout.strip() else None
        return done.returncode, document, done.stderr.decode()


@pytest.fixture(scope="session")
def command():
    if not os.access(TOOL, os.X_OK):
        pytest.fail(f"the fiberdecode command is not at {TOOL} (set FIBERDECODE_TOOL)")
    return Command(TOOL)


def same(a, b, where="document"):
    """Equal key for key, in the same order, with the same JSON types
    (True is not 1, 1.0 is not 1)."""
    assert type(a) is type(b), f"{where}: {type(a).__name__} {a!r} != {type(b).__name__} {b!r}"
    if isinstance(a, dict):
        assert list(a) == list(b), f"{where}: keys {list(a)} != {list(b)}"
        for key in a:
            same(a[key], b[key], f"{where}.{key}")
    elif isinstance(a, list):
        assert len(a) == len(b), f"{where}: {len(a)} items != {len(b)}"
        for i, (x, y) in enumerate(zip(a, b)):
            same(x, y, f"{where}[{i}]")
    else:
        assert a == b, f"{where}: {a!r} != {b!r}"
