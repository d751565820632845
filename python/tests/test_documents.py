# SPDX-License-Identifier: Apache-2.0
# The package's documents against the command's: to_dict() equals the parsed
# output of `fiberdecode --json` key for key for every sample and real module
# (binary and text), with format and kind overrides, and the attributes of a
# module and its records are the document's values.
import pathlib
import pickle

import pytest

import fiberdecode as fd
from conftest import INPUTS, SOURCE_DIR, input_id, same


@pytest.mark.parametrize("path", INPUTS, ids=input_id)
def test_to_dict_is_the_command_document(command, path):
    status, document, stderr = command.document(str(path))
    assert status in (0, 1), stderr
    module = fd.decode_file(str(path))
    same(module.to_dict(), document)
    # The same bytes in memory, and the path as a pathlib.Path.
    same(fd.decode_bytes(path.read_bytes(), name=str(path)).to_dict(), document)
    same(fd.decode_file(pathlib.Path(path)).to_dict(), document)
    assert module.to_json() == command.run("--json", str(path)).stdout.decode().rstrip("\n")
    assert module.decoded == (status == 0)
    if status == 1:
        assert f"not decoded: {module.failure}" in stderr
    else:
        assert module.failure is None


# Overrides as the command's options take them, and what they must give.
OVERRIDES = [
    # file, format, kind, exit status of the command
    ("samples/sfp-10g-sr.bin", "raw", "auto", 0),
    ("samples/sfp-10g-sr.hex", "hex", "sfp", 0),
    ("samples/qsfp28-100g-sr4.bin", "optoe", "qsfp", 0),
    ("samples/qsfpdd-400g-fr4.bin", "auto", "cmis", 0),
    ("samples/xfp-10g-lr.hex", "auto", "xfp", 0),
    ("samples/sfp-10g-sr.bin", "auto", "qsfp", 1),   # the QSFP decoder rejects an SFP
    ("samples/qsfp28-100g-sr4.bin", "auto", "xfp", 1),
]


@pytest.mark.parametrize("name,format,kind,status", OVERRIDES, ids=lambda v: str(v))
def test_overrides_match_the_command(command, name, format, kind, status):
    path = SOURCE_DIR / name
    got_status, document, _ = command.document("--format", format, "--kind", kind, str(path))
    assert got_status == status
    module = fd.decode_file(path, format=fd.Format(format), kind=kind)
    same(module.to_dict(), document)
    assert module.kind_forced is (kind != "auto")
    assert module.decoded is (status == 0)
    same(fd.decode_bytes(path.read_bytes(), format=format, kind=fd.Kind(kind) if kind != "auto" else None,
                         name=str(path)).to_dict(), document)


def unwrap(value):
    if isinstance(value, (fd.Kind, fd.Format)):
        return value.value
    if isinstance(value, fd.Record):
        return value.to_dict()
    if isinstance(value, fd.Alarm):
        return {"id": value.id, "text": value.text}
    if isinstance(value, list):
        return [unwrap(v) for v in value]
    return value


@pytest.mark.parametrize("path", [p for p in INPUTS if p.suffix == ".bin"], ids=input_id)
def test_attributes_are_the_document(path):
    module = fd.decode_file(path)
    document = module.to_dict()
    assert module.keys() == list(document)
    records = {"normal": fd.NormalInfo, "vendor": fd.VendorInfo, "diag": fd.DiagInfo, "alarm": fd.AlarmInfo,
               "coremgmt": fd.CoremgmtInfo, "readings": fd.Readings}
    for key, value in document.items():
        attribute = getattr(module, key)
        same(unwrap(attribute), value, key)
        if key in records:
            assert attribute is None or type(attribute) is records[key], key
        if isinstance(value, dict):
            for field, field_value in value.items():
                same(unwrap(getattr(attribute, field)), field_value, f"{key}.{field}")
            assert attribute.fields() == list(value)
    assert module.kind is fd.Kind(document["kind"]) and module.format is fd.Format(document["format"])
    alarms = document["alarm"]["alarms"] if document["alarm"] else []
    assert module.alarms == [fd.Alarm(a["id"], a["text"]) for a in alarms]
    if document["diag"]:
        assert [a.id for a in module.diag.flags] == [f["id"] for f in document["diag"]["flags"]]
    # A document is the caller's to change, and so are the attributes' lists;
    # the module's document stays as it was.
    document["normal"] = "changed"
    module.pages.append("changed")
    same(module.to_dict(), fd.decode_file(path).to_dict())


def test_records_name_their_fields_and_travel():
    module = fd.decode_file(SOURCE_DIR / "samples/qsfpdd-400g-fr4.bin")
    with pytest.raises(AttributeError, match="no field 'rx_powr'"):
        module.diag.rx_powr
    assert "module_state" in dir(module.coremgmt) and "coremgmt" in dir(module)
    # Records pickle (to hand them to another process) and compare by value.
    assert pickle.loads(pickle.dumps(module.description)) == module.description
    # Records that do not apply are None, as null in the document.
    sfp = fd.decode_file(SOURCE_DIR / "samples/sfp-1g-t.bin")
    assert sfp.coremgmt is None and sfp.diag is None and sfp.alarms == []


def test_report_is_the_command_text(command):
    path = SOURCE_DIR / "samples/qsfp28-100g-sr4.hex"
    assert fd.decode_file(path).report() == command.run(str(path)).stdout.decode()
