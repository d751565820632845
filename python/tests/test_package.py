# SPDX-License-Identifier: Apache-2.0
# The package as users and their tools see it: the copy under test is the one
# CTest names (build tree or installed), the fields the record classes declare
# are exactly the document's keys with the types of its values, type checkers
# see them (and report a misspelt one), every public name is documented, the
# helpers are the library's, and the README's Python example runs as it stands.
import ctypes
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import typing

import pytest

import fiberdecode as fd
from conftest import INPUTS, SOURCE_DIR

PACKAGE_DIR = pathlib.Path(fd.__file__).parent


def test_the_package_under_test_is_the_one_named():
    expected = os.environ.get("FIBERDECODE_PACKAGE_DIR")
    if expected:
        assert PACKAGE_DIR.resolve() == pathlib.Path(expected).resolve()
    for name in ("_fiberdecode.pyi", "py.typed"):
        assert (PACKAGE_DIR / name).is_file()
    # A stub of the module would hide its declarations from type checkers.
    assert not (PACKAGE_DIR / "__init__.pyi").exists()
    assert fd._fiberdecode.__file__.startswith(str(PACKAGE_DIR))


def declared(cls):
    """The fields CLS declares, with their types."""
    return {name: hint for name, hint in typing.get_type_hints(cls).items() if not name.startswith("_")}


RECORD_CLASSES = [getattr(fd, name) for name in fd.__all__
                  if isinstance(getattr(fd, name), type) and issubclass(getattr(fd, name), fd.Record)
                  and getattr(fd, name) is not fd.Record]


def conforms(value, hint):
    """VALUE is of the declared type HINT, JSON types told apart (True is
    not an int, 1 is not a float)."""
    origin, args = typing.get_origin(hint), typing.get_args(hint)
    if origin is typing.Union:
        return any(conforms(value, arg) for arg in args)
    if origin is list:
        return type(value) is list and all(conforms(item, args[0]) for item in value)
    if hint is type(None):
        return value is None
    if hint in (int, float, str, bool):
        return type(value) is hint
    if issubclass(hint, tuple):  # Alarm
        return type(value) is hint and all(conforms(getattr(value, field), field_hint)
                                           for field, field_hint in typing.get_type_hints(hint).items())
    return type(value) is hint


def check(value, hint, where, seen):
    assert conforms(value, hint), f"{where}: {value!r} is not {hint}"
    for item in value if isinstance(value, list) else [value]:
        if isinstance(item, fd.Record):
            fields = declared(type(item))
            seen.setdefault(type(item), set()).update(item.fields())
            for field in item.fields():
                assert field in fields, f"{where}.{field} is not declared by {type(item).__name__}"
                check(getattr(item, field), fields[field], f"{where}.{field}", seen)


def test_declared_fields_are_the_document_keys_with_their_types():
    module_fields = declared(fd.Module)
    seen = {}
    keys = set()
    for path in INPUTS:
        try:
            module = fd.decode_file(path)
        except fd.InputError:
            continue
        keys.update(module.keys())
        for key in module.keys():
            assert key in module_fields, f"{path.name}: document key {key!r} is not declared by Module"
            check(getattr(module, key), module_fields[key], f"{path.name}: {key}", seen)
    # Every declared field occurs in some document (a Description carries
    # only its family's fields, so it is the union over the modules).
    assert keys == set(module_fields)
    for cls in RECORD_CLASSES:
        assert set(declared(cls)) == seen.get(cls, set()), cls.__name__


def test_every_public_name_is_documented():
    assert fd.__doc__ and fd.__version__
    for name in fd.__all__:
        value = getattr(fd, name)
        if callable(value):
            assert value.__doc__ and len(value.__doc__) > 40, name
    for cls in (fd.Module, fd.Record):
        for name, member in vars(cls).items():
            if not name.startswith("_") and callable(getattr(member, "fget", member)):
                assert getattr(member, "__doc__", None), f"{cls.__name__}.{name}"
    text = subprocess.run([sys.executable, "-c", "import fiberdecode; help(fiberdecode.decode_file)"],
                          capture_output=True, text=True, env=dict(os.environ, PAGER="cat"), check=True).stdout
    assert "decode_file(path" in text and "InputError" in text


@pytest.mark.skipif(shutil.which("mypy") is None, reason="mypy is not installed")
def test_type_checkers_see_every_name_and_field(tmp_path):
    # What an editor or mypy sees of the package under test: every public
    # name, every declared field with a type that is not Any, and an error
    # for a misspelt field or module attribute.
    lines = ["import fiberdecode as fd"]
    lines += [f"reveal_type(fd.{name})  # " + ("public" if callable(getattr(fd, name)) else "typed")
              for name in fd.__all__]
    classes = [fd.Module, *RECORD_CLASSES]
    lines.append("def fields(" + ", ".join(f"{cls.__name__.lower()}: fd.{cls.__name__}" for cls in classes)
                 + ") -> None:")
    lines += [f"    reveal_type({cls.__name__.lower()}.{field})  # typed"
              for cls in classes for field in declared(cls)]
    lines += ["    diaginfo.rx_powr  # misspelt", "    module.diagnostics  # misspelt",
              "    wrong: str = diaginfo.rx_power  # wrong type"]
    (tmp_path / "use.py").write_text("\n".join(lines) + "\n")
    done = subprocess.run(["mypy", "--no-incremental", "--cache-dir", os.devnull, "--no-error-summary",
                           "--show-error-codes", str(tmp_path / "use.py")],
                          capture_output=True, text=True, check=False,
                          env=dict(os.environ, MYPYPATH=str(PACKAGE_DIR.parent)))
    reports = re.findall(r"^(.*?):(\d+): (note|error): (.*)$", done.stdout, re.M)
    assert all(file.endswith("use.py") for file, *_ in reports), done.stdout  # the package itself is clean
    by_line = {}
    for _, line, level, text in reports:
        by_line.setdefault(int(line), []).append((level, text))
    for number, line in enumerate(lines, 1):
        got = by_line.get(number, [])
        if line.endswith(("# public", "# typed")):
            assert len(got) == 1 and got[0][0] == "note", f"{line}: {got}"
            if line.endswith("# typed"):
                assert "Any" not in got[0][1], f"{line}: {got[0][1]}"
        elif line.endswith(("# misspelt", "# wrong type")):
            assert [level for level, _ in got] == ["error"], f"{line}: {got}"


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
