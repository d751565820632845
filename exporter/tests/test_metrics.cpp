// SPDX-License-Identifier: Apache-2.0
// Metrics from JSON documents: names, labels, units, the exposition
// format's escaping and number forms, and -Inf for no light.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "dump.h"
#include "metrics.h"

namespace {

using namespace fexporter;
using fdump::json;

std::string render_one(const sample_set &set) { return render({&set}); }

bool has_line(const std::string &text, const std::string &line) {
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);)
        if (l == line) return true;
    return false;
}

std::size_t count_prefix(const std::string &text, const std::string &prefix) {
    std::istringstream in(text);
    std::size_t n = 0;
    for (std::string l; std::getline(in, l);) n += l.rfind(prefix, 0) == 0;
    return n;
}

TEST(Metrics, LabelValuesEscapeBackslashQuoteAndLineFeedOnly) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"plain", "plain"},
        {"a\\b", "a\\\\b"},
        {"say \"hi\"", "say \\\"hi\\\""},
        {"two\nlines", "two\\nlines"},
        {"tab\tstays", "tab\tstays"},
        {"caf\xC3\xA9", "caf\xC3\xA9"},  // UTF-8 as it stands
    };
    for (const auto &c : cases) EXPECT_EQ(escape_label_value(c.in), c.out) << c.in;
}

TEST(Metrics, ModuleTextDropsTrailingBlanksOnly) {
    EXPECT_EQ(module_text("FINISAR CORP.   "), "FINISAR CORP.");
    EXPECT_EQ(module_text("  A  "), "  A");
    EXPECT_EQ(module_text("    "), "");
    EXPECT_EQ(module_text(""), "");
    EXPECT_EQ(module_text("X\"Y  "), "X\\\"Y");
    EXPECT_EQ(label_set({{"port", "p1"}, {"vendor", "ACME  "}}), "port=\"p1\",vendor=\"ACME\"");
}

TEST(Metrics, ValuesAreShortestRoundTripAndSpecialFormsAsTheFormatSpellsThem) {
    EXPECT_EQ(format_value(-std::numeric_limits<double>::infinity()), "-Inf");
    EXPECT_EQ(format_value(std::numeric_limits<double>::infinity()), "+Inf");
    EXPECT_EQ(format_value(std::nan("")), "NaN");
    EXPECT_EQ(format_value(75.0f), "75");
    EXPECT_EQ(format_value(0.0614f), "0.0614");       // as float, not 0.061400000005960464
    EXPECT_EQ(format_value(-2.5876927f), "-2.5876927");
    EXPECT_EQ(format_value(3.0), "3");
    EXPECT_EQ(format_value(1795600000.25), "1795600000.25");
    // The document's numbers: floats as the document writes them, integers as integers.
    EXPECT_EQ(json_value(json(48.640625f)), "48.640625");
    // 1.50390625 reads back from 1.5039062 and 1.5039063 alike: the metric
    // shows the document's text, so both read as the same number.
    EXPECT_EQ(json_value(json(1.50390625f)), json(1.50390625f).dump());
    EXPECT_EQ(json_value(json(75.0f)), "75.0");
    EXPECT_EQ(json_value(json(std::int64_t{-3})), "-3");
    EXPECT_EQ(json_value(json(std::uint64_t{200})), "200");
    EXPECT_FALSE(json_value(json(nullptr)));
    EXPECT_FALSE(json_value(json("7")));
}

// A document as the dump layer writes it, with every case a family decodes.
json sample_document() {
    return json::parse(R"({
      "kind": "cmis",
      "normal": {"name_prefix": null, "type_name": "400GBASE-FR4-QSFP-DD", "serial_number": "SN123   "},
      "vendor": {"vendor_name": "ACME \"X\" \\ ", "vendor_pn": "PN-1    ", "vendor_rev": "01"},
      "description": {"identifier": {"code": 24, "name": "QSFP-DD"}, "summary": "400G FR4, 2 km",
                      "applications": [{"host_lanes": 4}, {"host_lanes": 8}, {"host_lanes": 1}]},
      "alarm": {"alarms": [{"id": 3, "text": "Temp high warn"}, {"id": 82, "text": "Channel-3 RX power low warn"}]},
      "coremgmt": {"module_state": "ModuleReady",
                   "datapath_state": ["Activated", "Deactivated", "Activated", "Activated",
                                      "Activated", "Activated", "Activated", "Init"]},
      "readings": {
        "temperature_celsius": 47.7, "supply_voltage_volts": 3.306, "rx_power_type": "average",
        "lanes": [
          {"lane": 1, "tx_bias_amperes": 0.0614, "tx_power_watts": 0.00151, "tx_power_dbm": 1.79,
           "rx_power_watts": 0.00112, "rx_power_dbm": 0.49},
          {"lane": 2, "tx_bias_amperes": null, "tx_power_watts": 0.0, "tx_power_dbm": null,
           "rx_power_watts": null, "rx_power_dbm": null}
        ],
        "thresholds": {
          "temperature_celsius": {"high_alarm": 75.0, "low_alarm": -5.0, "high_warning": 70.0, "low_warning": 0.0},
          "supply_voltage_volts": {"high_alarm": 3.63, "low_alarm": 2.97, "high_warning": 3.465, "low_warning": 3.135},
          "tx_bias_amperes": null,
          "tx_power_watts": {"high_alarm": 0.004, "low_alarm": 0.0, "high_warning": 0.003, "low_warning": 0.0002},
          "tx_power_dbm": {"high_alarm": 6.02, "low_alarm": null, "high_warning": 4.77, "low_warning": -6.99},
          "rx_power_watts": {"high_alarm": 0.004, "low_alarm": null, "high_warning": 0.003, "low_warning": 0.0001},
          "rx_power_dbm": {"high_alarm": 6.02, "low_alarm": null, "high_warning": 4.77, "low_warning": -10.0}
        }
      }
    })");
}

TEST(Metrics, EveryFamilyFromTheDocumentWithItsLabelsAndUnits) {
    read_state state;
    state.present = true;
    state.errors_total = 2;
    state.last_success_unix = 1795600000.5;
    state.last_duration_seconds = 0.0125;
    const json doc = sample_document();
    const std::string text = render_one(port_samples("Ethernet1/1", state, &doc));
    const char *expected[] = {
        R"(fiberdecode_module_present{port="Ethernet1/1"} 1)",
        (R"(fiberdecode_module_info{port="Ethernet1/1",family="cmis",identifier="QSFP-DD",vendor="ACME \"X\" \\",)"
         R"(part_number="PN-1",serial="SN123",revision="01",type="400GBASE-FR4-QSFP-DD",summary="400G FR4, 2 km"} 1)"),
        R"(fiberdecode_temperature_celsius{port="Ethernet1/1"} 47.7)",
        R"(fiberdecode_supply_voltage_volts{port="Ethernet1/1"} 3.306)",
        R"(fiberdecode_tx_bias_amperes{port="Ethernet1/1",lane="1"} 0.0614)",
        R"(fiberdecode_tx_power_dbm{port="Ethernet1/1",lane="1"} 1.79)",
        R"(fiberdecode_tx_power_dbm{port="Ethernet1/1",lane="2"} -Inf)",  // 0 W: no light
        R"(fiberdecode_rx_power_dbm{port="Ethernet1/1",lane="1"} 0.49)",
        R"(fiberdecode_temperature_threshold_celsius{port="Ethernet1/1",level="high_alarm"} 75.0)",
        R"(fiberdecode_temperature_threshold_celsius{port="Ethernet1/1",level="low_alarm"} -5.0)",
        R"(fiberdecode_temperature_threshold_celsius{port="Ethernet1/1",level="high_warning"} 70.0)",
        R"(fiberdecode_temperature_threshold_celsius{port="Ethernet1/1",level="low_warning"} 0.0)",
        R"(fiberdecode_supply_voltage_threshold_volts{port="Ethernet1/1",level="low_warning"} 3.135)",
        R"(fiberdecode_tx_power_threshold_dbm{port="Ethernet1/1",level="low_alarm"} -Inf)",  // 0 W threshold
        R"(fiberdecode_tx_power_threshold_dbm{port="Ethernet1/1",level="low_warning"} -6.99)",
        R"(fiberdecode_rx_power_threshold_dbm{port="Ethernet1/1",level="high_warning"} 4.77)",
        R"(fiberdecode_alarm_active{port="Ethernet1/1",id="3",alarm="Temp high warn"} 1)",
        R"(fiberdecode_alarm_active{port="Ethernet1/1",id="82",alarm="Channel-3 RX power low warn"} 1)",
        R"(fiberdecode_module_state{port="Ethernet1/1",state="ModuleReady"} 1)",
        R"(fiberdecode_datapath_state{port="Ethernet1/1",lane="2",state="Deactivated"} 1)",
        R"(fiberdecode_datapath_state{port="Ethernet1/1",lane="8",state="Init"} 1)",
        R"(fiberdecode_read_errors_total{port="Ethernet1/1"} 2)",
        R"(fiberdecode_last_read_success_timestamp_seconds{port="Ethernet1/1"} 1795600000.5)",
        R"(fiberdecode_read_duration_seconds{port="Ethernet1/1"} 0.0125)",
    };
    for (const char *line : expected) EXPECT_TRUE(has_line(text, line)) << line << "\nin\n" << text;

    // What is unknown is left out, never written as a number: lane 2's bias
    // and Rx power, the bias thresholds, the Rx low alarm whose power is unknown.
    EXPECT_EQ(count_prefix(text, "fiberdecode_tx_bias_amperes{"), 1u);
    EXPECT_EQ(count_prefix(text, "fiberdecode_rx_power_dbm{"), 1u);
    EXPECT_EQ(count_prefix(text, "fiberdecode_tx_bias_threshold_amperes"), 0u);
    EXPECT_EQ(count_prefix(text, "fiberdecode_rx_power_threshold_dbm{"), 3u);
    EXPECT_EQ(count_prefix(text, "fiberdecode_datapath_state{"), 8u);
    EXPECT_EQ(text.find("-40"), std::string::npos);
}

TEST(Metrics, DataPathStatesOfTheHostLanesTheApplicationsUse) {
    const struct {
        const char *applications;
        std::size_t lanes;
    } cases[] = {
        {R"([{"host_lanes": 4}, {"host_lanes": 2}])", 4},  // a QSFP112: four host lanes
        {R"([{"host_lanes": 8}, {"host_lanes": 1}])", 8},
        {R"([])", 8},                                      // none advertised: the eight the record has
        {R"(null)", 8},
    };
    read_state state;
    state.present = true;
    for (const auto &c : cases) {
        json doc = sample_document();
        doc["description"]["applications"] = json::parse(c.applications);
        const std::string text = render_one(port_samples("p", state, &doc));
        EXPECT_EQ(count_prefix(text, "fiberdecode_datapath_state{"), c.lanes) << c.applications;
        EXPECT_EQ(count_prefix(text, "fiberdecode_module_state{"), 1u);
    }
}

TEST(Metrics, AFailedReadLeavesOnlyTheReadMetrics) {
    read_state state;
    state.errors_total = 7;
    state.last_duration_seconds = 5.0;
    const std::string text = render_one(port_samples("p", state, nullptr));
    EXPECT_TRUE(has_line(text, R"(fiberdecode_module_present{port="p"} 0)"));
    EXPECT_TRUE(has_line(text, R"(fiberdecode_read_errors_total{port="p"} 7)"));
    EXPECT_TRUE(has_line(text, R"(fiberdecode_read_duration_seconds{port="p"} 5)"));
    EXPECT_EQ(count_prefix(text, "fiberdecode_last_read_success_timestamp_seconds"), 0u);
    EXPECT_EQ(count_prefix(text, "fiberdecode_") + count_prefix(text, "# "), 3u + 3u * 2u);
}

TEST(Metrics, FamiliesAreGroupedWithOneHelpAndTypeEachAndEmptyOnesLeftOut) {
    read_state state;
    state.present = true;
    const json doc = sample_document();
    const sample_set a = port_samples("a", state, &doc), b = port_samples("b", state, nullptr),
                     own = exporter_samples("1.2.3");
    const std::string text = render({&own, &a, &b});
    for (std::size_t i = 0; i < kFamilyCount; ++i) {
        const family_def &def = definition(static_cast<family>(i));
        EXPECT_EQ(def.id, static_cast<family>(i));
        const std::size_t type_lines = count_prefix(text, std::string("# TYPE ") + def.name + " ");
        const std::size_t help_lines = count_prefix(text, std::string("# HELP ") + def.name + " ");
        EXPECT_EQ(help_lines, type_lines) << def.name;
        EXPECT_LE(type_lines, 1u) << def.name;
    }
    EXPECT_TRUE(has_line(text, "# TYPE fiberdecode_read_errors_total counter"));
    EXPECT_TRUE(has_line(text, "# TYPE fiberdecode_module_present gauge"));
    EXPECT_TRUE(has_line(text, R"(fiberdecode_exporter_build_info{version="1.2.3"} 1)"));
    // The samples of a family follow its TYPE line without a gap: port a, then b.
    const auto type = text.find("# TYPE fiberdecode_module_present gauge\n");
    ASSERT_NE(type, std::string::npos);
    const std::string expected = "# TYPE fiberdecode_module_present gauge\nfiberdecode_module_present{port=\"a\"} 1\n"
                                 "fiberdecode_module_present{port=\"b\"} 1\n";
    EXPECT_EQ(text.substr(type, expected.size()), expected);
    // Families without a sample anywhere have no HELP line.
    const sample_set lone = exporter_samples("1");
    EXPECT_EQ(count_prefix(render({&lone}), "# HELP "), 1u);
}

// Real modules of every family: the metrics carry the values the JSON
// document carries, under the names the exporter documents.
TEST(Metrics, RealModulesGiveTheDocumentsReadings) {
    const char *files[] = {"sfp-10g-sr-intel-ftlx8574", "qsfp28-100g-sr4-mellanox-mma1b00",
                           "synthetic-fboss-cmis-400g-lr4", "qsfp-40g-lr4-kaiam-xqx2502"};
    for (const char *name : files) {
        auto decoded = fdump::decode_path(std::string(FIBER_TEST_DATA) + "/" + name + "/dump.bin");
        ASSERT_TRUE(decoded) << decoded.error;
        const json doc = fdump::json_report(*decoded.value);
        read_state state;
        state.present = true;
        const std::string text = render_one(port_samples(name, state, &doc));
        const json &readings = doc["readings"];
        if (readings.is_null()) continue;
        EXPECT_TRUE(has_line(text, "fiberdecode_temperature_celsius{port=\"" + std::string(name) + "\"} " +
                                       *json_value(readings["temperature_celsius"])))
            << name;
        for (const auto &lane : readings["lanes"]) {
            const std::string labels = "{port=\"" + std::string(name) + "\",lane=\"" + *json_value(lane["lane"]) + "\"} ";
            const std::string rx = lane["rx_power_dbm"].is_null() ? "-Inf" : *json_value(lane["rx_power_dbm"]);
            EXPECT_TRUE(has_line(text, "fiberdecode_rx_power_dbm" + labels + rx)) << name << labels;
        }
        EXPECT_EQ(count_prefix(text, "fiberdecode_alarm_active{"), doc["alarm"]["alarms"].size()) << name;
    }
}

}  // namespace
