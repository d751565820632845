// SPDX-License-Identifier: Apache-2.0
// Readings as the module means them: SFF-8472 external calibration of the
// readings and of every threshold block (slopes, offsets, the Rx power
// polynomial) against values worked by hand, the CMIS Tx bias multiplier
// codes, the lanes of each family and CMIS application, zero power, the
// temperature's fraction, the JSON keys and the text report's record rows;
// and, over every real module in the test data, agreement with the records.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "dump.h"

namespace {

using namespace fdump;

// One block of module memory addressed as the standards number its bytes:
// `first` is 0 for lower pages and SFF-8472 blocks, 128 for upper pages.
struct block {
    unsigned first = 0;
    std::array<uint8_t, 128> b{};
    block &set(unsigned byte, std::initializer_list<uint8_t> values) {
        for (uint8_t v : values) b.at(byte++ - first) = v;
        return *this;
    }
    block &word(unsigned byte, uint16_t w) { return set(byte, {uint8_t(w >> 8), uint8_t(w)}); }
    // Four words from `byte`: high alarm, low alarm, high warning, low warning.
    block &words(unsigned byte, std::array<uint16_t, 4> w) {
        for (uint16_t v : w) word(byte, v), byte += 2;
        return *this;
    }
    const uint8_t *data() const { return b.data(); }
};
block upper() { return block{128}; }

json readings_of(module_family family, const block &lower, std::initializer_list<std::pair<unsigned, const block *>> pages,
                 std::vector<std::string> *notes = nullptr, std::string *text = nullptr) {
    fiber_pages_t set{};
    for (const auto &[n, page] : pages) set[n] = page->data();
    auto m = decode_pages(family, lower.data(), set, "built");
    EXPECT_TRUE(m) << m.error;
    if (!m) return nullptr;
    if (notes) *notes = m.value->notes;
    if (text) *text = text_body(*m.value);
    return json_report(*m.value)["readings"];
}

double num(const json &v) { return v.is_null() ? NAN : v.get<double>(); }

// --- SFF-8472 -----------------------------------------------------------------

// A0h: identifier 03h, byte 92 as given (bit 6 diagnostics, bit 4 external,
// bit 3 average power).
block sfp_a0(uint8_t diag_type) { return block{}.set(0, {0x03}).set(92, {diag_type}); }

// An A2h block whose raw words and calibration constants are worked by hand
// below. Slopes are unsigned 8.8, offsets signed counts of the reading.
block sfp_a2() {
    block a2;
    a2.words(0, {0x3200, 0xFC00, 0x2D80, 0x0040});        // temperature thresholds, 1/256 degree
    a2.words(8, {18000, 14000, 17500, 14500});            // voltage thresholds
    a2.words(16, {20000, 2000, 18000, 4000});             // bias thresholds
    a2.words(24, {9000, 0, 6943, 1512});                  // Tx power thresholds
    a2.words(32, {768, 0, 512, 64});                     // Rx power thresholds
    // Rx_PWR(4) 2^-28, Rx_PWR(3) 2^-20, Rx_PWR(2) 2^-14, Rx_PWR(1) 0.5, Rx_PWR(0) -1: exact in single precision.
    a2.set(56, {0x31, 0x80, 0, 0, 0x35, 0x80, 0, 0, 0x38, 0x80, 0, 0, 0x3F, 0x00, 0, 0, 0xBF, 0x80, 0, 0});
    a2.word(76, 0x0080).word(78, 0xFFF6);  // Tx_I: x 0.5, -10
    a2.word(80, 0x0100).word(82, 0x03E8);  // Tx_PWR: x 1.0, +1000
    a2.word(84, 0x0180).word(86, 0xFF00);  // T: x 1.5, -256 (-1 degree)
    a2.word(88, 0x0200).word(90, 0x0064);  // V: x 2.0, +100
    a2.word(96, 0x1901).word(98, 16000).word(100, 6000).word(102, 4000).word(104, 128);
    return a2;
}

TEST(SfpCalibration, ExternalConvertsReadingsAndEveryThresholdBlock) {
    const block a0 = sfp_a0(0x58), a2 = sfp_a2();
    std::string text;
    const json r = readings_of(module_family::sfp, a0, {{0, &a2}}, nullptr, &text);
    // Worked by hand: value = offset + slope x raw / 256 (truncated), Rx power = sum of Rx_PWR(i) raw^i rounded.
    const struct { const char *pointer; double want; } cases[] = {
        {"/temperature_celsius", 9345 / 256.0},  // 384 x 6401 / 256 = 9601, -256
        {"/supply_voltage_volts", 3.21},         // 2 x 16000 + 100 = 32100
        {"/lanes/0/tx_bias_amperes", 0.00598},   // 6000 / 2 - 10 = 2990 x 2 uA
        {"/lanes/0/tx_power_watts", 0.0005},     // 4000 + 1000
        {"/lanes/0/tx_power_dbm", -3.01},
        {"/lanes/0/rx_power_watts", 67e-7},      // 128: 1 + 2 + 1 + 64 - 1 = 67
        {"/lanes/0/rx_power_dbm", -21.74},
        {"/thresholds/temperature_celsius/high_alarm", 74.0},    // 1.5 x 12800 - 256 = 18944
        {"/thresholds/temperature_celsius/low_alarm", -7.0},     // 1.5 x -1024 - 256 = -1792
        {"/thresholds/temperature_celsius/high_warning", 67.25}, // 1.5 x 11648 - 256 = 17216
        {"/thresholds/temperature_celsius/low_warning", -0.625}, // 1.5 x 64 - 256 = -160
        {"/thresholds/supply_voltage_volts/high_alarm", 3.61},
        {"/thresholds/supply_voltage_volts/low_alarm", 2.81},
        {"/thresholds/supply_voltage_volts/high_warning", 3.51},
        {"/thresholds/supply_voltage_volts/low_warning", 2.91},
        {"/thresholds/tx_bias_amperes/high_alarm", 0.01998},
        {"/thresholds/tx_bias_amperes/low_alarm", 0.00198},
        {"/thresholds/tx_bias_amperes/high_warning", 0.01798},
        {"/thresholds/tx_bias_amperes/low_warning", 0.00398},
        {"/thresholds/tx_power_watts/high_alarm", 0.001},
        {"/thresholds/tx_power_dbm/high_alarm", 0.0},
        {"/thresholds/tx_power_dbm/low_alarm", -10.0},  // raw 0 + offset 1000
        {"/thresholds/tx_power_dbm/high_warning", -1.0},
        {"/thresholds/tx_power_dbm/low_warning", -6.0},
        {"/thresholds/rx_power_watts/high_alarm", 2147e-7},  // 768: 1296 + 432 + 36 + 384 - 1
        {"/thresholds/rx_power_dbm/high_alarm", -6.68},
        {"/thresholds/rx_power_watts/low_alarm", 0.0},       // 0: -1, no power
        {"/thresholds/rx_power_watts/high_warning", 655e-7}, // 512: 256 + 128 + 16 + 256 - 1
        {"/thresholds/rx_power_dbm/high_warning", -11.84},
        {"/thresholds/rx_power_watts/low_warning", 32e-7},   // 64: 31.5625 rounds to 32
        {"/thresholds/rx_power_dbm/low_warning", -24.95},
    };
    for (const auto &c : cases) EXPECT_NEAR(num(r.at(json::json_pointer(c.pointer))), c.want, 1e-6) << c.pointer;
    EXPECT_TRUE(r.at(json::json_pointer("/thresholds/rx_power_dbm/low_alarm")).is_null());
    // The text shows the calibrated thresholds and, beneath, the record's raw ones.
    EXPECT_NE(text.find("  Temperature          74.00 \u00B0C     -7.00 \u00B0C     67.25 \u00B0C     -0.62 \u00B0C\n"
                        "    (record)           50 \u00B0C        -4 \u00B0C        46 \u00B0C        0 \u00B0C\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("  Calibration          external"), std::string::npos);
}

TEST(SfpCalibration, OnlyBit4AloneMeansExternal) {
    const block a2 = sfp_a2();
    const struct { uint8_t diag_type; double temperature, high_alarm, rx_watts; } cases[] = {
        {0x58, 9345 / 256.0, 74.0, 67e-7},  // bit 4: external
        {0x68, 6401 / 256.0, 50.0, 128e-7}, // bit 5: internal, words as they stand
        {0x78, 6401 / 256.0, 50.0, 128e-7}, // both: internal
    };
    for (const auto &c : cases) {
        const block a0 = sfp_a0(c.diag_type);
        const json r = readings_of(module_family::sfp, a0, {{0, &a2}});
        EXPECT_DOUBLE_EQ(num(r["temperature_celsius"]), float(c.temperature)) << int(c.diag_type);
        EXPECT_DOUBLE_EQ(num(r["thresholds"]["temperature_celsius"]["high_alarm"]), c.high_alarm) << int(c.diag_type);
        EXPECT_NEAR(num(r["lanes"][0]["rx_power_watts"]), c.rx_watts, 1e-12) << int(c.diag_type);
    }
}

// --- CMIS -----------------------------------------------------------------------

// A QSFP-DD with the monitors advertised (page 01h bytes 159, 160), lane 1's
// Tx bias 10000 counts (20 mA) and its high alarm 30000 (60 mA).
struct cmis_module {
    block lower, page00 = upper(), page01 = upper(), page02 = upper(), page11 = upper();
    cmis_module() {
        lower.set(0, {0x18}).word(14, 0x2F40).word(16, 33000);  // 47.25 degrees, 3.3 V
        lower.set(86, {0x11, 0x1D, 0x84, 0x01, 0xFF});          // application 1: 8 host, 4 media lanes
        page00.set(128, {0x18});
        page01.set(159, {0x03, 0x07});
        page02.words(184, {30000, 5000, 25000, 7500});
        page11.word(154, 10000).word(156, 10000).word(170, 10000);
        page11.word(186, 0).word(188, 1);  // Rx power: lane 1 dark, lane 2 one count
    }
    json readings(std::vector<std::string> *notes = nullptr, std::string *text = nullptr) const {
        return readings_of(module_family::cmis, lower, {{0, &page00}, {1, &page01}, {2, &page02}, {0x11, &page11}},
                           notes, text);
    }
};

TEST(CmisBiasMultiplier, EachCodeOfPage01hByte160Bits4To3) {
    const struct { uint8_t code; double lane1, high_alarm; } cases[] = {
        {0, 0.02, 0.06}, {1, 0.04, 0.12}, {2, 0.08, 0.24}, {3, NAN, NAN},  // 11b reserved: unknown
    };
    for (const auto &c : cases) {
        cmis_module m;
        m.page01.set(160, {uint8_t(0x07 | c.code << 3)});
        std::vector<std::string> notes;
        std::string text;
        const json r = m.readings(&notes, &text);
        const json bias = r["thresholds"]["tx_bias_amperes"];
        if (std::isnan(c.lane1)) {
            EXPECT_TRUE(r["lanes"][0]["tx_bias_amperes"].is_null());
            EXPECT_TRUE(bias.is_null());
            EXPECT_EQ(notes.back(), "Tx bias unknown: page 01h byte 160 bits 4-3 hold the reserved multiplier code 11b");
            continue;
        }
        EXPECT_NEAR(num(r["lanes"][0]["tx_bias_amperes"]), c.lane1, 1e-8) << int(c.code);
        EXPECT_NEAR(num(bias["high_alarm"]), c.high_alarm, 1e-8) << int(c.code);
        // The record keeps the raw word: shown beneath when multiplied.
        EXPECT_EQ(text.find("    (record)           20.000 mA") != std::string::npos, c.code != 0) << text;
    }
}

TEST(Lanes, EachFamilyAndCmisApplication) {
    // CMIS: the media lanes of the active data paths (page 11h bytes 206-213:
    // AppSel bits 7-4, DataPathID bits 3-1), else of the first application.
    const struct { const char *name; std::vector<uint8_t> active; uint8_t app1_lanes; std::size_t want; } cases[] = {
        {"first application, nothing active", {}, 0x84, 4},
        {"application 2 on host lanes 1-2", {0x21, 0x21}, 0x84, 1},
        {"application 2 as four data paths (breakout)", {0x21, 0x21, 0x25, 0x25, 0x29, 0x29, 0x2D, 0x2D}, 0x84, 4},
        {"application 9 from page 01h", {0x91, 0x91, 0x91, 0x91, 0x91, 0x91, 0x91, 0x91}, 0x84, 8},
        {"first application without media lanes: all eight", {}, 0x80, 8},
    };
    for (const auto &c : cases) {
        cmis_module m;
        m.lower.set(88, {c.app1_lanes});
        m.lower.set(90, {0x11, 0x4C, 0x21, 0x55});  // application 2: 2 host lanes, 1 media lane
        m.page01.set(223, {0x11, 0x10, 0x88, 0x01});  // application 9: 8 and 8
        for (std::size_t i = 0; i < c.active.size(); ++i) m.page11.set(206 + unsigned(i), {c.active[i]});
        const json lanes = m.readings()["lanes"];
        ASSERT_EQ(lanes.size(), c.want) << c.name;
        for (std::size_t i = 0; i < lanes.size(); ++i) EXPECT_EQ(lanes[i]["lane"], i + 1) << c.name;
    }
    block sfp = sfp_a0(0x68), a2 = sfp_a2();
    EXPECT_EQ(readings_of(module_family::sfp, sfp, {{0, &a2}})["lanes"].size(), 1u);
    block qsfp, page00 = upper();
    qsfp.set(0, {0x11}).word(22, 0x1980);
    page00.set(128, {0x11}).set(131, {0x80});
    EXPECT_EQ(readings_of(module_family::qsfp, qsfp, {{0, &page00}})["lanes"].size(), 4u);
}

TEST(Power, ZeroIsZeroWattsAndNoDbmOneCountIsMinus40) {
    std::string text;
    const json r = cmis_module().readings(nullptr, &text);
    EXPECT_EQ(r["lanes"][0]["rx_power_watts"], 0.0);
    EXPECT_TRUE(r["lanes"][0]["rx_power_dbm"].is_null());
    EXPECT_NEAR(num(r["lanes"][1]["rx_power_watts"]), 1e-7, 1e-13);
    EXPECT_EQ(r["lanes"][1]["rx_power_dbm"], -40.0);
    // The record says -40.00 dBm for both; the text shows it beneath the zero only.
    // Lane 1: the Rx power cell of the record row, after the label and two empty cells.
    EXPECT_NE(text.find("-Inf dBm\n    (record)" + std::string(11 + 2 * 13, ' ') + "-40.00 dBm\n"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("-40.00 dBm\n    (record)"), std::string::npos);
}

TEST(Temperature, TheFractionOfEachFamilysWord) {
    cmis_module cmis;
    block sfp = sfp_a0(0x68), a2 = sfp_a2(), qsfp, page00 = upper(), xfp_lower, xfp_01 = upper();
    qsfp.set(0, {0x11}).word(22, 0xE6C0);  // -25.25: SFF-8636 lower page bytes 22-23
    page00.set(128, {0x11}).set(131, {0x80});
    xfp_lower.word(96, 0x2DE0);             // 45.875: INF-8077i lower memory bytes 96-97
    xfp_01.set(128, {0x06});
    EXPECT_EQ(num(cmis.readings()["temperature_celsius"]), 47.25);  // CMIS lower page bytes 14-15
    EXPECT_EQ(num(readings_of(module_family::sfp, sfp, {{0, &a2}})["temperature_celsius"]), float(6401 / 256.0));
    EXPECT_EQ(num(readings_of(module_family::qsfp, qsfp, {{0, &page00}})["temperature_celsius"]), -25.25);
    EXPECT_EQ(num(readings_of(module_family::xfp, xfp_01, {{0, &xfp_lower}})["temperature_celsius"]), 45.875);
}

TEST(Json, KeysAndNulls) {
    const json r = cmis_module().readings();
    std::vector<std::string> keys, lane, thresholds, four;
    for (const auto &[k, v] : r.items()) keys.push_back(k);
    for (const auto &[k, v] : r["lanes"][0].items()) lane.push_back(k);
    for (const auto &[k, v] : r["thresholds"].items()) thresholds.push_back(k);
    for (const auto &[k, v] : r["thresholds"]["tx_power_dbm"].items()) four.push_back(k);
    using list = std::vector<std::string>;
    EXPECT_EQ(keys, (list{"temperature_celsius", "supply_voltage_volts", "rx_power_type", "lanes", "thresholds"}));
    EXPECT_EQ(lane, (list{"lane", "tx_bias_amperes", "tx_power_watts", "tx_power_dbm", "rx_power_watts", "rx_power_dbm"}));
    EXPECT_EQ(thresholds, (list{"temperature_celsius", "supply_voltage_volts", "tx_bias_amperes", "tx_power_watts",
                                "tx_power_dbm", "rx_power_watts", "rx_power_dbm"}));
    EXPECT_EQ(four, (list{"high_alarm", "low_alarm", "high_warning", "low_warning"}));
    EXPECT_EQ(r["rx_power_type"], "OMA");  // page 01h byte 151 bit 4 clear

    // No thresholds page: null thresholds; no monitors: no readings, and a note.
    cmis_module m;
    EXPECT_TRUE(readings_of(module_family::cmis, m.lower, {{0, &m.page00}, {1, &m.page01}, {0x11, &m.page11}})
                    ["thresholds"].is_null());
    m.page01.set(159, {0x00, 0x00});
    std::vector<std::string> notes;
    EXPECT_TRUE(m.readings(&notes).is_null());
    EXPECT_EQ(notes.back(), "no readings: the module implements no diagnostic monitors");
}

// Every real module: the readings agree with the records they refine.
TEST(RealModules, ReadingsAgreeWithTheRecords) {
    unsigned with_readings = 0;
    for (const auto &entry : std::filesystem::directory_iterator(FIBER_TEST_DATA)) {
        const std::string name = entry.path().filename();
        auto m = decode_path((entry.path() / "dump.bin").string());
        ASSERT_TRUE(m) << name;
        const json report = json_report(*m.value), r = report["readings"], g = report["diag"];
        if (r.is_null()) continue;
        ++with_readings;
        const std::size_t lanes[] = {0, 4, 1, 1, 0};  // by module_type: QSFP 4, SFP 1, XFP 1
        const unsigned type = g["module_type"];
        if (type != FIBER_DIAG_CMIS) {
            EXPECT_EQ(r["lanes"].size(), lanes[type]) << name;
        }
        EXPECT_EQ(std::lround(num(r["temperature_celsius"])), g["temperature"].get<long>()) << name;
        EXPECT_NEAR(num(r["supply_voltage_volts"]), g["voltage"].get<double>() / 10000, 1e-6) << name;
        for (const json &l : r["lanes"]) {
            const unsigned i = l["lane"].get<unsigned>() - 1;
            for (const char *p : {"tx", "rx"}) {
                const double watts = num(l[std::string(p) + "_power_watts"]);
                const json dbm = l[std::string(p) + "_power_dbm"];
                const double record = g[std::string(p) + "_power"][i];
                EXPECT_EQ(dbm.is_null(), watts == 0.0) << name;
                if (watts > 0) {
                    EXPECT_NEAR(num(dbm), 10 * std::log10(watts * 1000), 0.006) << name;
                }
                EXPECT_NEAR(dbm.is_null() ? -40.0 : num(dbm), record, 0.006) << name;
            }
        }
    }
    EXPECT_GE(with_readings, 6u);
}

}  // namespace
