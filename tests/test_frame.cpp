// The calling frame shared by the entry points: pointer rules, page dump,
// zeroing of the record and dispatch on the module kind.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fiber_internal.h"

namespace {

std::string dump_of(const char *label, const uint8_t *page) {
    testing::internal::CaptureStdout();
    fiber::bits_num_display(label, page);
    return testing::internal::GetCapturedStdout();
}

TEST(PageDump, ExactBytesOfAnAscendingPage) {
    uint8_t page[128];
    for (int i = 0; i < 128; ++i) page[i] = static_cast<uint8_t>(i);
    std::string expected =
        "\n---- + page00 lower  eeprom"
        "\n     | 00 01 02 03 04 05 06 07 - 08 09 0A 0B 0C 0D 0E 0F"
        "\n---- + -- -- -- -- -- -- -- -- - -- -- -- -- -- -- -- --";
    char row[80];
    for (int r = 0; r < 8; ++r) {
        std::snprintf(row, sizeof row, "\n0x%02X |", r * 16);
        expected += row;
        for (int c = 0; c < 16; ++c) {
            if (c == 8) expected += " -";
            std::snprintf(row, sizeof row, " %02X", r * 16 + c);
            expected += row;
        }
    }
    expected += "\n";
    EXPECT_EQ(dump_of("page00 lower  eeprom", page), expected);
}

}  // namespace
