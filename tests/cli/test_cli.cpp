// SPDX-License-Identifier: Apache-2.0
// The fiberdecode tool as a user runs it: golden text and JSON reports of the
// samples, the JSON compared field by field with the library's records for the
// same bytes, every input format, the --kind override, and every error with
// its exit status. tests/cli/update_golden.sh BUILD_DIR rewrites the goldens.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "fiber_decode.h"
#include "report.h"

namespace {

using fdump::json;
using bytes = std::vector<uint8_t>;

const std::string kSource = FIBER_SOURCE_DIR, kData = FIBER_CLI_DATA, kGolden = FIBER_CLI_GOLDEN;

std::string read_text(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bytes read_bytes(const std::string &path) {
    const std::string s = read_text(path);
    return bytes(s.begin(), s.end());
}

std::string replace_all(std::string s, const std::string &from, const std::string &to) {
    for (std::size_t at = 0; (at = s.find(from, at)) != std::string::npos; at += to.size()) s.replace(at, from.size(), to);
    return s;
}

// Files this process writes: this prefix and a name.
const std::string kScratch = testing::TempDir() + "fiberdecode-cli-" + std::to_string(getpid()) + "-";

std::string write_file(const std::string &name, const std::string &content) {
    std::ofstream(kScratch + name, std::ios::binary) << content;
    return kScratch + name;
}

struct result { int status; std::string out, err; };

// Runs the tool in the source directory (reports name files as given); "@x"
// in the arguments names the written file x.
result run(const std::string &arguments) {
    static int count = 0;
    const std::string out = kScratch + "run-" + std::to_string(++count), err = out + ".err";
    const std::string in = arguments.find('<') == std::string::npos ? " </dev/null" : "";
    const int status = std::system(("cd '" + kSource + "' && '" FIBERDECODE_TOOL "' " + replace_all(arguments, "@", kScratch) +
                                    " >'" + out + "' 2>'" + err + "'" + in).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_text(out), read_text(err)};
}

json parse(const std::string &text) { return json::parse(text); }  // a parse error fails the test

// The decoded records of a JSON report, without where they came from.
json records(const json &report) {
    json r;
    for (const char *key : {"kind", "decoded", "normal", "vendor", "diag", "alarm", "coremgmt"}) r[key] = report.at(key);
    return r;
}

// --- the library's records through the C API, as the JSON fields they must be ---

template <class T> json val(const T &v) { return v; }
json val(const char *s) { return s ? json(s) : json(nullptr); }
template <std::size_t N> json val(const char (&s)[N]) { return std::string(s, strnlen(s, N)); }
template <class T, std::size_t N> json val(const T (&a)[N]) {
    json j = json::array();
    for (const T &x : a) j.push_back(val(x));
    return j;
}

// The alarm ids below `count` whose bit is set, with their catalogue texts.
template <class Bit> json ids(unsigned count, Bit bit) {
    json j = json::array();
    for (unsigned id = 0; id < count; ++id)
        if (bit(id)) j.push_back({{"id", id}, {"text", fiber_alarms[id]}});
    return j;
}

#define F(field) {#field, val(r.field)}
json normal(const fiber_normal_info_t &r) {
    return {F(unsupported), F(ddm_supported), F(is_xfp), F(is_qsfp), F(is_copper), F(is_active_cable), F(is_sfp),
            F(zx_within_90km), F(name_prefix), F(type_name), F(connector_name), F(wavelength_nm),
            F(wavelength_tolerance_nm), F(length_smf_m), F(length_smf_km), F(length_smf_km_from_100m), F(length_om5_m),
            F(length_om4_m), F(length_om3_m), F(length_om2_m), F(length_om1_m), F(length_copper_m), F(display_name),
            F(serial_number), F(vendor_specific), F(trans_type), F(rate_mbps), F(connector_class),
            F(lane_wavelength_nm), F(is_x8_module), F(is_rj45)};
}
json vendor(const fiber_vendor_info_t &r) {
    return {F(unsupported), F(vendor_name), F(vendor_oui), F(vendor_pn), F(vendor_rev), F(date_code), F(encoding),
            F(firmware_version), F(hardware_version)};
}
json diag(const fiber_diag_info_t &r) {
    return {F(unsupported), F(ddm_supported), F(qsfp_done), F(cmis_done), F(rx_power_type), F(thresholds_valid),
            F(temperature), F(voltage), F(media_lane_count), F(tx_bias), F(rx_power), F(tx_power), F(temp_high_alarm),
            F(temp_low_alarm), F(temp_high_warning), F(temp_low_warning), F(voltage_high_alarm), F(voltage_low_alarm),
            F(voltage_high_warning), F(voltage_low_warning), F(rx_power_high_alarm), F(rx_power_low_alarm),
            F(rx_power_high_warning), F(rx_power_low_warning), F(tx_bias_high_alarm), F(tx_bias_low_alarm),
            F(tx_bias_high_warning), F(tx_bias_low_warning), F(tx_power_high_alarm), F(tx_power_low_alarm),
            F(tx_power_high_warning), F(tx_power_low_warning), F(module_type), F(monitor_flags), F(rx_power_flags),
            F(tx_power_flags), F(max_power), {"flags", ids(192, [&](unsigned id) {  // bit k of the sets: k, 64 + k, 128 + k
                return ((id < 64 ? r.monitor_flags : id < 128 ? r.rx_power_flags : r.tx_power_flags) >> id % 64) & 1;
            })}};
}
json alarm(const fiber_alarm_info_t &r) {
    return {F(unsupported), F(ddm_supported), F(qsfp_done), F(cmis_done), F(alarm_id_count), F(alarm_bits),
            {"alarms", ids(256, [&](unsigned id) { return (r.alarm_bits[id / 32] >> id % 32) & 1; })}};
}
json coremgmt(const fiber_coremgmt_info_t &r) {
    return {F(unsupported), F(media_lane_count), F(module_state), F(datapath_state), F(datapath_state_changed)};
}
#undef F

// The JSON report of a raw sample: the library's records for its bytes, the
// page arguments laid out per kind as the public header says.
json expected_report(const std::string &file, const char *kind_name, fiber_module_kind kind, const bytes &image) {
    fiber_pages_t pages{};
    const uint8_t *lower = image.data();
    if (kind == FIBER_KIND_SFP && image.size() >= 384) pages[0] = image.data() + 256;  // A2h
    if (kind == FIBER_KIND_XFP) lower = image.data() + 128, pages[0] = image.data();  // page 01h; lower memory
    for (unsigned n = 0; (kind == FIBER_KIND_QSFP || kind == FIBER_KIND_CMIS) && 128u * (n + 2) <= image.size(); ++n)
        pages[n] = image.data() + 128 * (n + 1);
    auto decode = [&](auto entry, auto record) { return entry(kind, lower, pages, &record, 0), record; };
    const bool monitors = kind != FIBER_KIND_SFP || pages[0];  // an SFP image without A2h has none
    return {{"file", file}, {"format", "raw"}, {"size", image.size()}, {"kind", kind_name}, {"kind_forced", false},
            {"decoded", true}, {"normal", normal(decode(fiber_decode_normal, fiber_normal_info_t{}))},
            {"vendor", vendor(decode(fiber_decode_vendor, fiber_vendor_info_t{}))},
            {"diag", monitors ? diag(decode(fiber_decode_diag, fiber_diag_info_t{})) : json()},
            {"alarm", monitors ? alarm(decode(fiber_decode_alarm, fiber_alarm_info_t{})) : json()},
            {"coremgmt", kind == FIBER_KIND_CMIS ? coremgmt(decode(fiber_decode_coremgmt, fiber_coremgmt_info_t{})) : json()}};
}

// Object against object key by key, so that a failure names the field.
void expect_fields(const json &got, const json &want, const std::string &path = "") {
    if (!got.is_object() || !want.is_object()) { EXPECT_EQ(got, want) << path; return; }
    EXPECT_EQ(got.size(), want.size()) << path << ": " << got.dump();
    for (const auto &[key, value] : want.items()) expect_fields(got.value(key, json("missing")), value, path + "/" + key);
}

// --- golden reports of the samples ------------------------------------------

struct sample {
    const char *name, *kind_name;
    fiber_module_kind kind;
    std::vector<unsigned> alarms;  // what the sample was built to show, independently of the goldens
};
const sample kSamples[] = {
    {"sfp-10g-sr", "sfp", FIBER_KIND_SFP, {74}},                  // Rx power low warning
    {"sfp-1g-t", "sfp", FIBER_KIND_SFP, {}},                      // A0h only: no alarm record
    {"qsfp28-100g-sr4", "qsfp", FIBER_KIND_QSFP, {84, 86, 203}},  // lane 4 dark: low alarm, low warning, LOS
    {"qsfpdd-400g-fr4", "cmis", FIBER_KIND_CMIS, {3, 82}},        // temperature high warning, lane 3 Rx low warning
    {"xfp-10g-lr", "xfp", FIBER_KIND_XFP, {11}},                  // Tx bias high warning
};

// Parameters print as their names in failure messages.
void PrintTo(const sample &s, std::ostream *os) { *os << s.name; }

class Sample : public testing::TestWithParam<sample> {};

TEST_P(Sample, ReportsMatchTheGoldensAndTheLibraryRecords) {
    const std::string name = GetParam().name, bin = "samples/" + name + ".bin";
    result text = run(bin), hex = run("samples/" + name + ".hex"), js = run("--json " + bin);
    EXPECT_EQ(std::make_pair(text.status, text.err), std::make_pair(0, std::string()));
    EXPECT_EQ(text.out, read_text(kGolden + "/" + name + ".txt"));
    EXPECT_EQ(js.out, read_text(kGolden + "/" + name + ".json"));
    if (name == "qsfpdd-400g-fr4") {  // the page dump comes between the header and the sections
        EXPECT_EQ(run("--dump " + bin).out, read_text(kGolden + "/" + name + ".dump.txt"));
    }
    // The ethtool hex text of the same bytes: only the header's file and source differ.
    EXPECT_EQ(hex.out, replace_all(replace_all(text.out, ".bin: ", ".hex: "), ", raw image, ", ", hex text, "));
    json report = parse(js.out);
    std::vector<unsigned> raised;
    for (const json &a : report.value(json::json_pointer("/alarm/alarms"), json::array()))
        raised.push_back(a.at("id").get<unsigned>());
    EXPECT_EQ(raised, GetParam().alarms);
    report.erase("pages");
    report.erase("notes");
    report.erase("readings");  // derived from the records: tests/dump/test_readings.cpp
    report.erase("description");  // from the module's bytes: tests/dump/test_describe.cpp
    expect_fields(report, expected_report(bin, GetParam().kind_name, GetParam().kind, read_bytes(kSource + "/" + bin)));
}

INSTANTIATE_TEST_SUITE_P(Samples, Sample, testing::ValuesIn(kSamples),
                         [](const auto &info) { return replace_all(info.param.name, "-", "_"); });

// --- input formats: each decodes to the records of the raw sample -----------

// `per_line` bytes a line in `byte` format, each line led by its offset in
// `label` format (no offsets when null).
std::string hex_rows(const bytes &b, std::size_t per_line, const char *label, const char *byte = " %02x") {
    std::string out;
    char buf[32];
    for (std::size_t i = 0; i < b.size(); ++i) {
        if (i % per_line == 0 && i) out += '\n';
        if (i % per_line == 0 && label) out += (std::snprintf(buf, sizeof buf, label, i), buf);
        out += (std::snprintf(buf, sizeof buf, byte, b[i]), buf);
    }
    return out + "\n";
}

// i2cdump byte mode of 256 bytes from `from`; byte " XX" for an address that
// does not answer. Its ASCII column here looks like hex bytes.
std::string i2cdump(const bytes &image, std::size_t from, const char *address, const char *byte = " %02x") {
    const bytes block(image.begin() + static_cast<long>(from), image.begin() + static_cast<long>(from) + 256);
    return std::string("WARNING! This program can confuse your I2C bus, cause data loss and worse!\n"
                       "I will probe file /dev/i2c-0, address ") + address + ", mode byte\nContinue? [Y/n] Y\n"
           "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n" +
           replace_all(hex_rows(block, 16, "%02zx:", byte), "\n", "    AB CD .. ef\n");
}

std::string padded(const bytes &b, std::size_t size) {
    return std::string(b.begin(), b.end()) + std::string(size - b.size(), '\0');
}

struct variant {
    const char *name, *sample;
    std::string (*make)(const bytes &image, const std::string &ethtool_hex);  // the file's content
    const char *format, *options = "";  // the format the report names; options before the file
};
#define MAKE(expr) [](const bytes &b, const std::string &t) -> std::string { (void)b, (void)t; return expr; }

const variant kVariants[] = {
    {"ethtool_tabs_as_spaces", "sfp-10g-sr", MAKE(replace_all(t, "\t", "    ")), "hex"},
    {"ethtool_trailing_blanks_crlf", "qsfp28-100g-sr4", MAKE(replace_all(t, "\n", " \t \r\n")), "hex"},
    {"ethtool_after_prompt_and_warnings", "qsfpdd-400g-fr4",
     MAKE("admin@switch:~$ sudo ethtool -m swp12 hex on\nnetlink error: Operation not supported\n\n" + t), "hex"},
    {"plain_hex_without_offsets", "xfp-10g-lr", MAKE(hex_rows(b, 32, nullptr)), "hex"},
    {"plain_hex_with_offsets_upper_case", "sfp-10g-sr", MAKE(hex_rows(b, 16, "%04zx:", " %02X")), "hex"},
    {"hex_string", "sfp-10g-sr", MAKE(hex_rows(b, b.size(), nullptr, "%02x")), "hex"},
    {"i2cdump_a0h_then_a2h", "sfp-10g-sr", MAKE(i2cdump(b, 0, "0x50") + i2cdump(b, 256, "0x51")), "hex"},
    {"i2cdump_a2h_not_answering", "sfp-1g-t", MAKE(i2cdump(b, 0, "0x50") + i2cdump(b, 0, "0x51", " XX")), "hex"},
    {"optoe_sfp", "sfp-10g-sr", MAKE(padded(b, 384 + 128 * 256)), "optoe"},  // A0h, A2h, A2h pages 00h-FFh
    {"optoe_cmis", "qsfpdd-400g-fr4", MAKE(padded(b, 128 * 257)), "optoe"},  // lower page, pages 00h-FFh
    {"forced_optoe", "sfp-10g-sr", MAKE(padded(b, b.size())), "optoe", "--format optoe"},
    {"standard_input", "sfp-10g-sr", MAKE(padded(b, b.size())), "raw", "- <"},
    {"standard_input_hex", "qsfp28-100g-sr4", MAKE(t), "hex", "- <"},
    // INF-8077i in an optoe file: lower memory, page 00h (here with an identifier-like byte 128),
    // page 01h at 256; the format, not the bytes, places page 01h.
    {"optoe_xfp", "xfp-10g-lr",
     MAKE(padded(bytes(b.begin(), b.begin() + 128), 128) + '\x06' + std::string(127, '\0') +
          padded(bytes(b.begin() + 128, b.end()), 128 * 255)), "optoe"},  // 128 (1 + 256) bytes
};

void PrintTo(const variant &v, std::ostream *os) { *os << v.name; }

class InputFormat : public testing::TestWithParam<variant> {};

TEST_P(InputFormat, DecodesLikeTheRawImage) {
    const variant &v = GetParam();
    const std::string raw = std::string("samples/") + v.sample + ".bin";
    const std::string hex = read_text(kSource + "/samples/" + v.sample + ".hex");
    const std::string path = write_file(v.name, v.make(read_bytes(kSource + "/" + raw), hex));
    result got = run("--json " + std::string(v.options) + " " + path);
    EXPECT_EQ(got.status, 0) << got.err;
    json report = parse(got.out);
    EXPECT_EQ(report.at("format"), v.format);
    EXPECT_EQ(report.at("file"), std::strchr(v.options, '<') ? "<stdin>" : path);
    EXPECT_EQ(records(report), records(parse(run("--json " + raw).out)));
}

INSTANTIATE_TEST_SUITE_P(Variants, InputFormat, testing::ValuesIn(kVariants),
                         [](const auto &info) { return std::string(info.param.name); });

// Published dumps of real modules (tests/cli/data/*/source.md): the text
// parses to the publisher's binary (zero beyond what the text covers) and
// decodes like it.
TEST(RealModules, PublishedTextIsItsBinary) {
    // directory (its text layout), kind, a vendor field and its published value
    const std::tuple<const char *, const char *, const char *, std::string> entries[] = {
        {"sfp-10g-sr-intel-ftlx8574", "sfp", "vendor_pn", "FTLX8574D3BNL-IT"},  // ethtool hex
        {"sfp-1g-t-netgear-agm734", "sfp", "vendor_pn", "AGM734"},               // ethtool hex, A0h only
        {"qsfp28-100g-sr4-mellanox-mma1b00", "qsfp", "vendor_pn", "MMA1B00-SS1"}, // ethtool hex, pages 00h-03h
        {"qsfp-40g-lr4-kaiam-xqx2502", "qsfp", "vendor_pn", "XQX2502"},           // hexdump -C with a prompt
        {"sfp-10g-sr-finisar-ftlx8571", "sfp", "vendor_pn", "FTLX8571D3BCL"},     // dump tool: "A0h dump", "A2h dump" titles
        {"sfp-10g-lr-flexoptix-pb1696", "sfp", "vendor_pn", "P.B1696.10.DA"},     // one hex string
        {"qsfp28-100g-dac-fs-q28pc", "qsfp", "vendor_pn", "Q28-PCxx"},            // one hex string, 640 bytes
        {"qsfpdd-400g-dac-fit-cu4ep54", "cmis", "vendor_pn", "CU4EP54-01000-EF"}, // dump tool, page titles, flat memory
        {"synthetic-fboss-cmis-400g-lr4", "cmis", "vendor_name", "FACETEST"},     // plain hex, all-zero blocks left out
    };
    for (const auto &[entry, kind, field, part] : entries) {
        const std::string dir = kData + "/" + entry;
        auto image = fdump::make_image(read_bytes(dir + "/dump.txt"), fdump::input_format::automatic);
        bytes want = read_bytes(dir + "/dump.bin");
        ASSERT_TRUE(image && image.value->format == fdump::input_format::hex) << entry << ": " << image.error;
        EXPECT_LE(image.value->bytes.size(), want.size()) << entry;
        image.value->bytes.resize(want.size(), 0);
        EXPECT_EQ(image.value->bytes, want) << entry;
        result text = run("--json " + dir + "/dump.txt"), binary = run("--json " + dir + "/dump.bin");
        const json report = parse(text.out);
        EXPECT_EQ(text.status, binary.status) << entry;
        EXPECT_EQ(report.at("kind"), kind) << entry;
        EXPECT_EQ(report.at("vendor").at(field).get<std::string>().substr(0, part.size()), part) << entry;
        EXPECT_EQ(records(report), records(parse(binary.out))) << entry;
    }
}

// --- exit statuses, errors and what a run prints --------------------------------

// The scratch files the rows below name with "@".
void write_inputs() {
    const std::string sfp = read_text(kSource + "/samples/sfp-10g-sr.bin");
    std::string unread = i2cdump(bytes(256, 0x20), 0, "0x50");
    write_file("empty.bin", "");
    write_file("truncated.bin", sfp.substr(0, 300));
    write_file("large.bin", sfp + std::string(fdump::kMaxImage + 128 - sfp.size(), '\0'));
    write_file("notes.txt", "Module in port 3 looked fine.\n");
    write_file("bad.hex", "Offset Values\n0x0000: 03 04 07 1O 00\n");
    write_file("unread.txt", unread.replace(unread.find("30: 20"), 6, "30: XX"));
    write_file("short.bin", read_text(kSource + "/samples/qsfp28-100g-sr4.bin").substr(0, 128));
    write_file("qsfp-256.bin", read_text(kSource + "/samples/qsfp28-100g-sr4.bin").substr(0, 256));
    write_file("id2a.bin", '\x2a' + std::string(255, '\0'));
    chmod(write_file("unreadable.bin", sfp).c_str(), 0);
    write_file("sfp-82h.bin", '\x82' + sfp.substr(1));  // SFF-8024: an SFP variant the detection table leaves out
    std::string no_monitors = read_text(kSource + "/samples/qsfpdd-400g-fr4.bin");
    no_monitors[2 * 128 + 159 - 128] = no_monitors[2 * 128 + 160 - 128] = 0;  // CMIS page 01h bytes 159, 160
    write_file("cmis-no-monitors.bin", no_monitors);
    // A file root cannot read either: the tool's own memory at offset 0 is not mapped.
    if (geteuid() == 0) symlink("/proc/self/mem", (kScratch + "unreadable-root").c_str());
}

// Expected: the status, text in standard output (when none: nothing printed
// on status 2) and text in standard error (when none: nothing printed).
struct run_case { const char *name, *arguments; int status; const char *out, *err; };

const run_case kRuns[] = {
    {"missing_file", "no/such/module.bin", 2, "", "fiberdecode: no/such/module.bin: cannot open: No such file or directory\n"},
    {"directory", "samples", 2, "", "fiberdecode: samples: cannot read: Is a directory\n"},
    {"empty", "@empty.bin", 2, "", ": empty file\n"},
    {"truncated", "@truncated.bin", 2, "", ": truncated image: 300 bytes is not a whole number of 128-byte pages\n"},
    {"too_large", "@large.bin", 2, "", ": image too large: 33280 bytes (a module image has at most 33152)\n"},
    {"not_hex", "@notes.txt", 2, "", ": no hex bytes found: not a module dump\n"},
    {"bad_hex_token", "@bad.hex", 2, "", ": line 2: \"1O\" is not a hex byte\n"},
    {"unread_byte", "@unread.txt", 2, "", ": byte 0x0030 could not be read (XX in the dump)\n"},
    {"text_forced_raw", "--format raw samples/sfp-10g-sr.hex", 2, "", ": truncated image: 1854 bytes"},
    {"binary_forced_hex", "--format hex samples/sfp-10g-sr.bin", 2, "", ": not hex text: the file is binary (try --format raw)\n"},
    {"too_short", "@short.bin", 2, "",
     ": image too short: QSFP modules need the lower page and upper page 00h (256 bytes); the image has 128\n"},
    {"unrecognised_identifier", "@id2a.bin", 2, "", ": unrecognised module identifier 2Ah at byte 0 (--kind decodes it anyway)\n"},
    {"kind_decodes_82h", "--json --kind sfp @sfp-82h.bin", 0, "\"kind\": \"sfp\",\n  \"kind_forced\": true,", ""},
    {"kind_xfp_rejects_sfp", "--kind xfp samples/sfp-10g-sr.bin", 1, "samples/sfp-10g-sr.bin: XFP module (--kind)",
     "fiberdecode: samples/sfp-10g-sr.bin: not decoded: the XFP decoder does not recognise this module\n"},
    {"kind_xfp_rejects_sfp_json", "--json --kind xfp samples/sfp-10g-sr.bin", 1, "\"decoded\": false,", ": not decoded"},
    {"rejected_after_decoded", "--kind sfp samples/sfp-10g-sr.bin samples/qsfp28-100g-sr4.bin", 1,
     "Module               10GBASE-SR-SFP+", "qsfp28-100g-sr4.bin: not decoded: the SFP decoder"},
    {"every_file_attempted", "samples/xfp-10g-lr.bin no/such.bin samples/sfp-1g-t.bin", 2, "\n\nsamples/sfp-1g-t.bin: SFP module",
     "fiberdecode: no/such.bin: cannot open: No such file or directory\n"},
    {"json_then_missing", "--json samples/sfp-1g-t.bin none.bin", 2, "\"file\": \"samples/sfp-1g-t.bin\"", "none.bin: cannot open"},
    {"no_file", "", 2, "", "FILE is required"},
    {"unknown_option", "--colour samples/sfp-10g-sr.bin", 2, "", "--colour"},
    {"bad_format", "--format ihex samples/sfp-10g-sr.bin", 2, "", "--format"},
    {"bad_kind", "--kind osfp samples/sfp-10g-sr.bin", 2, "", "--kind"},
    {"json_with_dump", "--json --dump samples/sfp-10g-sr.bin", 2, "", "--json excludes --dump"},
    {"help_format", "--help", 0, "--format", ""},
    {"version", "--version", 0, ".", ""},
    {"unreadable", "@unreadable.bin", 2, "", ": cannot open: Permission denied\n"},  // as root: see below
    {"no_transceiver_type", "tests/cli/data/qsfp28-100g-dac-fs-q28pc/dump.bin", 1, "\nVendor\n  Name                 FS",
     "dump.bin: not decoded: the QSFP decoder finds no transceiver type for this module\n"},
    {"flat_memory_cmis", "--json tests/cli/data/qsfpdd-400g-dac-fit-cu4ep54/dump.bin", 0, "\"connector_class\": 3,", ""},
    {"flat_memory_cmis_note", "tests/cli/data/qsfpdd-400g-dac-fit-cu4ep54/dump.txt", 0,
     "  Note: flat-memory module (lower page byte 2 bit 7): no upper pages but 00h; identified with page 01h as zeros, "
     "no diagnostics, alarms or module state\n\nDescription\n", ""},
    {"cmis_thresholds_without_monitors", "@cmis-no-monitors.bin", 0,
     "\n  Thresholds           not decoded: the module advertises no monitors\n", ""},
    {"qsfp_thresholds_without_page_03h", "@qsfp-256.bin", 0, "\n  Thresholds           not in the image\n", ""},
    {"dark_lane", "samples/qsfp28-100g-sr4.bin", 0,
     "  4                    7.100 mA     -0.40 dBm    -Inf dBm\n    (record)                                     -40.00 dBm\n", ""},
};

void PrintTo(const run_case &c, std::ostream *os) { *os << c.name; }

class Runs : public testing::TestWithParam<run_case> {};

TEST_P(Runs, StatusAndMessages) {
    static const bool written = (write_inputs(), true);
    (void)written;
    run_case c = GetParam();
    if (std::string(c.name) == "unreadable" && geteuid() == 0)  // root opens files whatever their mode
        c.arguments = "@unreadable-root", c.err = ": cannot read: Input/output error\n";
    result r = run(c.arguments);
    EXPECT_EQ(r.status, c.status) << r.err;
    if (*c.out || c.status != 2) EXPECT_NE(r.out.find(c.out), std::string::npos) << r.out;
    else EXPECT_EQ(r.out, "");
    if (*c.err) EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
    else EXPECT_EQ(r.err, "");
}

INSTANTIATE_TEST_SUITE_P(Cases, Runs, testing::ValuesIn(kRuns), [](const auto &info) { return std::string(info.param.name); });

}  // namespace
