// The fiberdecode tool as a user runs it: golden text and JSON reports of
// the samples, the JSON read back and compared field by field with the
// library's records for the same bytes, every input format, the --kind
// override, and every error with its exit status.
//
// Golden files are only compared here; tests/cli/update_golden.sh BUILD_DIR
// rewrites them from a built tool.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fiber_decode.h"
#include "report.h"

namespace {

using fdtool::json;
using bytes = std::vector<uint8_t>;

const std::string kSource = FIBER_SOURCE_DIR;
const std::string kGolden = FIBER_CLI_GOLDEN;
const char *const kSamples[] = {"sfp-10g-sr", "sfp-1g-t", "qsfp28-100g-sr4", "qsfpdd-400g-fr4", "xfp-10g-lr"};

struct result {
    int status = -1;
    std::string out, err;
};

std::string quote(const std::string &s) { return "'" + s + "'"; }

std::string read_text(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bytes read_bytes(const std::string &path) {
    std::string s = read_text(path);
    return bytes(s.begin(), s.end());
}

const std::string &scratch_dir() {
    static const std::string dir = [] {
        std::string tmpl = testing::TempDir() + "fiberdecode-cli-XXXXXX";
        return std::string(mkdtemp(tmpl.data()));
    }();
    return dir;
}

std::string write_file(const std::string &name, const std::string &content) {
    std::string path = scratch_dir() + "/" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string write_file(const std::string &name, const bytes &content) {
    return write_file(name, std::string(content.begin(), content.end()));
}

// Runs the tool from the source directory (reports name the files as given).
result run(const std::string &arguments) {
    static int count = 0;
    std::string err_path = scratch_dir() + "/stderr-" + std::to_string(++count);
    std::string command = "cd " + quote(kSource) + " && " + quote(FIBERDECODE_TOOL) + " " + arguments + " 2>" +
                          quote(err_path);
    if (arguments.find('<') == std::string::npos) command += " </dev/null";
    result r;
    std::FILE *pipe = popen(command.c_str(), "r");
    if (!pipe) return r;
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) r.out.append(buf, n);
    int status = pclose(pipe);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.err = read_text(err_path);
    return r;
}

std::string sample(const std::string &name, const char *extension = ".bin") { return "samples/" + name + extension; }

std::string golden(const std::string &file) {
    std::string text = read_text(kGolden + "/" + file);
    EXPECT_FALSE(text.empty()) << "missing golden file " << file << " (tests/cli/update_golden.sh BUILD_DIR)";
    return text;
}

// The report after its header lines (file name, format, size, notes).
std::string body(const std::string &report) {
    std::size_t at = report.find("\n\n");
    return at == std::string::npos ? report : report.substr(at);
}

json parse(const std::string &text) {
    json j = json::parse(text, nullptr, false);
    EXPECT_FALSE(j.is_discarded()) << text;
    return j;
}

// The decoded records of a JSON report, without where they came from.
json records(const json &report) {
    json r;
    for (const char *key : {"kind", "decoded", "normal", "vendor", "diag", "alarm", "coremgmt"}) r[key] = report.at(key);
    return r;
}

// --- the library's records for a sample, through the C API directly -------

struct direct {
    fiber_normal_info_t normal;
    fiber_vendor_info_t vendor;
    fiber_diag_info_t diag;
    fiber_alarm_info_t alarm;
    fiber_coremgmt_info_t coremgmt;
};

// Page arguments as the public header lays them out per kind.
direct decode_directly(fiber_module_kind kind, const bytes &image) {
    fiber_pages_t pages{};
    const uint8_t *lower = image.data();
    if (kind == FIBER_KIND_SFP) {
        if (image.size() >= 384) pages[0] = image.data() + 256;  // A2h
    } else if (kind == FIBER_KIND_XFP) {
        lower = image.data() + 128;  // page 01h
        pages[0] = image.data();     // lower memory
    } else {
        for (unsigned n = 0; n < FIBER_PAGE_COUNT && 128u * (n + 2) <= image.size(); ++n)
            pages[n] = image.data() + 128 * (n + 1);
    }
    direct d;
    fiber_decode_normal(kind, lower, pages, &d.normal, 0);
    fiber_decode_vendor(kind, lower, pages, &d.vendor, 0);
    fiber_decode_diag(kind, lower, pages, &d.diag, 0);
    fiber_decode_alarm(kind, lower, pages, &d.alarm, 0);
    fiber_decode_coremgmt(kind, lower, pages, &d.coremgmt, 0);
    return d;
}

#define EXPECT_FIELD(j, record, field) \
    EXPECT_EQ((j).at(#field).get<decltype(record.field)>(), record.field) << #field
#define EXPECT_TEXT(j, record, field) \
    EXPECT_EQ((j).at(#field).get<std::string>(), std::string(record.field, strnlen(record.field, sizeof record.field))) << #field
#define EXPECT_ARRAY(j, record, field)                                                   \
    do {                                                                                 \
        ASSERT_EQ((j).at(#field).size(), std::size(record.field)) << #field;             \
        for (std::size_t i_ = 0; i_ < std::size(record.field); ++i_)                     \
            EXPECT_EQ((j).at(#field)[i_].get<std::remove_cvref_t<decltype(record.field[0])>>(), record.field[i_]) \
                << #field << "[" << i_ << "]";                                           \
    } while (0)

void expect_pointer_text(const json &j, const char *name, const char *text) {
    if (text)
        EXPECT_EQ(j.at(name).get<std::string>(), text) << name;
    else
        EXPECT_TRUE(j.at(name).is_null()) << name;
}

void expect_normal(const json &j, const fiber_normal_info_t &n) {
    EXPECT_FIELD(j, n, unsupported); EXPECT_FIELD(j, n, ddm_supported); EXPECT_FIELD(j, n, is_xfp);
    EXPECT_FIELD(j, n, is_qsfp); EXPECT_FIELD(j, n, is_copper); EXPECT_FIELD(j, n, is_active_cable);
    EXPECT_FIELD(j, n, is_sfp); EXPECT_FIELD(j, n, zx_within_90km);
    expect_pointer_text(j, "name_prefix", n.name_prefix);
    expect_pointer_text(j, "type_name", n.type_name);
    expect_pointer_text(j, "connector_name", n.connector_name);
    EXPECT_FIELD(j, n, wavelength_nm); EXPECT_FIELD(j, n, wavelength_tolerance_nm);
    EXPECT_FIELD(j, n, length_smf_m); EXPECT_FIELD(j, n, length_smf_km); EXPECT_FIELD(j, n, length_smf_km_from_100m);
    EXPECT_FIELD(j, n, length_om5_m); EXPECT_FIELD(j, n, length_om4_m); EXPECT_FIELD(j, n, length_om3_m);
    EXPECT_FIELD(j, n, length_om2_m); EXPECT_FIELD(j, n, length_om1_m); EXPECT_FIELD(j, n, length_copper_m);
    EXPECT_TEXT(j, n, display_name); EXPECT_TEXT(j, n, serial_number); EXPECT_TEXT(j, n, vendor_specific);
    EXPECT_FIELD(j, n, trans_type); EXPECT_FIELD(j, n, rate_mbps); EXPECT_FIELD(j, n, connector_class);
    EXPECT_ARRAY(j, n, lane_wavelength_nm);
    EXPECT_FIELD(j, n, is_x8_module); EXPECT_FIELD(j, n, is_rj45);
    EXPECT_EQ(j.size(), 31u);
}

void expect_vendor(const json &j, const fiber_vendor_info_t &v) {
    EXPECT_FIELD(j, v, unsupported); EXPECT_TEXT(j, v, vendor_name); EXPECT_ARRAY(j, v, vendor_oui);
    EXPECT_TEXT(j, v, vendor_pn); EXPECT_TEXT(j, v, vendor_rev); EXPECT_TEXT(j, v, date_code);
    expect_pointer_text(j, "encoding", v.encoding);
    EXPECT_TEXT(j, v, firmware_version); EXPECT_TEXT(j, v, hardware_version);
    EXPECT_EQ(j.size(), 9u);
}

void expect_ids(const json &list, const std::vector<unsigned> &ids) {
    ASSERT_EQ(list.size(), ids.size()) << list.dump();
    for (std::size_t i = 0; i < ids.size(); ++i) {
        EXPECT_EQ(list[i].at("id").get<unsigned>(), ids[i]);
        EXPECT_EQ(list[i].at("text").get<std::string>(), fiber_alarms[ids[i]]);
    }
}

void expect_diag(const json &j, const fiber_diag_info_t &g) {
    EXPECT_FIELD(j, g, unsupported); EXPECT_FIELD(j, g, ddm_supported); EXPECT_FIELD(j, g, qsfp_done);
    EXPECT_FIELD(j, g, cmis_done); EXPECT_FIELD(j, g, rx_power_type); EXPECT_FIELD(j, g, thresholds_valid);
    EXPECT_FIELD(j, g, temperature); EXPECT_FIELD(j, g, voltage); EXPECT_FIELD(j, g, media_lane_count);
    EXPECT_ARRAY(j, g, tx_bias); EXPECT_ARRAY(j, g, rx_power); EXPECT_ARRAY(j, g, tx_power);
    EXPECT_FIELD(j, g, temp_high_alarm); EXPECT_FIELD(j, g, temp_low_alarm);
    EXPECT_FIELD(j, g, temp_high_warning); EXPECT_FIELD(j, g, temp_low_warning);
    EXPECT_FIELD(j, g, voltage_high_alarm); EXPECT_FIELD(j, g, voltage_low_alarm);
    EXPECT_FIELD(j, g, voltage_high_warning); EXPECT_FIELD(j, g, voltage_low_warning);
    EXPECT_FIELD(j, g, rx_power_high_alarm); EXPECT_FIELD(j, g, rx_power_low_alarm);
    EXPECT_FIELD(j, g, rx_power_high_warning); EXPECT_FIELD(j, g, rx_power_low_warning);
    EXPECT_FIELD(j, g, tx_bias_high_alarm); EXPECT_FIELD(j, g, tx_bias_low_alarm);
    EXPECT_FIELD(j, g, tx_bias_high_warning); EXPECT_FIELD(j, g, tx_bias_low_warning);
    EXPECT_FIELD(j, g, tx_power_high_alarm); EXPECT_FIELD(j, g, tx_power_low_alarm);
    EXPECT_FIELD(j, g, tx_power_high_warning); EXPECT_FIELD(j, g, tx_power_low_warning);
    EXPECT_FIELD(j, g, module_type); EXPECT_FIELD(j, g, monitor_flags); EXPECT_FIELD(j, g, rx_power_flags);
    EXPECT_FIELD(j, g, tx_power_flags); EXPECT_FIELD(j, g, max_power);
    std::vector<unsigned> ids;  // bit k of the three sets: ids k, 64 + k, 128 + k
    for (unsigned k = 0; k < 64; ++k)
        if ((g.monitor_flags >> k) & 1) ids.push_back(k);
    for (unsigned k = 0; k < 64; ++k)
        if ((g.rx_power_flags >> k) & 1) ids.push_back(64 + k);
    for (unsigned k = 0; k < 64; ++k)
        if ((g.tx_power_flags >> k) & 1) ids.push_back(128 + k);
    expect_ids(j.at("flags"), ids);
}

std::vector<unsigned> active_ids(const fiber_alarm_info_t &a) {
    std::vector<unsigned> ids;
    for (unsigned id = 0; id < 256; ++id)
        if ((a.alarm_bits[id / 32] >> (id % 32)) & 1) ids.push_back(id);
    return ids;
}

void expect_alarm(const json &j, const fiber_alarm_info_t &a) {
    EXPECT_FIELD(j, a, unsupported); EXPECT_FIELD(j, a, ddm_supported); EXPECT_FIELD(j, a, qsfp_done);
    EXPECT_FIELD(j, a, cmis_done); EXPECT_FIELD(j, a, alarm_id_count); EXPECT_ARRAY(j, a, alarm_bits);
    expect_ids(j.at("alarms"), active_ids(a));
}

void expect_coremgmt(const json &j, const fiber_coremgmt_info_t &c) {
    EXPECT_FIELD(j, c, unsupported); EXPECT_FIELD(j, c, media_lane_count);
    expect_pointer_text(j, "module_state", c.module_state);
    ASSERT_EQ(j.at("datapath_state").size(), 8u);
    for (unsigned lane = 0; lane < 8; ++lane) {
        json state = {{"state", j.at("datapath_state")[lane]}};
        expect_pointer_text(state, "state", c.datapath_state[lane]);
    }
    EXPECT_ARRAY(j, c, datapath_state_changed);
}

// --- golden reports of the samples ------------------------------------------

class Sample : public testing::TestWithParam<const char *> {};

TEST_P(Sample, TextReportMatchesGolden) {
    result r = run(sample(GetParam()));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, golden(std::string(GetParam()) + ".txt"));
}

TEST_P(Sample, JsonReportMatchesGolden) {
    result r = run("--json " + sample(GetParam()));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, golden(std::string(GetParam()) + ".json"));
}

TEST_P(Sample, JsonFieldsAreTheLibraryRecordsForTheSameBytes) {
    json report = parse(run("--json " + sample(GetParam())).out);
    bytes image = read_bytes(kSource + "/" + sample(GetParam()));
    const std::string kind = report.at("kind").get<std::string>();
    const fiber_module_kind k = kind == "sfp" ? FIBER_KIND_SFP : kind == "xfp" ? FIBER_KIND_XFP
                                : kind == "qsfp" ? FIBER_KIND_QSFP : FIBER_KIND_CMIS;
    direct d = decode_directly(k, image);
    EXPECT_EQ(report.at("file").get<std::string>(), sample(GetParam()));
    EXPECT_EQ(report.at("format").get<std::string>(), "raw");
    EXPECT_EQ(report.at("size").get<std::size_t>(), image.size());
    EXPECT_TRUE(report.at("decoded").get<bool>());
    expect_normal(report.at("normal"), d.normal);
    expect_vendor(report.at("vendor"), d.vendor);
    if (report.at("diag").is_null()) {
        EXPECT_EQ(k, FIBER_KIND_SFP);  // only an image without A2h goes without
        EXPECT_TRUE(report.at("alarm").is_null());
    } else {
        expect_diag(report.at("diag"), d.diag);
        expect_alarm(report.at("alarm"), d.alarm);
    }
    if (k == FIBER_KIND_CMIS)
        expect_coremgmt(report.at("coremgmt"), d.coremgmt);
    else
        EXPECT_TRUE(report.at("coremgmt").is_null());
}

TEST_P(Sample, HexTextDecodesLikeTheRawImage) {
    result raw = run(sample(GetParam()));
    result hex = run(sample(GetParam(), ".hex"));
    EXPECT_EQ(hex.status, 0) << hex.err;
    EXPECT_EQ(body(hex.out), body(raw.out));
    EXPECT_NE(hex.out.find(sample(GetParam(), ".hex") + ": "), std::string::npos);
    EXPECT_NE(hex.out.find(", hex text, "), std::string::npos) << hex.out;
}

INSTANTIATE_TEST_SUITE_P(Samples, Sample, testing::ValuesIn(kSamples), [](const auto &info) {
    std::string name = info.param;
    for (char &c : name)
        if (c == '-') c = '_';
    return name;
});

TEST(Samples, AllDecodeTogetherWithStatusZero) {
    result r = run("samples/*.bin");
    EXPECT_EQ(r.status, 0) << r.err;
    for (const char *s : kSamples) EXPECT_NE(r.out.find(sample(s) + ": "), std::string::npos) << s;
}

// What the samples were built to show, independently of the goldens.
TEST(Samples, RaisedAlarmsAreThoseTheImagesCarry) {
    const std::pair<const char *, std::vector<unsigned>> expected[] = {
        {"sfp-10g-sr", {74}},               // Rx power low warning
        {"qsfp28-100g-sr4", {84, 86, 203}}, // lane 4 dark: low alarm, low warning, LOS
        {"qsfpdd-400g-fr4", {3, 82}},       // temperature high warning, lane 3 Rx low warning
        {"xfp-10g-lr", {11}},               // Tx bias high warning
    };
    for (const auto &[name, ids] : expected) {
        json report = parse(run("--json " + sample(name)).out);
        std::vector<unsigned> got;
        for (const auto &a : report.at("alarm").at("alarms")) got.push_back(a.at("id").get<unsigned>());
        EXPECT_EQ(got, ids) << name;
    }
}

TEST(Samples, DarkLaneShowsMinus40Dbm) {
    result r = run(sample("qsfp28-100g-sr4"));
    EXPECT_NE(r.out.find("  4                    7.100 mA     -0.40 dBm    -40.00 dBm\n"), std::string::npos) << r.out;
}

TEST(Dump, PagesComeBetweenTheHeaderAndTheSections) {
    result r = run("--dump " + sample("qsfpdd-400g-fr4"));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, golden("qsfpdd-400g-fr4.dump.txt"));
    std::size_t header = r.out.find("qsfpdd-400g-fr4.bin: CMIS module");
    std::size_t lower = r.out.find("---- + page00 lower  eeprom");
    std::size_t page02 = r.out.find("---- + page02  eeprom");
    std::size_t identification = r.out.find("\nIdentification\n");
    EXPECT_LT(header, lower);
    EXPECT_LT(lower, page02);
    EXPECT_LT(page02, identification);
    EXPECT_NE(identification, std::string::npos);
}

// --- input formats ----------------------------------------------------------

std::string hex_rows(const bytes &image, std::size_t per_line, const char *offset_format, bool upper = false) {
    std::string out;
    char buf[32];
    for (std::size_t i = 0; i < image.size(); ++i) {
        if (i % per_line == 0) {
            if (i) out += '\n';
            if (offset_format) {
                std::snprintf(buf, sizeof buf, offset_format, i);
                out += buf;
            }
        } else {
            out += ' ';
        }
        std::snprintf(buf, sizeof buf, upper ? "%02X" : "%02x", image[i]);
        out += buf;
    }
    return out + "\n";
}

// hexdump -C: identical lines collapse into "*", the last line is the length.
std::string hexdump_c(const bytes &image) {
    std::string out, previous;
    bool starred = false;
    char buf[32];
    for (std::size_t i = 0; i < image.size(); i += 16) {
        std::string values;
        for (std::size_t k = 0; k < 16; ++k) {
            std::snprintf(buf, sizeof buf, k == 8 ? "  %02x" : " %02x", image[i + k]);
            values += buf;
        }
        if (values == previous) {
            if (!starred) out += "*\n";
            starred = true;
            continue;
        }
        starred = false;
        previous = values;
        std::snprintf(buf, sizeof buf, "%08zx ", i);
        out += buf + values + "  |................|\n";
    }
    std::snprintf(buf, sizeof buf, "%08zx\n", image.size());
    return out + buf;
}

std::string i2cdump(const bytes &block256, const char *address, bool answered = true) {
    std::string out = "WARNING! This program can confuse your I2C bus, cause data loss and worse!\n"
                      "I will probe file /dev/i2c-0, address " + std::string(address) + ", mode byte\n"
                      "Continue? [Y/n] Y\n"
                      "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n";
    char buf[16];
    for (std::size_t r = 0; r < 256; r += 16) {
        std::snprintf(buf, sizeof buf, "%02zx:", r);
        out += buf;
        std::string ascii;
        for (std::size_t k = 0; k < 16; ++k) {
            uint8_t b = block256[r + k];
            if (answered) {
                std::snprintf(buf, sizeof buf, " %02x", b);
                out += buf;
            } else {
                out += " XX";
            }
            ascii += !answered ? 'X' : b == 0 || b == 0xFF ? '.' : (b >= 0x20 && b < 0x7F) ? char(b) : '?';
        }
        out += "    " + ascii + "\n";
    }
    return out;
}

std::string replace_all(std::string s, const std::string &from, const std::string &to) {
    for (std::size_t at = 0; (at = s.find(from, at)) != std::string::npos; at += to.size()) s.replace(at, from.size(), to);
    return s;
}

struct variant {
    const char *name;
    const char *sample;
    std::string (*make)(const bytes &image, const std::string &ethtool_text);
    const char *format;
};

const variant kVariants[] = {
    {"ethtool_tabs_as_spaces", "sfp-10g-sr",
     [](const bytes &, const std::string &t) { return replace_all(t, "\t", "    "); }, "hex"},
    {"ethtool_trailing_blanks_crlf", "qsfp28-100g-sr4",
     [](const bytes &, const std::string &t) { return replace_all(t, "\n", " \t \r\n"); }, "hex"},
    {"ethtool_after_prompt_and_warnings", "qsfpdd-400g-fr4",
     [](const bytes &, const std::string &t) {
         return "admin@switch:~$ sudo ethtool -m swp12 hex on\n"
                "netlink error: Operation not supported\n"
                "Warning: reading module EEPROM through the ioctl\n\n" + t;
     }, "hex"},
    {"plain_hex_without_offsets", "xfp-10g-lr",
     [](const bytes &b, const std::string &) { return hex_rows(b, 32, nullptr); }, "hex"},
    {"plain_hex_with_offsets_upper_case", "sfp-10g-sr",
     [](const bytes &b, const std::string &) { return hex_rows(b, 16, "%04zx: ", true); }, "hex"},
    {"hex_string", "sfp-10g-sr",
     [](const bytes &b, const std::string &) { return replace_all(hex_rows(b, 1 << 20, nullptr), " ", ""); }, "hex"},
    {"hexdump_c_with_repeats", "qsfp28-100g-sr4",
     [](const bytes &b, const std::string &) { return hexdump_c(b); }, "hex"},
    {"i2cdump_a0h_then_a2h", "sfp-10g-sr",
     [](const bytes &b, const std::string &) {
         return i2cdump(bytes(b.begin(), b.begin() + 256), "0x50") + i2cdump(bytes(b.begin() + 256, b.end()), "0x51");
     }, "hex"},
    {"i2cdump_a2h_not_answering", "sfp-1g-t",
     [](const bytes &b, const std::string &) { return i2cdump(b, "0x50") + i2cdump(b, "0x51", false); }, "hex"},
    {"optoe_sfp", "sfp-10g-sr",
     [](const bytes &b, const std::string &) {
         bytes file = b;
         file.resize(384 + 128 * 256, 0);  // A0h, A2h, A2h upper pages 00h-FFh
         return std::string(file.begin(), file.end());
     }, "optoe"},
    {"optoe_cmis", "qsfpdd-400g-fr4",
     [](const bytes &b, const std::string &) {
         bytes file = b;
         file.resize(128 * 257, 0);  // lower page and upper pages 00h-FFh
         return std::string(file.begin(), file.end());
     }, "optoe"},
};

class InputFormat : public testing::TestWithParam<variant> {};

TEST_P(InputFormat, DecodesLikeTheRawImage) {
    const variant &v = GetParam();
    bytes image = read_bytes(kSource + "/" + sample(v.sample));
    std::string text = read_text(kSource + "/" + sample(v.sample, ".hex"));
    std::string path = write_file(std::string(v.name) + ".dump", v.make(image, text));
    result expected = run("--json " + sample(v.sample));
    result got = run("--json " + quote(path));
    EXPECT_EQ(got.status, 0) << got.err;
    json report = parse(got.out);
    EXPECT_EQ(report.at("format").get<std::string>(), v.format);
    EXPECT_EQ(records(report), records(parse(expected.out)));
}

INSTANTIATE_TEST_SUITE_P(Variants, InputFormat, testing::ValuesIn(kVariants),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(InputFormatOption, ForcedFormatsAndStandardInput) {
    result in = run("--json - < " + sample("sfp-10g-sr"));
    EXPECT_EQ(in.status, 0) << in.err;
    json report = parse(in.out);
    EXPECT_EQ(report.at("file").get<std::string>(), "<stdin>");
    EXPECT_EQ(records(report), records(parse(run("--json " + sample("sfp-10g-sr")).out)));

    EXPECT_EQ(parse(run("--json --format optoe " + sample("sfp-10g-sr")).out).at("format").get<std::string>(), "optoe");
    EXPECT_EQ(parse(run("--json --format hex " + sample("sfp-10g-sr", ".hex")).out).at("format").get<std::string>(), "hex");

    result raw_text = run("--format raw " + sample("sfp-10g-sr", ".hex"));  // text taken as bytes
    EXPECT_EQ(raw_text.status, 2);
    EXPECT_NE(raw_text.err.find("truncated image: 1854 bytes"), std::string::npos) << raw_text.err;
    result hex_binary = run("--format hex " + sample("sfp-10g-sr"));
    EXPECT_EQ(hex_binary.status, 2);
    EXPECT_NE(hex_binary.err.find("not hex text: the file is binary"), std::string::npos) << hex_binary.err;
}

// --- published dumps of real modules ----------------------------------------

TEST(RealModules, PublishedTextDecodesLikeItsBinary) {
    const std::pair<const char *, const char *> entries[] = {
        {"sfp-10g-sr-intel-ftlx8574", "sfp"},
        {"sfp-1g-t-netgear-agm734", "sfp"},
        {"qsfp28-100g-sr4-mellanox-mma1b00", "qsfp"},
        {"qsfp-40g-lr4-kaiam-xqx2502", "qsfp"},
    };
    for (const auto &[entry, kind] : entries) {
        const std::string dir = std::string(FIBER_CLI_DATA) + "/" + entry;
        result text = run("--json " + quote(dir + "/dump.txt"));
        result binary = run("--json " + quote(dir + "/dump.bin"));
        EXPECT_NE(text.status, 2) << entry << ": " << text.err;
        EXPECT_EQ(text.status, binary.status) << entry;
        json report = parse(text.out);
        EXPECT_EQ(report.at("kind").get<std::string>(), kind) << entry;
        EXPECT_EQ(records(report), records(parse(binary.out))) << entry;
    }
    json intel = parse(run("--json " + quote(std::string(FIBER_CLI_DATA) + "/sfp-10g-sr-intel-ftlx8574/dump.txt")).out);
    EXPECT_EQ(intel.at("vendor").at("vendor_name").get<std::string>(), "Intel Corp      ");
    EXPECT_EQ(intel.at("vendor").at("vendor_pn").get<std::string>(), "FTLX8574D3BNL-IT");
}

// --- the module kind --------------------------------------------------------

TEST(KindOption, DecodesAnIdentifierTheTableDoesNotName) {
    bytes image = read_bytes(kSource + "/" + sample("sfp-10g-sr"));
    image[0] = 0x82;  // SFF-8024: an SFP variant the detection table leaves out
    std::string path = write_file("sfp-82h.bin", image);
    result detected = run(quote(path));
    EXPECT_EQ(detected.status, 2);
    EXPECT_NE(detected.err.find("unrecognised module identifier 82h"), std::string::npos) << detected.err;

    result forced = run("--json --kind sfp " + quote(path));
    EXPECT_EQ(forced.status, 0) << forced.err;
    json report = parse(forced.out);
    EXPECT_TRUE(report.at("kind_forced").get<bool>());
    EXPECT_EQ(report.at("kind").get<std::string>(), "sfp");
    EXPECT_EQ(report.at("normal").at("unsupported").get<int>(), 0);
}

TEST(KindOption, WrongFamilyIsNotDecodedStatusOne) {
    result r = run("--kind xfp " + sample("sfp-10g-sr"));
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("sfp-10g-sr.bin: XFP module (--kind)"), std::string::npos) << r.out;
    EXPECT_EQ(r.err, "fiberdecode: samples/sfp-10g-sr.bin: not decoded: the XFP decoder does not recognise this module\n");
    json report = parse(run("--json --kind xfp " + sample("sfp-10g-sr")).out);
    EXPECT_FALSE(report.at("decoded").get<bool>());
}

// --- errors and exit statuses -----------------------------------------------

struct error_case {
    const char *name;
    std::string (*arguments)();
    int status;
    const char *message;  // expected in standard error
};

std::string file_arg(const char *name, const std::string &content) { return quote(write_file(name, content)); }

const error_case kErrors[] = {
    {"missing_file", [] { return std::string("no/such/module.bin"); }, 2,
     "fiberdecode: no/such/module.bin: cannot open: No such file or directory\n"},
    {"directory", [] { return std::string("samples"); }, 2, "fiberdecode: samples: cannot read: Is a directory\n"},
    {"empty", [] { return file_arg("empty.bin", ""); }, 2, ": empty file\n"},
    {"truncated", [] { return file_arg("truncated.bin", read_text(kSource + "/samples/sfp-10g-sr.bin").substr(0, 300)); },
     2, ": truncated image: 300 bytes is not a whole number of 128-byte pages\n"},
    {"truncated_hex", [] {  // a paste that lost its last lines
         std::string t = read_text(kSource + "/samples/sfp-10g-sr.hex");
         return file_arg("truncated.hex", t.substr(0, t.find("0x0090:")));
     }, 2, ": truncated image: 144 bytes is not a whole number of 128-byte pages\n"},
    {"not_hex", [] { return file_arg("notes.txt", "Module in port 3 looked fine.\n"); }, 2,
     ": no hex bytes found: not a module dump\n"},
    {"bad_hex_token", [] { return file_arg("bad.hex", "Offset Values\n0x0000: 03 04 07 1O 00\n"); }, 2,
     ": line 2: \"1O\" is not a hex byte\n"},
    {"too_short", [] { return file_arg("short.bin", read_text(kSource + "/samples/qsfp28-100g-sr4.bin").substr(0, 128)); },
     2, ": image too short: QSFP modules need the lower page and upper page 00h (256 bytes); the image has 128\n"},
    {"unrecognised_identifier", [] { return file_arg("id2a.bin", std::string(1, '\x2a') + std::string(255, '\0')); }, 2,
     ": unrecognised module identifier 2Ah at byte 0 (--kind decodes it anyway)\n"},
    {"unread_byte", [] {
         std::string t = i2cdump(bytes(256, 0x20), "0x50");
         return file_arg("unread.txt", t.replace(t.find("30: 20"), 6, "30: XX"));
     }, 2, ": byte 0x0030 could not be read (XX in the dump)\n"},
    {"no_file", [] { return std::string(""); }, 2, "FILE is required"},
    {"unknown_option", [] { return std::string("--colour samples/sfp-10g-sr.bin"); }, 2, "--colour"},
    {"bad_format", [] { return std::string("--format ihex samples/sfp-10g-sr.bin"); }, 2, "--format"},
    {"bad_kind", [] { return std::string("--kind osfp samples/sfp-10g-sr.bin"); }, 2, "--kind"},
    {"json_with_dump", [] { return std::string("--json --dump samples/sfp-10g-sr.bin"); }, 2, "--json excludes --dump"},
    {"undecodable_module", [] { return std::string("--kind qsfp samples/sfp-10g-sr.bin"); }, 1,
     "not decoded: the QSFP decoder does not recognise this module\n"},
};

class Errors : public testing::TestWithParam<error_case> {};

TEST_P(Errors, ClearMessageAndExitStatus) {
    const error_case &c = GetParam();
    result r = run(c.arguments());
    EXPECT_EQ(r.status, c.status) << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    if (c.status == 2) {
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n') >= 1, true);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, Errors, testing::ValuesIn(kErrors),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(Errors, UnreadableFile) {
    if (geteuid() == 0) GTEST_SKIP() << "root reads files whatever their mode";
    std::string path = write_file("unreadable.bin", read_text(kSource + "/samples/sfp-10g-sr.bin"));
    chmod(path.c_str(), 0);
    result r = run(quote(path));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find(": cannot open: Permission denied\n"), std::string::npos) << r.err;
}

TEST(Errors, OtherFilesAreStillDecoded) {
    result r = run(sample("xfp-10g-lr") + " no/such.bin " + sample("sfp-1g-t"));
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "fiberdecode: no/such.bin: cannot open: No such file or directory\n");
    EXPECT_EQ(r.out, run(sample("xfp-10g-lr")).out + "\n" + run(sample("sfp-1g-t")).out);

    result undecodable = run("--kind sfp " + sample("sfp-10g-sr") + " " + sample("qsfp28-100g-sr4"));
    EXPECT_EQ(undecodable.status, 1);
    EXPECT_NE(undecodable.out.find("Module               10GBASE-SR-SFP+"), std::string::npos);

    result json_mixed = run("--json " + sample("sfp-1g-t") + " empty/none.bin");
    EXPECT_EQ(json_mixed.status, 2);
    EXPECT_EQ(parse(json_mixed.out).at("file").get<std::string>(), sample("sfp-1g-t"));
}

TEST(Usage, HelpAndVersion) {
    result help = run("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--format"), std::string::npos);
    EXPECT_NE(help.out.find("--kind"), std::string::npos);
    result version = run("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_FALSE(version.out.empty());
}

}  // namespace
