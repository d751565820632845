# SPDX-License-Identifier: Apache-2.0
# decode_pages against the library's C entry points, called through ctypes on
# the very library the extension loaded: real modules of every family are cut
# into the pages the public header's table names, and every field of every
# record the package returns must equal the field the entry point writes.
# Then the page-size and page-number rules of decode_pages.
import ctypes
import struct

import pytest

import fiberdecode as fd
from conftest import INPUTS, SOURCE_DIR, input_id, same

u8, i32, u32, u64, f32, text = (ctypes.c_uint8, ctypes.c_int32, ctypes.c_uint32, ctypes.c_uint64,
                                ctypes.c_float, ctypes.c_char_p)


def flags(*names):
    return [(n, u8) for n in names]


# The records of fiber_decode.h, field for field.
class Normal(ctypes.Structure):
    _fields_ = flags("unsupported", "ddm_supported", "is_xfp", "is_qsfp", "is_copper", "is_active_cable",
                     "is_sfp", "zx_within_90km") + [
        ("name_prefix", text), ("type_name", text), ("connector_name", text),
        ("wavelength_nm", f32), ("wavelength_tolerance_nm", f32), ("length_smf_m", i32)] + [
        (n, u32) for n in ("length_smf_km", "length_smf_km_from_100m", "length_om5_m", "length_om4_m",
                           "length_om3_m", "length_om2_m", "length_om1_m", "length_copper_m")] + [
        ("display_name", ctypes.c_char * 64), ("serial_number", ctypes.c_char * 17),
        ("vendor_specific", ctypes.c_char * 17), ("trans_type", u32), ("rate_mbps", u32),
        ("connector_class", u32), ("lane_wavelength_nm", i32 * 8), ("is_x8_module", u8), ("is_rj45", u8)]


class Vendor(ctypes.Structure):
    _fields_ = [("unsupported", u8), ("vendor_name", ctypes.c_char * 17), ("vendor_oui", u8 * 3),
                ("vendor_pn", ctypes.c_char * 17), ("vendor_rev", ctypes.c_char * 5),
                ("date_code", ctypes.c_char * 9), ("encoding", text), ("firmware_version", ctypes.c_char * 8),
                ("hardware_version", ctypes.c_char * 8)]


def four(prefix, ctype):
    return [(f"{prefix}_{s}", ctype) for s in ("high_alarm", "low_alarm", "high_warning", "low_warning")]


class Diag(ctypes.Structure):
    _fields_ = flags("unsupported", "ddm_supported", "qsfp_done", "cmis_done", "rx_power_type",
                     "thresholds_valid") + [
        ("temperature", i32), ("voltage", i32), ("media_lane_count", u32), ("tx_bias", i32 * 8),
        ("rx_power", f32 * 8), ("tx_power", f32 * 8)] + four("temp", i32) + four("voltage", i32) + \
        four("rx_power", f32) + four("tx_bias", i32) + four("tx_power", f32) + [
        ("module_type", u32), ("monitor_flags", u64), ("rx_power_flags", u64), ("tx_power_flags", u64),
        ("max_power", f32)]


class AlarmRecord(ctypes.Structure):
    _fields_ = flags("unsupported", "ddm_supported", "qsfp_done", "cmis_done") + [
        ("alarm_id_count", u32), ("alarm_bits", u32 * 8)]


class Coremgmt(ctypes.Structure):
    _fields_ = [("unsupported", u8), ("media_lane_count", u32), ("module_state", text),
                ("datapath_state", text * 8), ("datapath_state_changed", u8 * 8)]


OPERATIONS = [("normal", Normal), ("vendor", Vendor), ("diag", Diag), ("alarm", AlarmRecord),
              ("coremgmt", Coremgmt)]
C_KIND = {fd.Kind.SFP: 1, fd.Kind.XFP: 2, fd.Kind.QSFP: 3, fd.Kind.CMIS: 6}


@pytest.fixture(scope="module")
def library():
    """The libfiberdecode the extension is linked with (found in this
    process's mappings), so that both sides run the same code."""
    with open("/proc/self/maps") as maps:
        paths = {line.split()[-1] for line in maps if "libfiberdecode.so" in line}
    assert len(paths) == 1, paths
    return ctypes.CDLL(paths.pop())


def c_value(value):
    if isinstance(value, bytes):
        return value.decode("latin-1")
    if isinstance(value, ctypes.Array):
        return [c_value(v) for v in value]
    return value


def single(value):
    return struct.unpack("f", struct.pack("f", value))[0]


def compare(record, c_record, name):
    for field, ctype in c_record._fields_:
        expected = c_value(getattr(c_record, field))
        got = getattr(record, field)
        if f32 in (ctype, getattr(ctype, "_type_", None)):
            # Floats come as the document's shortest decimal of the single.
            got = [single(v) for v in got] if isinstance(got, list) else single(got)
        assert got == expected, f"{name}.{field}: {got!r} != {expected!r}"


def cut_pages(kind, image):
    """The lower-page argument and page set of a flat image, as the public
    header's table places them (what a caller reading I2C would pass)."""
    if kind == fd.Kind.SFP:
        return image[:128], ({0x00: image[256:384]} if len(image) >= 384 else {})
    if kind == fd.Kind.XFP:  # raw layout: lower memory, then page 01h
        return image[128:256], {0x00: image[:128]}
    def size(n):  # the CMIS entries 20h-23h and 2Ch are 512 bytes, the image's bytes padded with zeros
        return 512 if kind == fd.Kind.CMIS and (0x20 <= n <= 0x23 or n == 0x2C) else 128
    pages = {n: image[128 * (n + 1):128 * (n + 1) + size(n)].ljust(size(n), b"\0") for n in range(fd.PAGE_COUNT)
             if len(image) >= 128 * (n + 2)}
    return image[:128], pages


BINARIES = [p for p in INPUTS if p.suffix == ".bin"]


@pytest.mark.parametrize("path", BINARIES, ids=input_id)
def test_decode_pages_agrees_with_the_entry_points(library, path):
    image = path.read_bytes()
    from_file = fd.decode_file(path)
    kind = from_file.kind
    lower, pages = cut_pages(kind, image)
    module = fd.decode_pages(kind, lower, pages, name="port 7")
    assert (module.file, module.format, module.kind, module.kind_forced) == ("port 7", fd.Format.PAGES, kind, True)
    assert module.pages == from_file.pages and module.decoded == from_file.decoded
    c_pages = (ctypes.c_char_p * fd.PAGE_COUNT)(*[pages.get(n) for n in range(fd.PAGE_COUNT)])
    # A flat-memory CMIS module (lower page byte 2 bit 7) is identified with
    # page 01h read as zeros.
    normal_pages = c_pages
    if kind == fd.Kind.CMIS and 0x01 not in pages and lower[2] & 0x80:
        normal_pages = (ctypes.c_char_p * fd.PAGE_COUNT)(*[pages.get(n, bytes(128) if n == 1 else None)
                                                           for n in range(fd.PAGE_COUNT)])
    decoded = 0
    for operation, ctype in OPERATIONS:
        record = getattr(module, operation)
        same(record and record.to_dict(), getattr(from_file, operation) and getattr(from_file, operation).to_dict(),
             operation)
        if record is None:
            continue
        c_record = ctype()
        ctypes.memset(ctypes.byref(c_record), 0xA5, ctypes.sizeof(c_record))
        getattr(library, f"fiber_decode_{operation}")(
            C_KIND[kind], lower, normal_pages if operation == "normal" else c_pages, ctypes.byref(c_record), 0)
        compare(record, c_record, operation)
        decoded += 1
    assert decoded >= 1


def test_buffer_types_and_pages_not_read():
    image = (SOURCE_DIR / "samples/qsfp28-100g-sr4.bin").read_bytes()
    lower, pages = cut_pages(fd.Kind.QSFP, image)
    reference = fd.decode_pages(fd.Kind.QSFP, lower, pages).to_dict()
    views = {n: memoryview(bytearray(p)) for n, p in pages.items()}
    same(fd.decode_pages("qsfp", bytearray(lower), views).to_dict(), reference)
    # Page 03h given as None is a page not read: no thresholds, as without it.
    without = fd.decode_pages(fd.Kind.QSFP, lower, {0x00: pages[0x00], 0x03: None})
    assert without.pages == ["lower", "00h"] and without.diag.thresholds_valid == 0
    assert "page 03h is not in the image: no thresholds" in without.notes


PAGE = bytes(128)
CMIS_LOWER = bytes([0x18]) + bytes(127)


@pytest.mark.parametrize("kind,lower,pages,error,message", [
    ("qsfp", bytes(127), {0: PAGE}, ValueError, "lower must be exactly 128 bytes, not 127"),
    ("qsfp", PAGE, {0: PAGE, 3: bytes(129)}, ValueError, "page 03h must be exactly 128 bytes, not 129"),
    ("cmis", CMIS_LOWER, {0: PAGE, 0x20: PAGE}, ValueError, "page 20h must be exactly 512 bytes, not 128"),
    ("cmis", CMIS_LOWER, {0: PAGE, 0x2C: bytes(511)}, ValueError, "page 2Ch must be exactly 512 bytes"),
    ("qsfp", PAGE, {0: PAGE, 0x20: bytes(512)}, ValueError, "page 20h must be exactly 128 bytes"),
    ("qsfp", PAGE, {0: PAGE, 45: PAGE}, ValueError, r"page 45 is outside the page set \(00h-2Ch\)"),
    ("qsfp", PAGE, {-1: PAGE}, ValueError, "page -1 is outside"),
    ("qsfp", PAGE, {"3": PAGE}, TypeError, "page numbers must be int, not str"),
    ("qsfp", PAGE, {0: "text"}, TypeError, "must be bytes-like"),
    ("qsfp", "text", {0: PAGE}, TypeError, "lower must be bytes-like"),
    ("sfp", None, {}, TypeError, "lower must be bytes-like"),
    ("auto", PAGE, {0: PAGE}, ValueError, "unknown module kind 'auto'"),
    ("qsfp", PAGE, {}, fd.InputError, "^no upper page 00h given$"),
    ("cmis", CMIS_LOWER, {3: PAGE}, fd.InputError, "^no upper page 00h given$"),
    ("xfp", PAGE, None, fd.InputError, r"^no lower memory given \(pages\[0x00\]\)$"),
])
def test_page_rules(kind, lower, pages, error, message):
    with pytest.raises(error, match=message):
        fd.decode_pages(kind, lower, pages)


def test_sfp_needs_only_its_lower_page():
    a0 = (SOURCE_DIR / "samples/sfp-10g-sr.bin").read_bytes()[:128]
    module = fd.decode_pages(fd.Kind.SFP, a0)
    assert module.pages == ["A0h"] and module.diag is None and module.vendor.vendor_pn.startswith("AP-SFP10G-SR")
    # 512-byte entries are CMIS ones only: a CMIS module takes them in full.
    lower = (SOURCE_DIR / "samples/qsfpdd-400g-fr4.bin").read_bytes()[:128]
    page00 = (SOURCE_DIR / "samples/qsfpdd-400g-fr4.bin").read_bytes()[128:256]
    assert fd.decode_pages(fd.Kind.CMIS, lower, {0: page00, 0x20: bytes(512), 0x2C: bytes(512)}).decoded
