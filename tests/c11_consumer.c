// SPDX-License-Identifier: Apache-2.0
/* Compiled as strict C11 against the public header and linked with the
 * shared library: identifies a 1000BASE-SX SFP through the C interface. */
#include <stdio.h>
#include <string.h>

#include "fiber_decode.h"

int main(void) {
    uint8_t a0[128] = {0};
    fiber_pages_t pages = {0};
    fiber_normal_info_t info;
    a0[0] = 0x03;  /* SFP */
    a0[2] = 0x07;  /* LC */
    a0[6] = 0x01;  /* 1000BASE-SX */
    a0[12] = 13;   /* 1.3 GBd */
    a0[16] = 55;   /* 550 m OM2 */
    fiber_decode_normal(FIBER_KIND_SFP, a0, pages, &info, 0);
    if (info.unsupported || !info.name_prefix || strcmp(info.name_prefix, "1000BASE") != 0 ||
        strcmp(info.type_name, "-SX-SFP") != 0 || info.rate_mbps != 1000) {
        fprintf(stderr, "unexpected identification\n");
        return 1;
    }
    /* The catalogue is writable data (pointers to constant texts): a caller
     * may take a slot's address as a plain const char **. 255 slots. */
    const char **blank = &fiber_alarms[241];
    if (strcmp(*blank, " ") != 0 || strcmp(fiber_alarms[FIBER_ALARM_CHECKSUM], "Transceiver info checksum error") != 0 ||
        sizeof fiber_alarms / sizeof fiber_alarms[0] != 255)
        return 1;
    printf("%s%s %u Mb/s\n", info.name_prefix, info.type_name, info.rate_mbps);
    return 0;
}
