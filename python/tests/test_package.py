# SPDX-License-Identifier: Apache-2.0
# The package as users and their tools see it: the copy under test is the one
# CTest names (build tree or installed), the type stubs declare exactly the
# document's keys, every public name is documented, the helpers are the
# library's, and the README's Python example runs as it stands.
import ast
import ctypes
import os
import pathlib
import re
import struct
import subprocess
import sys

import pytest

import fiberdecode as fd
from conftest import INPUTS, SOURCE_DIR

PACKAGE_DIR = pathlib.Path(fd.__file__).parent


def test_the_package_under_test_is_the_one_named():
    expected = os.environ.get("FIBERDECODE_PACKAGE_DIR")
    if expected:
        assert PACKAGE_DIR.resolve() == pathlib.Path(expected).resolve()
    for name in ("__init__.pyi", "py.typed"):
        assert (PACKAGE_DIR / name).is_file()
    assert fd._fiberdecode.__file__.startswith(str(PACKAGE_DIR))


def stub_classes():
    tree = ast.parse((PACKAGE_DIR / "__init__.pyi").read_text())
    classes = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            classes[node.name] = [n.target.id for n in node.body if isinstance(n, ast.AnnAssign)]
    names = {n.name for n in tree.body if isinstance(n, (ast.ClassDef, ast.FunctionDef))}
    names |= {t.id for n in tree.body if isinstance(n, ast.AnnAssign) for t in [n.target]}
    return classes, names


def collect(value, cls, seen):
    """Keys of every JSON object in the documents, by the record class the
    package gives it."""
    if isinstance(value, fd.Record):
        seen.setdefault(type(value).__name__, set()).update(value.fields())
        for field in value.fields():
            collect(getattr(value, field), type(value), seen)
    elif isinstance(value, list):
        for item in value:
            collect(item, cls, seen)


def test_stubs_declare_every_key_of_the_documents():
    classes, _ = stub_classes()
    seen = {}
    top = set()
    for path in INPUTS:
        try:
            module = fd.decode_file(path)
        except fd.InputError:
            continue
        top.update(module.keys())
        for key in module.keys():
            collect(getattr(module, key), None, seen)
    assert "Record" not in seen, "an object of the document has no record class"
    for name, fields in seen.items():
        assert set(classes[name]) == fields, name
        assert hasattr(fd, name)
    assert set(classes["Module"]) == top
    assert set(classes["Alarm"]) == {"id", "text"}


def test_every_public_name_is_documented_and_stubbed():
    _, stubbed = stub_classes()
    assert fd.__doc__ and fd.__version__
    for name in fd.__all__:
        value = getattr(fd, name)
        assert name in stubbed, name
        if callable(value):
            assert value.__doc__ and len(value.__doc__) > 40, name
    for cls in (fd.Module, fd.Record):
        for name, member in vars(cls).items():
            if not name.startswith("_") and callable(getattr(member, "fget", member)):
                assert getattr(member, "__doc__", None), f"{cls.__name__}.{name}"
    text = subprocess.run([sys.executable, "-c", "import fiberdecode; help(fiberdecode.decode_file)"],
                          capture_output=True, text=True, env=dict(os.environ, PAGER="cat"), check=True).stdout
    assert "decode_file(path" in text and "InputError" in text


@pytest.fixture(scope="module")
def library():
    with open("/proc/self/maps") as maps:
        (path,) = {line.split()[-1] for line in maps if "libfiberdecode.so" in line}
    return ctypes.CDLL(path)


def test_helpers_are_the_library_functions(library):
    library.fiber_dbm.restype, library.fiber_dbm.argtypes = ctypes.c_float, [ctypes.c_float]
    alarms = (ctypes.c_char_p * fd.ALARM_COUNT).in_dll(library, "fiber_alarms")
    for id in range(fd.ALARM_COUNT):
        assert fd.alarm_text(id) == alarms[id].decode()
    for bad in (-1, fd.ALARM_COUNT):
        with pytest.raises(ValueError, match="outside 0-254"):
            fd.alarm_text(bad)
    # Powers across the whole range, including the clamps at 0 and 65536.
    for power in [0.0, -5.0, 1.0, 2.0, 10.0, 5000.0, 20000.0, 32768.0, 65535.0, 65536.0, 1e9] + \
                 [1.37 ** k for k in range(40)]:
        got = fd.dbm(power)
        assert struct.pack("f", got) == struct.pack("f", library.fiber_dbm(power)), power
        assert len(repr(got)) <= 12  # the single's shortest decimal, not the double's expansion
    assert fd.dbm(0.0) == -40.0
    assert fd.float_from_reg(bytes.fromhex("3f800000")) == 1.0
    assert fd.float_from_reg(bytes.fromhex("c0490fdb")) == -3.1415927
    assert fd.check_code(b"\xff" * 63) == 0xC1 and fd.check_code(b"\x80\x80\x01") == 0x01
    assert fd.check_code(b"") == 0
    sfp = (SOURCE_DIR / "samples/sfp-10g-sr.bin").read_bytes()
    assert fd.check_code(sfp[:63]) == sfp[63]  # SFF-8472 A0h byte 63: CC_BASE
    cmis = (SOURCE_DIR / "samples/qsfpdd-400g-fr4.bin").read_bytes()
    assert fd.is_cmis(cmis[:128]) and not fd.is_cmis(sfp[:128])
    with pytest.raises(ValueError, match="exactly 4 bytes"):
        fd.float_from_reg(b"\0\0\0")
    assert (fd.ALARM_RX_POWER_BASE, fd.ALARM_CHECKSUM, fd.PAGE_COUNT) == (72, 248, 45)


def readme_example():
    readme = (SOURCE_DIR / "README.md").read_text()
    section = readme.split("\n## Python\n", 1)[1].split("\n## ", 1)[0]
    blocks = re.findall(r"```python\n(.*?)```", section, re.S)
    assert blocks, "the README's Python section has no example"
    return blocks[0]


def test_the_readme_example_runs_as_it_stands():
    done = subprocess.run([sys.executable, "-c", readme_example()], cwd=SOURCE_DIR, capture_output=True,
                          text=True, check=False)
    assert done.returncode == 0, done.stderr
    assert done.stdout.strip()
