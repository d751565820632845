# SPDX-License-Identifier: Apache-2.0
# Types of the compiled half's constants, which the package exports as they
# are; its functions are reached through the package's own, which declare
# their types.
from typing import Any

VERSION: str
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

def __getattr__(name: str) -> Any: ...
