// SPDX-License-Identifier: Apache-2.0
// QSFP family (SFF-8436 / SFF-8636): identification rule tree, vendor
// fields, diagnostics and alarm flags, and real module dumps.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numeric>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "fiber_internal.h"

namespace {

// A QSFP module image: lower page, upper page 00h and page 03h, addressed
// with SFF-8636 byte numbers (page 00h/03h 128..255).
struct module {
    uint8_t lower[128]{}, page00[128]{}, page03[128]{};
    uint8_t &up(unsigned n) { return page00[n - 128]; }
    // Fields as "I11 K07 S80 D10" (',' also separates). In hex: I identifier 128, K connector 130, S compliance
    // 131, X extended code 192, CMIS positions V 132, Q 134, T 203, M lower 85, A lower 87. In decimal: E encoding
    // 139, R rate 140, D SMF km 142, G OM3 143, W copper / OM4 146. N: vendor name text at 148.
    module &set(std::string fields) {
        static const std::string letters = "IKSXVQTMAERDGW";  // the first nine in hex
        static const std::array<unsigned, 14> at = {128, 130, 131, 192, 132, 134, 203, 85, 87, 139, 140, 142, 143, 146};
        std::replace(fields.begin(), fields.end(), ',', ' ');
        std::istringstream in(fields);
        for (std::string f; in >> f;) {
            if (f[0] == 'N') std::memcpy(&up(148), f.data() + 1, f.size() - 1);
            if (f[0] == 'N') continue;
            const std::size_t k = letters.find(f[0]);
            const auto v = static_cast<uint8_t>(std::stoul(f.substr(1), nullptr, k < 9 ? 16 : 10));
            (at.at(k) < 128 ? lower[at[k]] : up(at[k])) = v;  // an unknown letter throws
        }
        return *this;
    }
    // Check codes: byte 191 over bytes 128-190, byte 223 over 192-222.
    module &seal() {
        up(191) = static_cast<uint8_t>(std::accumulate(&up(128), &up(191), 0u));
        up(223) = static_cast<uint8_t>(std::accumulate(&up(192), &up(223), 0u));
        return *this;
    }
};

void put16(uint8_t *p, uint16_t v) { p[0] = static_cast<uint8_t>(v >> 8), p[1] = static_cast<uint8_t>(v); }
float dbm(double units) { return units ? static_cast<float>(10.0 * std::log10(units / 10000.0)) : -40.0f; }
std::string str(const char *s) { return s ? s : "(null)"; }

// All four decoders on one module.
struct decoded { fiber_normal_info_t n; fiber_vendor_info_t v; fiber_diag_info_t d; fiber_alarm_info_t a; };
decoded decode(const module &m, bool page03 = false) {
    decoded r{};
    fiber_decode_qsfp_normal(m.page00, m.lower, &r.n), fiber_decode_qsfp_vendor(m.page00, &r.v);
    fiber_decode_qsfp_diag(m.page00, m.lower, page03 ? m.page03 : nullptr, &r.d);
    fiber_decode_qsfp_alarm(m.page00, m.lower, &r.a);
    return r;
}
std::vector<unsigned> ids(const fiber_alarm_info_t &a) {
    std::vector<unsigned> v;
    for (unsigned id = 0; id < 256; ++id)
        if ((a.alarm_bits[id / 32] >> (id % 32)) & 1u) v.push_back(id);
    return v;
}
// Vendor record as "name|pn|rev|date|encoding|OUI".
std::string vendor_line(const fiber_vendor_info_t &v) {
    char oui[7];
    std::snprintf(oui, sizeof oui, "%02X%02X%02X", v.vendor_oui[0], v.vendor_oui[1], v.vendor_oui[2]);
    return std::string(v.vendor_name) + "|" + v.vendor_pn + "|" + v.vendor_rev + "|" + v.date_code + "|" +
           str(v.encoding) + "|" + oui;
}
// Normal record as "[prefix]type name rate/connector class|connector|serial|wavelength/tolerance nm|SMF km|
// OM3,OM2,OM1,OM4,copper m|DDM".
std::string normal_line(const fiber_normal_info_t &i) {
    std::ostringstream o;
    o << (i.name_prefix ? i.name_prefix : "") << i.trans_type << ' ' << str(i.type_name) << ' ' << i.rate_mbps << '/'
      << i.connector_class << '|' << str(i.connector_name) << '|' << i.serial_number << '|'
      << i.wavelength_nm << '/' << i.wavelength_tolerance_nm << '|' << i.length_smf_km << '|' << i.length_om3_m << ','
      << i.length_om2_m << ',' << i.length_om1_m << ',' << i.length_om4_m << ',' << i.length_copper_m << '|'
      << +i.ddm_supported;
    return o.str();
}
constexpr const char *kRejected = "1 Unknown QSFP+ module 0/0|(null)||0/0|0|0,0,0,0,0|0";

// ----------------------------------------------------------------------------
// Identification: every leaf of the rule tree and the range boundaries.
// Each row: base fields, then cases "changed fields:expected type" ('-':
// rejected). Types 67-72, 78, 83, 86 are copper, 24, 36, 79, 84 active cables.
// ----------------------------------------------------------------------------
struct leaves { const char *base, *cases; };
const leaves kLeaves[] = {
    // Identifier 0Ch: cable rules only.
    {"I0C K23", "S00:24 S80:- S08,W1:67 S08,W7,X0B:67 S08,W8:68 S08:69 S08,W3,X02:- S88,W3:-"},
    {"I0C K21", "S80,W3:- S00,W3:67 S88,W9,X0B:68 S08,X19:68 S08,W3,X02:-"},
    {"I0C K0B", "S00:24 S08:- S80:- K07,S02,R103,D10:-"},
    // Identifier 0Dh, R 90..120, MPO: 40G rule then 100G rule.
    {"I0D K0C R103 S04", "R90,G1:27 R120,G99:27 R89,G50:- R121,G50:- G100:51 G254:51 G0:- G255:-"},
    {"I0D K0C R103", "S80,X12:54 S80,X13:- S82,X13:- S02:54 S08:- S80,X02:38 S84,G50,X07:42"},
    // Identifier 0Dh, R 90..120, LC: the 40G rules in order, then the 100G rule.
    {"I0D K07 R103", "S04,D8:25 S02,D14:25 S02,D1:53 S02,D7:53 S02,D15:- S02,D10,X1F:25"},
    {"I0D K07 R103 S02", "G75:55 G99:55 R105,G75:- G100:- D2,G50:53 G0:-"},
    {"I0D K07 R103 S80", "S82,D10,X1F:52 D2,G75:99 D2,G74:- D14:- D15:34 D50:34 D51:61 D90:61 D91:-"},
    {"I0D K07 R103", "S80,D40,X03:39 S81,D2,G75:99 S81,D15:- S00,D2,G75:99 S00,D2:-"},
    // Identifier 0Dh, R = 206 with LC, and the other rates.
    {"I0D K07 R206", "G50:55 G100:- D1,G50:- S80,D10,X03:37 R205,S80,D10,X03:37 K0C,S80,X02:38"},
    {"I0D", "K23,S08,W3:67 K23,S08,R103:69 K23,S00,R255:24"},
    // Identifier 11h, LC, S bit 7: the 100G rule.
    {"I11 K07 S80 X03", "D7:- D8:37 D14:37 D15:58 D34:58 D35:39 D50:39 D51:62 D90:62 D91:- S00,D10:-"},
    {"I11 K07 S80", "X04,D10:- X04,D40:39 X06,D2,NTALMOR:49 X06,D2,NTALMOX:63 X09,D7:63 X06,D8:-"},
    {"I11 K07 S80", "X1A,D80:60 X1A,D79:- X1A,D81:- X24,D34:- X24,D35:59 X24,D50:59 X24,D51:-"},
    {"I11 K07 S80", "X20:56 X21:57 X25,D1:93 X25,D2:- X26:94"},
    {"I11 K0C", "S80,X02:38 S80,X07:42 S00,X02:-"},
    // Identifier 11h: copper and active cables.
    {"I11 K23 S80 X0B", "W1:70 W5:70 W6:71 K21:72 K21,W2,X00:70"},
    {"I11 K23 S80", "X00:72 X00,W6:- K21,X19:71 K21,X01:- X01:36 X02:36 X08:36 X18:36 X19:36"},
    {"I11 K21 S80 E8 X40", "W1:78 K23,W3:78 W4:79 K23,W6:79 W7:- K23:86 W0:- E3,W2:-"},
    {"I11 K23", "S00:36 S08:- K21,S00,W2,X0B:- K0B,S80,X01:36 K0B,S80,X03:- K0B,S00:36 K0B,S08:- K01,S80,X02:-"},
    // QSFP-DD presented as QSFP: CMIS bytes 132 (V), 134 (Q), 203 (T), lower bytes 85 (M), 87 (A).
    {"I18 K07 Q32 M01", "A10,T28:80 A11,T28:- A10,T0C:-"},
    {"I18 K07 M02", "V05,A1C,T0C:81 V05,A1C,T07:- V42,A1D,T07:82 V42,A1C,T07:- V05,Q32,A1C,T0C:81"},
    {"I18 K07", "M03,T21:83 M04,T23:84 M05,T23:- M03,T07:-"},
    // Identifiers without rules: 1Eh passes the identifier test but is always rejected.
    {"K0C S04 R103 G50", "I1E:- I06:- I00:-"},
};

TEST(QsfpNormal, RuleTreeLeaves) {
    const std::vector<uint32_t> copper = {67, 68, 69, 70, 71, 72, 78, 83, 86}, active = {24, 36, 79, 84};
    for (const leaves &row : kLeaves) {
        std::istringstream cases(row.cases);
        for (std::string c; cases >> c;) {
            const std::size_t colon = c.find(':');
            const uint32_t t = c[colon + 1] == '-' ? 1 : std::stoul(c.substr(colon + 1));
            const fiber_normal_info_t i = decode(module().set(row.base).set(c.substr(0, colon))).n;
            const auto in = [t](const std::vector<uint32_t> &set) { return std::count(set.begin(), set.end(), t); };
            EXPECT_EQ(std::tuple(i.trans_type, +i.unsupported, +i.is_qsfp, +i.is_copper, +i.is_active_cable,
                                 t == 1 ? normal_line(i) : ""),
                      std::tuple(t, t == 1, t != 1, in(copper), in(active), t == 1 ? kRejected : ""))
                << row.base << " " << c;
        }
    }
}

TEST(QsfpNormal, WavelengthLengthsSerial) {
    module m;  // 100GBASE-LR4 over LC; OM2 30 m, OM1 20 m; 26020 x 0.05 nm, 3000 x 0.005 nm
    m.set("I11 K07 S80 X03 D10 G25 W50").up(144) = 30, m.up(145) = 20;
    put16(&m.up(186), 26020), put16(&m.up(188), 3000);
    std::memcpy(&m.up(196), "SN0123456789ABCDX", 17);  // byte 212 starts the date code
    EXPECT_EQ(normal_line(decode(m).n),
              "37 100GBASE-LR4-QSFP28 100000/2|LC|SN0123456789ABCD|1301/15|10|50,30,20,100,0|0");

    // Byte 146 is a copper length in m for connectors 21h, 23h and 0Bh; the
    // tolerance is written even without a wavelength. Type 72 has no row in the type map.
    const std::pair<const char *, const char *> kCables[] = {
        {"I11 K21 S80 X0B W3", "70 100GBASE-Passive Copper-QSFP28 100000/3|Copper pigtail||0/0.005|0|0,0,0,0,3|0"},
        {"I11 K23 S80 X01 W3", "36 100G-Active Cable-QSFP28 100000/2|No separable connector||0/0.005|0|0,0,0,0,3|0"},
        {"I11 K0B S80 X01 W3", "36 100G-Active Cable-QSFP28 100000/2|Optical Pigtail||0/0.005|0|0,0,0,0,3|0"},
        {"I11 K23 S80 X0B W0", "72 Unknown module 0/0|No separable connector||0/0.005|0|0,0,0,0,0|0"},
    };
    for (const auto &[fields, line] : kCables) {
        module c;
        put16(&c.set(fields).up(188), 1);
        EXPECT_EQ(normal_line(decode(c).n), line) << fields;
    }
}

TEST(QsfpNormal, DdmFromEachMonitorWord) {
    for (unsigned n = 0; n < 128; ++n) {
        module m;
        m.set("I11 K0C S80 X02").lower[n] = 0x01;
        const bool monitor = n == 22 || n == 23 || n == 26 || n == 27 || (n >= 34 && n <= 57);
        EXPECT_EQ(decode(m).n.ddm_supported, monitor) << "lower byte " << n;
    }
}

// ----------------------------------------------------------------------------
// Every decoder: identifiers 0Ch, 0Dh, 11h, 18h and 1Eh only; null pointers.
// ----------------------------------------------------------------------------
TEST(Qsfp, IdentifierGateOfEveryDecoder) {
    for (unsigned id = 0; id < 256; ++id) {
        module m;
        m.set("S80 NACME").up(128) = static_cast<uint8_t>(id), m.lower[22] = 25;
        const bool ok = id == 0x0C || id == 0x0D || id == 0x11 || id == 0x18 || id == 0x1E;
        const decoded r = decode(m.seal());
        EXPECT_EQ(std::tuple(+fiber::is_qsfp_id_invalid(static_cast<uint8_t>(id)), +r.v.unsupported,
                             std::string(r.v.vendor_name), r.v.encoding != nullptr, +r.d.unsupported, r.d.module_type,
                             r.d.temperature, +r.a.unsupported, +r.a.qsfp_done),
                  std::tuple(id != 0x18 && id != 0x1E, !ok, std::string(ok ? "ACME" : ""), ok, !ok, ok ? 1u : 0u,
                             ok ? 25 : 0, !ok, ok)) << id;
    }
}

TEST(Qsfp, NullPointersLeaveTheRecordUntouched) {
    module m;
    m.set("I11 K0C S80 X02 NACME").seal().lower[3] = 0x01;
    decoded r;
    std::memset(&r, 0xA5, sizeof r);
    const decoded before = r;
    fiber_decode_qsfp_normal(nullptr, m.lower, &r.n);
    fiber_decode_qsfp_normal(m.page00, nullptr, &r.n);
    fiber_decode_qsfp_vendor(nullptr, &r.v);
    fiber_decode_qsfp_diag(nullptr, m.lower, m.page03, &r.d);
    fiber_decode_qsfp_diag(m.page00, nullptr, m.page03, &r.d);
    fiber_decode_qsfp_alarm(nullptr, m.lower, &r.a);
    fiber_decode_qsfp_alarm(m.page00, nullptr, &r.a);
    EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0);
    fiber_decode_qsfp_normal(m.page00, m.lower, nullptr);  // a null record: nothing to write, no fault
    fiber_decode_qsfp_vendor(m.page00, nullptr);
    fiber_decode_qsfp_diag(m.page00, m.lower, m.page03, nullptr);
    fiber_decode_qsfp_alarm(m.page00, m.lower, nullptr);
}

TEST(QsfpVendor, FieldOffsetsAndLengths) {
    module m;  // each field is followed by a byte that must not be copied
    m.set("I0D E8");
    std::memcpy(&m.up(148), "ACME OPTICS     x\x00\x11\x22QSFP-40G-LR4    B1ZZ", 40);  // bytes 148-187
    std::memcpy(&m.up(212), "20210315y", 9);
    EXPECT_EQ(vendor_line(decode(m).v), "ACME OPTICS     |QSFP-40G-LR4    |B1|20210315|PAM4|001122");

    // Byte 139 by the SFF-8636 code list, which differs from SFF-8472's from code 4 on.
    const std::pair<const char *, const char *> kEncodings[] = {
        {"E0", "Unspecified"}, {"E3", "NRZ"},       {"E4", "SONET Scrambled"}, {"E5", "64B/66B"},
        {"E6", "Manchester"},  {"E7", "256B/257B"}, {"E9", "Reserved"},        {"E255", "Reserved"},
    };
    for (const auto &[code, name] : kEncodings) EXPECT_EQ(str(decode(module().set("I11").set(code)).v.encoding), name);
}

// ----------------------------------------------------------------------------
// Diagnostics and alarms.
// ----------------------------------------------------------------------------
// Lower page bytes 2..14: the alarm id each bit raises, bit 0 first (-1:
// none), and the diagnostics word that shows it: 'm' monitor flags (bit =
// id), 'r' Rx power flags (bit = id - 64), 't' Tx power flags (bit = id - 128).
struct flag_byte { char word; int ids[8]; };
constexpr flag_byte kFlagBytes[] = {
    /* 2 */ {'-', {249, -1, -1, -1, -1, -1, -1, -1}},
    /* 3 */ {'-', {200, 201, 202, 203, 216, 217, 218, 219}},
    /* 4 */ {'-', {232, 233, 234, 235, -1, -1, -1, -1}},
    /* 5 */ {'-', {-1, -1, -1, -1, -1, -1, -1, -1}},
    /* 6 */ {'m', {-1, -1, -1, -1, 2, 3, 0, 1}},
    /* 7 */ {'m', {-1, -1, -1, -1, 6, 7, 4, 5}},
    /* 8 */ {'-', {-1, -1, -1, -1, -1, -1, -1, -1}},
    /* 9 */ {'r', {78, 79, 76, 77, 74, 75, 72, 73}},
    /* 10 */ {'r', {86, 87, 84, 85, 82, 83, 80, 81}},
    /* 11 */ {'m', {14, 15, 12, 13, 10, 11, 8, 9}},
    /* 12 */ {'m', {22, 23, 20, 21, 18, 19, 16, 17}},
    /* 13 */ {'t', {142, 143, 140, 141, 138, 139, 136, 137}},
    /* 14 */ {'t', {150, 151, 148, 149, 146, 147, 144, 145}},
};

TEST(QsfpFlags, EveryBitRaisesItsAlarmAndDiagnosticsFlag) {
    const std::string words = "mrt";
    for (unsigned byte = 2; byte <= 14; ++byte)
        for (unsigned b = 0; b < 8; ++b) {
            module m;
            m.set("I0D S04").seal().lower[byte] = static_cast<uint8_t>(1u << b);
            const int id = kFlagBytes[byte - 2].ids[b];
            uint64_t want[3] = {};  // monitor, Rx power, Tx power
            if (const std::size_t w = words.find(kFlagBytes[byte - 2].word); w != words.npos && id >= 0)
                want[w] = uint64_t{1} << (id - 64 * w);
            const decoded r = decode(m);
            EXPECT_EQ(std::tuple(ids(r.a), r.a.alarm_id_count, r.d.monitor_flags, r.d.rx_power_flags,
                                 r.d.tx_power_flags),
                      std::tuple(std::vector<unsigned>(id >= 0, unsigned(id)), 255u, want[0], want[1], want[2]))
                << "byte " << byte << " bit " << b;
        }
}

TEST(QsfpDiag, MonitorsLanesAndAllFlags) {
    module m;
    m.set("I11 S80").up(220) = 0x08;                           // average power
    put16(m.lower + 22, 0xFE80), put16(m.lower + 26, 33000);  // -384/256 degC, 33000 x 100 uV
    const uint16_t rx[4] = {10000, 0, 1, 20000}, bias[4] = {1, 2, 0x8000, 0xFFFF}, tx[4] = {5000, 40000, 65535, 2};
    for (unsigned l = 0; l < 4; ++l)
        put16(m.lower + 34 + 2 * l, rx[l]), put16(m.lower + 42 + 2 * l, bias[l]), put16(m.lower + 50 + 2 * l, tx[l]);
    const fiber_diag_info_t d = decode(m).d;
    EXPECT_EQ(std::tuple(d.temperature, d.voltage, +d.rx_power_type, +d.ddm_supported, +d.qsfp_done, +d.cmis_done,
                         d.module_type, +d.thresholds_valid, d.temp_high_alarm),
              std::tuple(-2, 33000, 1, 1, 1, 0, static_cast<uint32_t>(FIBER_DIAG_QSFP), 0, 0));
    for (unsigned l = 0; l < 8; ++l) {
        EXPECT_EQ(d.tx_bias[l], l < 4 ? bias[l] : 0) << l;
        EXPECT_NEAR(d.rx_power[l], l < 4 ? dbm(rx[l]) : 0.0f, 0.001) << l;
        EXPECT_NEAR(d.tx_power[l], l < 4 ? dbm(tx[l]) : 0.0f, 0.001) << l;
    }
}

TEST(QsfpDiag, ThresholdsOnlyWithPage03) {
    module m;  // no monitors: thresholds are still read
    m.set("I11 S80");
    // Page 03h blocks of four words (high alarm, low alarm, high warning, low warning): temperature at 128 (signed,
    // 1/256 degC), voltage 144, Rx power 176, Tx bias 184, Tx power 192. Word k of each block holds its block
    // number (from 1) x 256 + k, the temperature block -(k + 1) degC.
    const unsigned at[5] = {128, 144, 176, 184, 192};
    for (unsigned b = 0; b < 5; ++b) for (unsigned k = 0; k < 4; ++k)
        put16(&m.page03[at[b] - 128 + 2 * k], static_cast<uint16_t>(b ? (b + 1) * 256 + k : -(int(k) + 1) * 256));
    const fiber_diag_info_t d = decode(m, true).d, none = decode(m).d;
    EXPECT_EQ(std::tuple(+d.ddm_supported, +d.thresholds_valid, d.temp_low_alarm, d.voltage_high_warning,
                         d.tx_bias_low_warning, +none.thresholds_valid, none.temp_high_alarm),
              std::tuple(0, 1, -2, 0x202, 0x403, 0, 0));
    EXPECT_NEAR(d.rx_power_high_alarm, dbm(0x300), 0.001);
    EXPECT_NEAR(d.tx_power_low_alarm, dbm(0x501), 0.001);
}

// Byte 131: bits 6..4 alone are rejected; monitors count only with bits 7, 2, 1.
TEST(QsfpAlarm, ComplianceByteRules) {
    struct rule { const char *s; bool monitors; int unsupported, ddm; };
    const rule kRules[] = {
        {"S10", true, 1, 0}, {"S70", true, 1, 0}, {"S08", true, 0, 0}, {"S01", true, 0, 0}, {"S04", false, 0, 0},
        {"S04", true, 0, 1}, {"S02", true, 0, 1}, {"S80", true, 0, 1}, {"S80", false, 0, 0},
    };
    for (const rule &c : kRules) {
        module m;
        m.set("I11").set(c.s).seal().lower[3] = 0x01, m.lower[23] = c.monitors;  // Rx LOS lane 1, temperature
        const decoded r = decode(m);
        EXPECT_EQ(std::tuple(+r.d.unsupported, +r.a.unsupported, +r.a.ddm_supported, r.a.alarm_id_count, ids(r.a)),
                  std::tuple(c.unsupported, c.unsupported, c.ddm, c.unsupported ? 0u : 255u,
                             std::vector<unsigned>(!c.unsupported, 200u))) << c.s << " monitors " << c.monitors;
    }
}

TEST(QsfpAlarm, CheckCodesCoverBytes128To223) {
    for (unsigned n : {128u, 190u, 191u, 192u, 222u, 223u, 224u, 255u}) {
        module m;
        m.set("I0D S04").seal().up(n) ^= 0x01;  // byte 128 becomes 0Ch, still accepted
        EXPECT_EQ(ids(decode(m).a), std::vector<unsigned>(n <= 223, FIBER_ALARM_CHECKSUM)) << n;
    }
}

// ----------------------------------------------------------------------------
// Real modules (tests/data/<entry>/dump.bin: lower page at 0, upper page N
// at 128 x (N + 1)).
// ----------------------------------------------------------------------------
module load(const char *entry) {
    module m;
    std::ifstream in(std::string(FIBER_TEST_DATA) + "/" + entry + "/dump.bin", std::ios::binary);
    EXPECT_TRUE(in.read(reinterpret_cast<char *>(m.lower), 128).read(reinterpret_cast<char *>(m.page00), 128)) << entry;
    in.seekg(512).read(reinterpret_cast<char *>(m.page03), 128);  // page 03h when present
    return m;
}

struct real_module {
    const char *entry, *normal, *vendor;  // normal_line(), vendor_line()
    int alarm_ddm;                        // byte 131 bits 7, 2, 1 with a monitor word
    int32_t temperature, voltage, rx_power_type;
    uint64_t monitor_flags, rx_flags, tx_flags;
    int32_t bias_high_alarm;              // as published (2 uA units, expected.txt); -1: none published
    std::vector<unsigned> alarms;
};

const real_module kReal[] = {
    // I 11h, K 0Ch, S 80h, X 02h: 100GBASE-SR4; Rx LOS on all lanes, Rx power low.
    {"qsfp28-100g-sr4-mellanox-mma1b00", "38 100GBASE-SR4-QSFP28 100000/2|MPO|MT1834FT03846   |850/15|0|70,0,0,100,0|1",
     "Mellanox        |MMA1B00-SS1     |A2|180703|64B/66B|0002C9", 1, 39, 0x82C5, 1, 0, 0x555500, 0, 4250,
     {72, 74, 76, 78, 80, 82, 84, 86, 200, 201, 202, 203, 216, 217, 218, 219}},
    // I 0Dh, R 255, K 23h, S 88h: cable rules, CR4 bit with the extended bit -> rejected.
    {"qsfp28-100g-dac-fs-q28pc", kRejected, "FS              |Q28-PCxx        |A2|190805  |Unspecified|0002C9", 1, 28,
     0x7DCB, 0, 0, 0, 0, -1, {}},
    // I 0Dh, R 103, K 07h, S 02h, D 2: LC rule 3 -> iLR4.
    {"qsfp-40g-lr4-kaiam-xqx2502", "53 40GBASE-iLR4-QSFP+ 40000/2|LC|KD70201159      |1310/6.5|2|0,0,0,0,0|1",
     "KAIAM CORP      |XQX2502         |1A|17020100|Unspecified|14EDE4", 1, 49, 0x823B, 1, 0, 0x111100, 0x111100, -1,
     {72, 76, 80, 84, 136, 140, 144, 148, 200, 201, 202, 203}},
    // I 11h, K 07h, S 80h, X 25h with D 2 (not 1): no 100G rule matches -> rejected.
    {"qsfp28-100g-fit-afct89sfdz", kRejected, "FIT             |AFCT-89SFDZ-AZ1 |01|191021  |PAM4|EC01E2", 1, 36,
     0x8105, 1, 0, 0x500, 0, -1, {72, 74, 200}},
    // I 0Dh, R 103, K 0Ch, S 04h, G 50: 40G MPO rule -> SR4 (the bytes say SR4, not CWDM4).
    {"synthetic-fboss-sff8636-cwdm4", "27 40GBASE-SR4-QSFP+ 40000/2|MPO|MRE01B0         |850/10|0|100,0,0,0,0|1",
     "FACETEST        |FTL410QE2C      |A |140502  |64B/66B|000000", 1, 31, 0x80DD, 1, 0x3C53C0, 0xCF5300, 0xC05300, -1,
     {6, 7, 8, 9, 12, 14, 18, 19, 20, 21, 72, 73, 76, 78, 80, 81, 82, 83, 86, 87, 136, 137, 140, 142, 150, 151, 200,
      201, 203, 217, 219, 234, 235}},
    // I 0Dh, R 0, K 23h, S 08h, X 00h, W 1: cable rules -> 40G passive copper, 1 m. Bytes 186-187 hold a
    // copper attenuation, read as a wavelength. Only the CR4 bit: no diagnostics for the alarm decoder.
    {"qsfp-40g-dac-molex-1110401054",
     "67 40G-Passive Copper-QSFP+ 40000/3|No separable connector|611030929       |38.6/0|0|0,0,0,0,1|1",
     "Molex Inc.      |1110401054      |  |160419  |Unspecified|00093A", 0, 2, 0, 0, 0, 0, 0, -1, {}},
    // I 11h, K 23h, S 88h, X 0Bh, W 1: 100G passive copper; no monitor words.
    {"qsfp28-100g-dac-te-2821987-2",
     "70 100GBASE-Passive Copper-QSFP28 100000/3|No separable connector|18259022        |51.45/9.015|0|0,0,22,0,1|0",
     "TE Connectivity |2821987-2       |1 |18062800|Unspecified|0022A7", 0, 0, 0, 0, 0, 0, 0, -1, {}},
    // I 11h, K 07h, S 80h, X 03h (100GBASE-LR4) with D 2: neither LR4 (8-14 km) nor a reach -> rejected.
    {"qsfp28-100g-ir4-fs", kRejected, "FS              |QSFP28-IR4-100G |A1|190110  |64B/66B|0002C9", 1, 29,
     0x81B9, 1, 0, 0, 0, 37500, {}},
    // A CMIS module (I 18h) read as QSFP: lower byte 85 = 03h with byte 203 = 23h -> 400G passive copper; the
    // fields at SFF-8636 positions are CMIS bytes, and the SFF-8636 check codes fail.
    {"qsfpdd-400g-dac-fit-cu4ep54",
     "83 400GBASE-Passive Copper-QSFP-DD 400000/3|unknow connect type||642.75/41.12|32|64,32,236,2,0|0",
     "CU4EP54-01000-EF|10Z8350100030 18|08|\n|Reserved|304E30", 0, 0, 0, 0, 0, 0, 0, -1, {FIBER_ALARM_CHECKSUM}},
};

TEST(QsfpRealModules, IdentificationVendorDiagnosticsAlarms) {
    for (const real_module &c : kReal) {
        const module m = load(c.entry);
        const bool has_page03 = std::any_of(std::begin(m.page03), std::end(m.page03), [](uint8_t b) { return b; });
        const decoded r = decode(m, has_page03);
        EXPECT_EQ(std::tuple(normal_line(r.n), vendor_line(r.v), +r.d.unsupported, r.d.temperature, r.d.voltage,
                             +r.d.rx_power_type, r.d.monitor_flags, r.d.rx_power_flags, r.d.tx_power_flags,
                             +r.d.thresholds_valid, +r.a.ddm_supported, ids(r.a)),
                  std::tuple(std::string(c.normal), std::string(c.vendor), 0, c.temperature, c.voltage, c.rx_power_type,
                             c.monitor_flags, c.rx_flags, c.tx_flags, has_page03, c.alarm_ddm, c.alarms)) << c.entry;
        if (c.bias_high_alarm >= 0) {
            EXPECT_EQ(r.d.tx_bias_high_alarm, c.bias_high_alarm) << c.entry;
        }
    }
}

}  // namespace
