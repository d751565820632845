# SPDX-License-Identifier: Apache-2.0
# Type stubs of the fiberdecode package: every attribute of a decoded module
# and of its records, with the types of the JSON document's values. No
# __getattr__ is declared, so that a misspelt field is a type error.
import enum
import os
from typing import Any, Mapping, NamedTuple, Optional, Union

__version__: str
__all__: list[str]

PAGE_COUNT: int
ALARM_COUNT: int
ALARM_TX_BIAS_BASE: int
ALARM_RX_POWER_BASE: int
ALARM_TX_POWER_BASE: int
ALARM_RX_LOS_BASE: int
ALARM_RX_LOL_BASE: int
ALARM_TX_LOS_BASE: int
ALARM_TX_LOL_BASE: int
ALARM_TX_FAULT_BASE: int
ALARM_CHECKSUM: int

Buffer = Union[bytes, bytearray, memoryview]

class InputError(ValueError):
    message: str
    name: str
    def __init__(self, message: str, name: str) -> None: ...

class Kind(enum.StrEnum):
    SFP = "sfp"
    XFP = "xfp"
    QSFP = "qsfp"
    CMIS = "cmis"

class Format(enum.StrEnum):
    AUTO = "auto"
    RAW = "raw"
    OPTOE = "optoe"
    HEX = "hex"
    PAGES = "pages"

class Alarm(NamedTuple):
    id: int
    text: str

class Record:
    def __init__(self, fields: Mapping[str, Any]) -> None: ...
    def fields(self) -> list[str]: ...
    def to_dict(self) -> dict[str, Any]: ...

class NormalInfo(Record):
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
    unsupported: int
    ddm_supported: int
    qsfp_done: int
    cmis_done: int
    alarm_id_count: int
    alarm_bits: list[int]
    alarms: list[Alarm]

class CoremgmtInfo(Record):
    unsupported: int
    media_lane_count: int
    module_state: Optional[str]
    datapath_state: list[Optional[str]]
    datapath_state_changed: list[int]

class Coded(Record):
    code: int
    name: str

class Application(Record):
    apsel: int
    host_interface: Coded
    media_interface: Coded
    host_lanes: int
    media_lanes: int
    host_lane_options: list[int]

# Fields that apply to the module's family only are present at run time.
class Description(Record):
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

class ThresholdSet(Record):
    high_alarm: Optional[float]
    low_alarm: Optional[float]
    high_warning: Optional[float]
    low_warning: Optional[float]

class ReadingThresholds(Record):
    temperature_celsius: ThresholdSet
    supply_voltage_volts: ThresholdSet
    tx_bias_amperes: Optional[ThresholdSet]
    tx_power_watts: ThresholdSet
    tx_power_dbm: ThresholdSet
    rx_power_watts: ThresholdSet
    rx_power_dbm: ThresholdSet

class LaneReading(Record):
    lane: int
    tx_bias_amperes: Optional[float]
    tx_power_watts: float
    tx_power_dbm: Optional[float]
    rx_power_watts: float
    rx_power_dbm: Optional[float]

class Readings(Record):
    temperature_celsius: float
    supply_voltage_volts: float
    rx_power_type: str
    lanes: list[LaneReading]
    thresholds: Optional[ReadingThresholds]

class Module:
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
    @property
    def alarms(self) -> list[Alarm]: ...
    @property
    def failure(self) -> Optional[str]: ...
    def keys(self) -> list[str]: ...
    def to_dict(self) -> dict[str, Any]: ...
    def to_json(self, indent: Optional[int] = 2) -> str: ...
    def report(self) -> str: ...

def decode_file(path: Union[str, bytes, os.PathLike[str], os.PathLike[bytes]], *,
                format: Union[Format, str] = "auto", kind: Union[Kind, str, None] = "auto") -> Module: ...
def decode_bytes(data: Union[Buffer, str], *, format: Union[Format, str] = "auto",
                 kind: Union[Kind, str, None] = "auto", name: str = "<bytes>") -> Module: ...
def decode_pages(kind: Union[Kind, str], lower: Buffer, pages: Optional[Mapping[int, Optional[Buffer]]] = None,
                 *, name: str = "<pages>") -> Module: ...
def alarm_text(id: int) -> str: ...
def dbm(power: float) -> float: ...
def float_from_reg(data: Buffer) -> float: ...
def check_code(data: Buffer) -> int: ...
def is_cmis(lower: Buffer) -> bool: ...
