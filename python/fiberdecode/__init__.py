# SPDX-License-Identifier: Apache-2.0
"""Decode the management memory of pluggable transceiver modules.

fiberdecode reads the memory of SFP, SFP+ and SFP28 (SFF-8472), XFP
(INF-8077i), QSFP+ and QSFP28 (SFF-8436 / SFF-8636) and CMIS modules
(QSFP-DD, QSFP56, OSFP) and returns what the fiberdecode command reports:
identification, vendor data, diagnostics with thresholds and flags, active
alarms with their texts and, for CMIS modules, module and data-path state.

    import fiberdecode as fd

    m = fd.decode_file("sfp.bin")           # raw, optoe or hex text, like the command
    m.normal.type_name, m.vendor.vendor_pn, m.diag.rx_power[0]
    [a.id for a in m.alarms]
    m.to_dict()                             # the command's JSON document

Records carry the library's field names and units (temperatures in whole
degrees C, voltages in 100 uV, bias in 2 uA, powers in dBm); a record that
does not apply is None. Decoding releases the GIL, so threads may decode at
once.
"""

from __future__ import annotations

import enum
import os
import typing
from typing import TYPE_CHECKING, Any, ClassVar, Mapping, NamedTuple, Optional, Union

from . import _fiberdecode as _ext
# The library's constants (fiber_decode.h): the number of page entries and of
# alarm ids, and the first alarm id of each per-lane condition.
from ._fiberdecode import (ALARM_CHECKSUM, ALARM_COUNT, ALARM_RX_LOL_BASE, ALARM_RX_LOS_BASE,
                           ALARM_RX_POWER_BASE, ALARM_TX_BIAS_BASE, ALARM_TX_FAULT_BASE, ALARM_TX_LOL_BASE,
                           ALARM_TX_LOS_BASE, ALARM_TX_POWER_BASE, PAGE_COUNT)

__all__ = [
    "ALARM_CHECKSUM", "ALARM_COUNT", "ALARM_RX_LOL_BASE", "ALARM_RX_LOS_BASE", "ALARM_RX_POWER_BASE",
    "ALARM_TX_BIAS_BASE", "ALARM_TX_FAULT_BASE", "ALARM_TX_LOL_BASE", "ALARM_TX_LOS_BASE",
    "ALARM_TX_POWER_BASE", "PAGE_COUNT",
    "Alarm", "AlarmInfo", "Application", "Coded", "CoremgmtInfo", "Description", "DiagInfo", "Format", "InputError", "Kind", "LaneReading", "Module",
    "NormalInfo", "ReadingThresholds", "Readings", "Record", "ThresholdSet", "VendorInfo",
    "alarm_text", "check_code", "dbm", "decode_bytes", "decode_file", "decode_pages", "float_from_reg",
    "is_cmis",
]

__version__: str = _ext.VERSION

Buffer = Union[bytes, bytearray, memoryview]


class InputError(ValueError):
    """Input the decoder cannot take.

    A missing or unreadable file, an empty or truncated image, text that is
    not hex, an image too short for its module's pages, an unrecognised
    identifier, or pages without the ones every operation needs. ``str(e)``
    and ``e.message`` are the message the fiberdecode command prints after
    "fiberdecode: NAME: "; ``e.name`` is NAME. A module that its decoder
    rejects is not an input error: it is a Module with ``decoded`` False.
    """

    def __init__(self, message: str, name: str) -> None:
        super().__init__(message)
        self.message = message
        self.name = name


class Kind(enum.StrEnum):
    """Module family: how the pages are laid out and which decoders apply.

    Members compare equal to the names the command and the JSON document
    use ("sfp", "xfp", "qsfp", "cmis").
    """

    SFP = "sfp"
    XFP = "xfp"
    QSFP = "qsfp"
    CMIS = "cmis"


class Format(enum.StrEnum):
    """Input format of a dump, as the command's --format and the document's
    "format": raw image, optoe sysfs file, hex text, or pages a caller read."""

    AUTO = "auto"
    RAW = "raw"
    OPTOE = "optoe"
    HEX = "hex"
    PAGES = "pages"


class Alarm(NamedTuple):
    """An alarm id with its text from the library's alarm catalogue."""

    id: int
    text: str


class Record:
    """A decoded record: one read-only attribute per field, as named in the
    JSON document (the library's record field names, in its units).

    Arrays are lists; alarm ids with texts are Alarm tuples; a text the
    library leaves unset is None. ``to_dict()`` gives the JSON object back.

    The fields a record class declares with their types are the keys of its
    JSON object; a field whose type is a record class (alone, in a list or
    Optional) is made a record of that class.
    """

    __slots__ = ("_fields",)
    _fields: dict[str, Any]
    # Record classes of the fields that hold objects, by field name: derived
    # from the declarations below the record classes.
    _children: ClassVar[dict[str, type[Record]]] = {}

    def __init__(self, fields: Mapping[str, Any]) -> None:
        children = self._children
        object.__setattr__(self, "_fields", {key: _wrap(value, children.get(key, Record))
                                             for key, value in fields.items()})

    # Hidden from type checkers, so that a misspelt field is a type error and
    # the declared fields keep their types.
    if not TYPE_CHECKING:
        def __getattr__(self, name: str) -> Any:
            try:
                return self._fields[name]
            except KeyError:
                raise AttributeError(f"{type(self).__name__!r} record has no field {name!r}") from None

        def __setattr__(self, name: str, value: Any) -> None:
            raise AttributeError(f"{type(self).__name__!r} records are read-only")

    def __dir__(self) -> list[str]:
        return sorted(set(super().__dir__()) | set(self._fields))

    def __eq__(self, other: object) -> bool:
        if type(other) is not type(self):
            return NotImplemented
        return self._fields == other._fields  # type: ignore[attr-defined]

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        fields = ", ".join(f"{key}={value!r}" for key, value in self._fields.items())
        return f"{type(self).__name__}({fields})"

    def __reduce__(self) -> tuple[Any, ...]:
        return (type(self), (self.to_dict(),))

    def fields(self) -> list[str]:
        """The field names, in the document's order."""
        return list(self._fields)

    def to_dict(self) -> dict[str, Any]:
        """The record as its JSON object (a new dict)."""
        return {key: _unwrap(value) for key, value in self._fields.items()}


class NormalInfo(Record):
    """Identification (fiber_normal_info_t): transceiver type and name, rate,
    connector, wavelength in nm, link lengths (m; km for length_smf_km*),
    serial number, diagnostics support and classification flags."""

    __slots__ = ()
    unsupported: int
    ddm_supported: int
    is_xfp: int
    is_qsfp: int
    is_copper: int
    is_active_cable: int
    is_sfp: int
    zx_within_90km: int
    name_prefix: Optional[str]
    type_name: Optional[str]
    connector_name: Optional[str]
    wavelength_nm: float
    wavelength_tolerance_nm: float
    length_smf_m: int
    length_smf_km: int
    length_smf_km_from_100m: int
    length_om5_m: int
    length_om4_m: int
    length_om3_m: int
    length_om2_m: int
    length_om1_m: int
    length_copper_m: int
    display_name: str
    serial_number: str
    vendor_specific: str
    trans_type: int
    rate_mbps: int
    connector_class: int
    lane_wavelength_nm: list[int]
    is_x8_module: int
    is_rj45: int


class VendorInfo(Record):
    """Vendor information (fiber_vendor_info_t): name, OUI (three numbers),
    part number, revision, date code, encoding and, for CMIS modules,
    firmware and hardware versions. Texts are the module's bytes as stored."""

    __slots__ = ()
    unsupported: int
    vendor_name: str
    vendor_oui: list[int]
    vendor_pn: str
    vendor_rev: str
    date_code: str
    encoding: Optional[str]
    firmware_version: str
    hardware_version: str


class DiagInfo(Record):
    """Diagnostics (fiber_diag_info_t): temperature (whole degrees C), supply
    voltage (100 uV), per-lane Tx bias (2 uA) and Rx/Tx power (dBm), the
    thresholds, the flag sets and ``flags``: the raised flags as Alarm tuples
    (bit k of monitor_flags, rx_power_flags, tx_power_flags is alarm id k,
    64 + k, 128 + k)."""

    __slots__ = ()
    unsupported: int
    ddm_supported: int
    qsfp_done: int
    cmis_done: int
    rx_power_type: int
    thresholds_valid: int
    temperature: int
    voltage: int
    media_lane_count: int
    tx_bias: list[int]
    rx_power: list[float]
    tx_power: list[float]
    temp_high_alarm: int
    temp_low_alarm: int
    temp_high_warning: int
    temp_low_warning: int
    voltage_high_alarm: int
    voltage_low_alarm: int
    voltage_high_warning: int
    voltage_low_warning: int
    rx_power_high_alarm: float
    rx_power_low_alarm: float
    rx_power_high_warning: float
    rx_power_low_warning: float
    tx_bias_high_alarm: int
    tx_bias_low_alarm: int
    tx_bias_high_warning: int
    tx_bias_low_warning: int
    tx_power_high_alarm: float
    tx_power_low_alarm: float
    tx_power_high_warning: float
    tx_power_low_warning: float
    module_type: int
    monitor_flags: int
    rx_power_flags: int
    tx_power_flags: int
    max_power: float
    flags: list[Alarm]


class AlarmInfo(Record):
    """Alarms (fiber_alarm_info_t): the alarm bit set and ``alarms``, the
    active alarm ids as Alarm tuples with their catalogue texts."""

    __slots__ = ()
    unsupported: int
    ddm_supported: int
    qsfp_done: int
    cmis_done: int
    alarm_id_count: int
    alarm_bits: list[int]
    alarms: list[Alarm]


class CoremgmtInfo(Record):
    """CMIS module state and the data-path state of each of eight lanes
    (fiber_coremgmt_info_t)."""

    __slots__ = ()
    unsupported: int
    media_lane_count: int
    module_state: Optional[str]
    datapath_state: list[Optional[str]]
    datapath_state_changed: list[int]


class ThresholdSet(Record):
    """The four thresholds of one quantity: high_alarm, low_alarm,
    high_warning, low_warning (None for a dBm threshold of 0 W)."""

    __slots__ = ()
    high_alarm: Optional[float]
    low_alarm: Optional[float]
    high_warning: Optional[float]
    low_warning: Optional[float]


class ReadingThresholds(Record):
    """The thresholds of the readings, in the readings' units; tx_bias_amperes
    is None where the bias scale is unknown."""

    __slots__ = ()
    temperature_celsius: ThresholdSet
    supply_voltage_volts: ThresholdSet
    tx_bias_amperes: Optional[ThresholdSet]
    tx_power_watts: ThresholdSet
    tx_power_dbm: ThresholdSet
    rx_power_watts: ThresholdSet
    rx_power_dbm: ThresholdSet


class LaneReading(Record):
    """One lane's readings: lane number (from 1), Tx bias in amperes (None
    where the bias scale is unknown), Tx and Rx power in watts and dBm (dBm
    None for 0 W)."""

    __slots__ = ()
    lane: int
    tx_bias_amperes: Optional[float]
    tx_power_watts: float
    tx_power_dbm: Optional[float]
    rx_power_watts: float
    rx_power_dbm: Optional[float]


class Readings(Record):
    """Readings as the module means them: temperature in degrees C at the
    module's resolution, supply voltage in volts, per-lane bias in amperes
    and powers in watts and dBm for the module's real lanes, and their
    thresholds (calibration applied)."""

    __slots__ = ()
    temperature_celsius: float
    supply_voltage_volts: float
    rx_power_type: str
    lanes: list[LaneReading]
    thresholds: Optional[ReadingThresholds]


class Coded(Record):
    """A code of a module standard's table with its name: ``code`` (the byte's
    value) and ``name`` (SFF-8024 identifiers, connectors, compliance codes;
    CMIS media types and interfaces)."""

    __slots__ = ()
    code: int
    name: str


class Application(Record):
    """A CMIS application the module advertises (page 01h and the lower
    page's application table): AppSel code, host and media interface, lane
    counts and the host lanes it may start on."""

    __slots__ = ()
    apsel: int
    host_interface: Coded
    media_interface: Coded
    host_lanes: int
    media_lanes: int
    host_lane_options: list[int]


class Description(Record):
    """What the module is, named from its own bytes by the module standards:
    a one-line summary, identifier, memory map, connector, compliance codes,
    lanes, rates, applications (CMIS) and calibration (SFP). Only the fields
    that apply to the module's family are present."""

    __slots__ = ()
    summary: str
    identifier: Coded
    memory_map: str
    decoded_with_identifier: Optional[Coded]
    connector: Coded
    compliance: list[str]
    extended_compliance: Optional[Coded]
    fc_speeds: list[str]
    transmitter_technology: Coded
    cable_technology: Optional[str]
    calibration: Optional[str]
    lanes: int
    nominal_rate_mbd: int
    revision: str
    memory: str
    media_type: Coded
    applications: list[Application]
    active_application: Optional[int]
    max_power_w: float


def _field_classes(cls: type, of: type) -> dict[str, Any]:
    """The fields CLS declares whose type holds a subclass of OF (the type
    itself, in a list or Optional), with that subclass."""
    def held(hint: Any) -> Optional[type]:
        if isinstance(hint, type):
            return hint if issubclass(hint, of) else None
        return next(filter(None, map(held, typing.get_args(hint))), None)
    found = {name: held(hint) for name, hint in typing.get_type_hints(cls).items() if not name.startswith("_")}
    return {name: found_cls for name, found_cls in found.items() if found_cls is not None}


def _wrap(value: Any, cls: type[Record] = Record) -> Any:
    """JSON values to record attributes: objects to records, {"id", "text"}
    objects to Alarm tuples; lists of plain values stay as they are."""
    kind = type(value)
    if kind is not dict and kind is not list:
        return value
    if kind is dict:
        if len(value) == 2 and "id" in value and "text" in value:
            return Alarm(value["id"], value["text"])
        return cls(value)
    if value and type(value[0]) in (dict, list):
        return [_wrap(item, cls) for item in value]
    return value


def _unwrap(value: Any) -> Any:
    if isinstance(value, Record):
        return value.to_dict()
    if isinstance(value, Alarm):
        return {"id": value.id, "text": value.text}
    if isinstance(value, list):
        return [_unwrap(item) for item in value]
    return value


class Module:
    """One decoded module: the command's JSON document as attributes.

    Every key of the document is an attribute: ``file``, ``format``
    (Format), ``size``, ``kind`` (Kind), ``kind_forced``, ``pages``,
    ``decoded``, ``notes``, ``description``, the records ``normal``,
    ``vendor``, ``diag``, ``alarm``, ``coremgmt`` (None where they do not
    apply or the image lacks their pages), and whatever else the document
    carries. ``alarms`` lists the active alarms, ``failure`` says why a
    module with ``decoded`` False was not decoded, ``to_dict()`` is the
    document and ``report()`` the command's text report.
    """

    __slots__ = ("_decoded", "_cache")
    _decoded: Any  # the extension's decoded module
    _cache: dict[str, Any]
    # The document's keys: a field of an enum type is made a member of it,
    # one of a record class a record of that class.
    _enums: ClassVar[dict[str, Any]] = {}
    _records: ClassVar[dict[str, Any]] = {}
    file: str
    format: Format
    size: int
    kind: Kind
    kind_forced: bool
    pages: list[str]
    decoded: bool
    notes: list[str]
    description: Optional[Description]
    normal: Optional[NormalInfo]
    vendor: Optional[VendorInfo]
    diag: Optional[DiagInfo]
    readings: Optional[Readings]
    alarm: Optional[AlarmInfo]
    coremgmt: Optional[CoremgmtInfo]

    def __init__(self) -> None:
        raise TypeError("Module objects come from decode_file, decode_bytes and decode_pages")

    @classmethod
    def _make(cls, decoded: Any) -> Module:
        module = object.__new__(cls)
        object.__setattr__(module, "_decoded", decoded)
        object.__setattr__(module, "_cache", {})
        return module

    if not TYPE_CHECKING:
        def __getattr__(self, name: str) -> Any:
            if name.startswith("_"):
                raise AttributeError(name)
            cache = self._cache
            if name in cache:
                return cache[name]
            try:
                value = self._decoded.get(name)
            except KeyError:
                raise AttributeError(f"'Module' object has no attribute {name!r}") from None
            enum_cls = self._enums.get(name)
            value = enum_cls(value) if enum_cls is not None else _wrap(value, self._records.get(name, Record))
            cache[name] = value
            return value

        def __setattr__(self, name: str, value: Any) -> None:
            raise AttributeError("Module objects are read-only")

    def __dir__(self) -> list[str]:
        return sorted(set(super().__dir__()) | set(self._decoded.keys()))

    def __repr__(self) -> str:
        state = "decoded" if self.decoded else "not decoded"
        return f"<fiberdecode.Module {self.file!r}: {self.kind.value}, {state}>"

    @property
    def alarms(self) -> list[Alarm]:
        """The active alarms (alarm.alarms), an empty list when the alarm
        record does not apply."""
        alarm = self.alarm
        return list(alarm.alarms) if alarm is not None else []

    @property
    def failure(self) -> Optional[str]:
        """Why the module was not decoded (the command's "not decoded: ..."
        reason), or None when it was."""
        return self._decoded.failure

    def keys(self) -> list[str]:
        """The document's keys, in order."""
        return self._decoded.keys()

    def to_dict(self) -> dict[str, Any]:
        """The JSON document of ``fiberdecode --json`` for this input, as a
        new dict (key for key, in the same order)."""
        return self._decoded.to_dict()

    def to_json(self, indent: Optional[int] = 2) -> str:
        """The JSON document as text; indent=2 gives the command's output
        without its final newline, None one line."""
        return self._decoded.to_json(-1 if indent is None else indent)

    def report(self) -> str:
        """The command's text report for this module."""
        return self._decoded.text()


# The record classes' declared fields decide which objects become which records.
for _cls in (Record, *Record.__subclasses__()):
    _cls._children = _field_classes(_cls, Record)
Module._enums = _field_classes(Module, enum.Enum)
Module._records = _field_classes(Module, Record)
del _cls


def _name_arg(value: Union[str, None], what: str, allowed: type[enum.StrEnum]) -> str:
    if value is None:
        return "auto"
    if not isinstance(value, str):
        raise TypeError(f"{what} must be a str or {allowed.__name__}, not {type(value).__name__}")
    return str(value)


def _module(result: Any, name: str) -> Module:
    if isinstance(result, str):
        raise InputError(result, name)
    return Module._make(result)


def decode_file(path: Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"], *,
                format: Union[Format, str] = "auto", kind: Union[Kind, str, None] = "auto") -> Module:
    """Decode the dump in PATH, as ``fiberdecode [--format F] [--kind K] PATH``.

    PATH holds a raw image (ethtool -m DEV raw on), an optoe sysfs file or
    hex text (ethtool -m DEV hex on, plain hex dumps, hexdump -C, i2cdump);
    "-" reads standard input. format: "auto" (default), "raw", "optoe",
    "hex". kind: "auto" (default: from the SFF-8024 identifier, byte 0),
    "sfp", "xfp", "qsfp", "cmis" or a Kind.

    Raises InputError for input the command rejects with exit status 2; a
    module its decoder rejects comes back with ``decoded`` False.
    """
    raw = os.fsencode(path)
    if b"\0" in raw:
        raise ValueError("embedded null byte in path")
    name = "<stdin>" if raw == b"-" else os.fsdecode(raw)
    return _module(_ext.decode_file(raw, _name_arg(format, "format", Format), _name_arg(kind, "kind", Kind)), name)


def decode_bytes(data: Union[Buffer, str], *, format: Union[Format, str] = "auto",
                 kind: Union[Kind, str, None] = "auto", name: str = "<bytes>") -> Module:
    """Decode a dump held in memory: the bytes of a raw image or optoe file,
    or hex text (bytes or str), exactly as decode_file would decode the same
    file. NAME is the document's "file" and the name in InputError.

    format and kind as for decode_file. Raises InputError for input the
    command rejects.
    """
    if isinstance(data, str):
        data = data.encode("utf-8")
    return _module(_ext.decode_bytes(data, name, _name_arg(format, "format", Format),
                                     _name_arg(kind, "kind", Kind)), name)


def decode_pages(kind: Union[Kind, str], lower: Buffer, pages: Optional[Mapping[int, Optional[Buffer]]] = None,
                 *, name: str = "<pages>") -> Module:
    """Decode pages the caller read from a module itself.

    kind: Kind.SFP, XFP, QSFP or CMIS. lower and pages as the library's entry
    points take them:

        kind   lower                        pages[0x00]
        SFP    A0h bytes 0-127              A2h bytes 0-127
        XFP    page 01h bytes 128-255       lower memory bytes 0-127
        QSFP   lower page bytes 0-127       upper page 00h (03h: thresholds)
        CMIS   lower page bytes 0-127       upper page 00h (01h, 02h, 11h, 12h, 20h-23h, 2Ch)

    Upper pages start with their byte 128. Each page is bytes, bytearray or
    memoryview of exactly 128 bytes (512 for the CMIS entries 20h-23h and
    2Ch); a page missing from PAGES or given as None is a page not read.
    Wrong sizes or page numbers raise ValueError; pages without the ones
    every operation needs (XFP, QSFP, CMIS: pages[0x00]) raise InputError.
    """
    if isinstance(kind, str):
        kind_name = str(kind)
    else:
        raise TypeError(f"kind must be a Kind or str, not {type(kind).__name__}")
    if pages is not None and not isinstance(pages, dict):
        pages = dict(pages)
    return _module(_ext.decode_pages(kind_name, lower, pages, name), name)


def alarm_text(id: int) -> str:
    """The catalogue text of alarm id ID (0 to ALARM_COUNT - 1); ids without
    a condition hold " "."""
    return _ext.alarm_text(id)


def dbm(power: float) -> float:
    """An optical power in units of 0.1 uW converted to dBm as the library
    does it (single precision; 0 gives -40.0), e.g. dbm(5000.0) for 0.5 mW."""
    return _ext.dbm(power)


def float_from_reg(data: Buffer) -> float:
    """The big-endian IEEE single-precision value of four bytes of module
    memory (the SFF-8472 A2h calibration constants, bytes 56-75)."""
    return _ext.float_from_reg(data)


def check_code(data: Buffer) -> int:
    """The 8-bit check code over DATA: the low byte of the sum of its bytes
    (SFF-8472 A0h byte 63 is the check code of bytes 0-62, for example)."""
    return _ext.check_code(data)


def is_cmis(lower: Buffer) -> bool:
    """Whether a 128-byte lower page is a CMIS module's."""
    return _ext.is_cmis(lower)
