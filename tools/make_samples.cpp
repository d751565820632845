// SPDX-License-Identifier: Apache-2.0
// Writes the sample module images of samples/: realistic memory maps laid
// out byte by byte from SFF-8472, SFF-8636, CMIS and INF-8077i, with their
// check codes, vendor fields, monitors, thresholds and a few raised flags.
// Each image is written raw (as `ethtool -m DEV raw on` would write it) and
// as the text of `ethtool -m DEV hex on`.
//
// The vendor is fictional ("ACME PHOTONICS", OUI AC-DE-48, the IEEE's
// example company identifier).
//
// Usage: make_samples DIR
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

constexpr const char *kVendor = "ACME PHOTONICS";
constexpr uint8_t kOui[3] = {0xAC, 0xDE, 0x48};

// A page of an image addressed as the standards number its bytes: pass the
// image and the offset at which byte 0 of the numbering lies. For an upper
// page N of a flat image, byte 128 lies at 128 (N + 1), so byte 0 of the
// numbering lies at 128 N.
struct page {
    uint8_t *base;
    void set(unsigned n, uint8_t v) const { base[n] = v; }
    void word(unsigned n, unsigned v) const {  // big-endian 16-bit
        base[n] = static_cast<uint8_t>(v >> 8);
        base[n + 1] = static_cast<uint8_t>(v);
    }
    void text(unsigned n, unsigned size, const char *s) const {  // blank-filled ASCII
        std::size_t len = std::strlen(s);
        for (unsigned i = 0; i < size; ++i) base[n + i] = i < len ? static_cast<uint8_t>(s[i]) : ' ';
    }
    void raw(unsigned n, std::initializer_list<uint8_t> values) const {
        for (uint8_t v : values) base[n++] = v;
    }
    // Check code: low 8 bits of the sum of bytes first..last.
    void check_code(unsigned at, unsigned first, unsigned last) const {
        unsigned sum = 0;
        for (unsigned i = first; i <= last; ++i) sum += base[i];
        base[at] = static_cast<uint8_t>(sum);
    }
};

page lower_of(bytes &image) { return {image.data()}; }
page upper_of(bytes &image, unsigned n) { return {image.data() + 128 * n}; }

// Monitor encodings shared by the four memory maps.
unsigned temperature(double celsius) { return static_cast<uint16_t>(static_cast<int16_t>(std::lround(celsius * 256))); }
unsigned volts(double v) { return static_cast<unsigned>(std::lround(v * 10000)); }     // 100 uV
unsigned milliamps(double ma) { return static_cast<unsigned>(std::lround(ma * 500)); } // 2 uA
unsigned dbm(double p) { return static_cast<unsigned>(std::lround(std::pow(10.0, p / 10.0) * 10000)); }  // 0.1 uW

// Four thresholds in the order the maps keep them: high alarm, low alarm,
// high warning, low warning.
void thresholds(const page &p, unsigned n, unsigned (*encode)(double), double ha, double la, double hw, double lw) {
    p.word(n, encode(ha));
    p.word(n + 2, encode(la));
    p.word(n + 4, encode(hw));
    p.word(n + 6, encode(lw));
}

// SFF-8472: 10GBASE-SR SFP+ with internally calibrated diagnostics, the Rx
// power just under its low warning threshold.
bytes sfp_10g_sr() {
    bytes image(512, 0);
    page a0 = lower_of(image);
    page a2{image.data() + 256};
    a0.set(0, 0x03);                 // identifier: SFP/SFP+/SFP28
    a0.set(1, 0x04);                 // extended identifier: serial ID module definition
    a0.set(2, 0x07);                 // connector: LC
    a0.set(3, 0x10);                 // 10G Ethernet compliance: 10GBASE-SR
    a0.set(11, 0x06);                // encoding: 64B/66B
    a0.set(12, 103);                 // nominal signalling rate, 100 MBd: 10.3 GBd
    a0.set(16, 8);                   // OM2, 10 m units: 80 m
    a0.set(17, 3);                   // OM1, 10 m units: 30 m
    a0.set(18, 40);                  // OM4, 10 m units: 400 m
    a0.set(19, 30);                  // OM3, 10 m units: 300 m
    a0.text(20, 16, kVendor);
    a0.raw(37, {kOui[0], kOui[1], kOui[2]});
    a0.text(40, 16, "AP-SFP10G-SR");
    a0.text(56, 4, "A0");
    a0.word(60, 850);                // laser wavelength, nm
    a0.check_code(63, 0, 62);        // CC_BASE
    a0.raw(64, {0x00, 0x1A});        // options: RX_LOS, TX_FAULT, TX_DISABLE
    a0.text(68, 16, "AP2403120001");
    a0.text(84, 8, "240312");
    a0.set(92, 0x68);                // DDM implemented, internally calibrated, average Rx power
    a0.set(93, 0xF0);                // alarm/warning flags, soft TX_DISABLE, TX_FAULT and RX_LOS monitoring
    a0.set(94, 0x08);                // SFF-8472 revision 12.3
    a0.check_code(95, 64, 94);       // CC_EXT

    thresholds(a2, 0, temperature, 75, -5, 70, 0);
    thresholds(a2, 8, volts, 3.63, 2.97, 3.465, 3.135);
    thresholds(a2, 16, milliamps, 13, 2, 12, 3);
    thresholds(a2, 24, dbm, 1.0, -9.3, 0.0, -7.3);   // Tx power
    thresholds(a2, 32, dbm, 1.0, -13.9, 0.0, -9.9);  // Rx power
    a2.raw(68, {0x3F, 0x80, 0x00, 0x00});            // Rx_PWR(1) = 1.0
    for (unsigned n : {76u, 80u, 84u, 88u}) a2.word(n, 0x0100);  // slopes 1.0, offsets 0
    a2.check_code(95, 0, 94);                        // CC_DMI
    a2.word(96, temperature(36.2));
    a2.word(98, volts(3.2876));
    a2.word(100, milliamps(6.75));
    a2.word(102, dbm(-2.43));
    a2.word(104, dbm(-10.4));
    a2.set(117, 0x40);               // warning flags: Rx power low
    return image;
}

// SFF-8472 through SFF-8079: 1000BASE-T RJ45 module without diagnostics,
// as a 256-byte A0h image (no A2h).
bytes sfp_1g_t() {
    bytes image(256, 0);
    page a0 = lower_of(image);
    a0.set(0, 0x03);
    a0.set(1, 0x04);
    a0.set(2, 0x22);                 // connector: RJ45
    a0.set(6, 0x08);                 // Ethernet compliance: 1000BASE-T
    a0.set(11, 0x01);                // encoding: 8B/10B
    a0.set(12, 13);                  // 1.3 GBd
    a0.set(18, 100);                 // copper length: 100 m
    a0.text(20, 16, kVendor);
    a0.raw(37, {kOui[0], kOui[1], kOui[2]});
    a0.text(40, 16, "AP-SFP1G-T");
    a0.text(56, 4, "B1");
    a0.check_code(63, 0, 62);
    a0.raw(64, {0x00, 0x10});        // options: TX_DISABLE
    a0.text(68, 16, "AP2311050311");
    a0.text(84, 8, "231105");
    a0.check_code(95, 64, 94);
    return image;
}

// SFF-8636: 100GBASE-SR4 QSFP28 with page 03h thresholds; lane 4 is dark
// (Rx LOS, Rx power low alarm and warning, a zero power reading).
bytes qsfp28_100g_sr4() {
    bytes image(640, 0);
    page lower = lower_of(image);
    page p00 = upper_of(image, 0);
    page p03 = upper_of(image, 3);
    lower.set(0, 0x11);              // identifier: QSFP28
    lower.set(1, 0x07);              // revision compliance: SFF-8636 rev 2.5, 2.6 and 2.7
    lower.set(3, 0x08);              // Rx LOS, lane 4
    lower.set(10, 0x05);             // Rx power lane 4: low alarm, low warning
    lower.word(22, temperature(41.3));
    lower.word(26, volts(3.271));
    const double rx[4] = {-1.2, -0.8, -1.5, 0};
    const double bias[4] = {7.2, 7.0, 7.4, 7.1};
    const double tx[4] = {-0.5, -0.3, -0.7, -0.4};
    for (unsigned lane = 0; lane < 4; ++lane) {
        lower.word(34 + 2 * lane, lane == 3 ? 0 : dbm(rx[lane]));
        lower.word(42 + 2 * lane, milliamps(bias[lane]));
        lower.word(50 + 2 * lane, dbm(tx[lane]));
    }

    p00.set(128, 0x11);
    p00.set(129, 0x1C);              // power class 1, CLEI present, Tx and Rx CDR
    p00.set(130, 0x0C);              // connector: MPO 1x12
    p00.set(131, 0x80);              // extended compliance in byte 192
    p00.set(139, 0x05);              // encoding: 64B/66B
    p00.set(140, 0xFF);              // nominal rate above 25.4 GBd: see byte 222
    p00.set(143, 35);                // OM3, 2 m units: 70 m
    p00.set(146, 50);                // OM4, 2 m units: 100 m
    p00.text(148, 16, kVendor);
    p00.raw(165, {kOui[0], kOui[1], kOui[2]});
    p00.text(168, 16, "AP-QSFP28-SR4");
    p00.text(184, 2, "A1");
    p00.word(186, 850 * 20);         // wavelength, 0.05 nm units
    p00.word(188, 10 * 200);         // tolerance, 0.005 nm units
    p00.set(190, 70);                // maximum case temperature
    p00.check_code(191, 128, 190);   // CC_BASE
    p00.set(192, 0x02);              // extended compliance: 100GBASE-SR4
    p00.raw(193, {0x03, 0xFF, 0x1A});  // options
    p00.text(196, 16, "AP2311080042");
    p00.text(212, 8, "231108");
    p00.set(220, 0x0C);              // average Rx power, Tx power monitored
    p00.set(221, 0x10);              // initialization complete flag implemented
    p00.set(222, 103);               // nominal rate, 250 MBd units: 25.78 GBd
    p00.check_code(223, 192, 222);   // CC_EXT

    thresholds(p03, 128, temperature, 75, -5, 70, 0);
    thresholds(p03, 144, volts, 3.63, 2.97, 3.465, 3.135);
    thresholds(p03, 176, dbm, 3.4, -13.3, 2.4, -10.3);  // Rx power
    thresholds(p03, 184, milliamps, 12, 3, 11, 4);
    thresholds(p03, 192, dbm, 3.4, -10.4, 2.4, -8.4);   // Tx power
    return image;
}

// CMIS 5.0: 400GBASE-FR4 QSFP-DD (8 host lanes of 400GAUI-8, 4 media lanes),
// pages 00h, 01h, 02h and 11h (the flat layout up to page 11h). The module
// is ready and all data paths are activated; the temperature is over its
// high warning and lane 3 receives less than its low warning.
bytes qsfpdd_400g_fr4() {
    bytes image(128 * (0x11 + 2), 0);
    page lower = lower_of(image);
    page p00 = upper_of(image, 0x00);
    page p01 = upper_of(image, 0x01);
    page p02 = upper_of(image, 0x02);
    page p11 = upper_of(image, 0x11);
    lower.set(0, 0x18);              // identifier: QSFP-DD
    lower.set(1, 0x50);              // CMIS revision 5.0
    lower.set(3, 0x07);              // module state ModuleReady, interrupt deasserted
    lower.set(9, 0x04);              // temperature high warning
    lower.word(14, temperature(71.3));
    lower.word(16, volts(3.301));
    lower.raw(39, {2, 7});           // active firmware 2.7
    lower.set(85, 0x02);             // media type: single-mode fibre
    lower.set(86, 0x11);             // host interface: 400GAUI-8 C2M
    lower.set(87, 0x1D);             // media interface: 400GBASE-FR4
    lower.set(88, 0x84);             // 8 host lanes, 4 media lanes
    lower.set(89, 0x01);             // host lane assignment: lane 1
    lower.set(90, 0xFF);             // end of the application list

    p00.set(128, 0x18);
    p00.text(129, 16, kVendor);
    p00.raw(145, {kOui[0], kOui[1], kOui[2]});
    p00.text(148, 16, "AP-QDD400G-FR4");
    p00.text(164, 2, "01");
    p00.text(166, 16, "AP2401150007");
    p00.text(182, 8, "240115");
    p00.set(200, 0xA0);              // power class 6
    p00.set(201, 48);                // maximum power, 0.25 W units: 12 W
    p00.set(203, 0x07);              // connector: LC
    p00.check_code(222, 128, 221);

    p01.raw(128, {2, 6});            // inactive firmware 2.6
    p01.raw(130, {1, 0});            // hardware revision 1.0
    p01.set(132, 0x42);              // single-mode length: 2 x 1 km
    p01.word(138, 1301 * 20);        // nominal wavelength, 0.05 nm units
    p01.word(140, 1300);             // tolerance, 0.005 nm units: 6.5 nm
    p01.set(151, 0x10);              // Rx power measured as average power
    p01.set(159, 0x03);              // temperature and supply voltage monitors
    p01.set(160, 0x07);              // Tx bias, Tx power and Rx power monitors
    const unsigned lane_nm[4] = {1271, 1291, 1311, 1331};
    for (unsigned lane = 0; lane < 4; ++lane) p01.word(168 + 2 * lane, lane_nm[lane] * 20);
    p01.check_code(255, 130, 254);

    thresholds(p02, 128, temperature, 75, -5, 70, 0);
    thresholds(p02, 136, volts, 3.63, 2.97, 3.465, 3.135);
    thresholds(p02, 176, dbm, 6.5, -7.2, 5.5, -6.2);     // Tx power
    thresholds(p02, 184, milliamps, 80, 20, 75, 25);     // Tx bias
    thresholds(p02, 192, dbm, 5.5, -11.3, 4.5, -10.3);   // Rx power
    p02.check_code(255, 128, 254);

    p11.raw(128, {0x44, 0x44, 0x44, 0x44});  // data path state: DPActivated, lanes 1-8
    p11.set(152, 0x04);              // Rx power low warning, lane 3
    const double tx[4] = {1.8, 2.0, 1.7, 1.9};
    const double bias[4] = {45.2, 46.0, 44.8, 45.6};
    const double rx[4] = {-2.1, -1.9, -10.8, -2.3};
    for (unsigned lane = 0; lane < 4; ++lane) {
        p11.word(154 + 2 * lane, dbm(tx[lane]));
        p11.word(170 + 2 * lane, milliamps(bias[lane]));
        p11.word(186 + 2 * lane, dbm(rx[lane]));
    }
    return image;
}

// INF-8077i: 10GBASE-LR XFP, lower memory and serial ID table (page 01h);
// the Tx bias is over its high warning.
bytes xfp_10g_lr() {
    bytes image(256, 0);
    page lower = lower_of(image);
    page p01 = lower_of(image);      // serial ID table at bytes 128-255
    lower.set(0, 0x06);              // identifier: XFP
    thresholds(lower, 2, temperature, 75, -5, 70, 0);
    thresholds(lower, 18, milliamps, 80, 10, 70, 15);
    thresholds(lower, 26, dbm, 2.0, -10.0, 1.0, -9.0);   // Tx power
    thresholds(lower, 34, dbm, 1.0, -18.0, 0.0, -16.0);  // Rx power
    thresholds(lower, 42, volts, 3.6, 3.0, 3.5, 3.1);    // auxiliary 1: +3.3 V supply
    lower.set(82, 0x08);             // latched warning: Tx bias high
    lower.word(96, temperature(45.9));
    lower.word(100, milliamps(72.4));
    lower.word(102, dbm(-1.8));
    lower.word(104, dbm(-6.9));
    lower.word(106, volts(3.312));
    lower.set(127, 0x01);            // table select: serial ID

    p01.set(128, 0x06);
    p01.set(129, 0x10);              // extended identifier
    p01.set(130, 0x07);              // connector: LC
    p01.set(131, 0x40);              // 10G Ethernet: 10GBASE-LR
    p01.set(139, 0x90);              // encoding: 64B/66B, NRZ
    p01.set(140, 99);                // minimum bit rate, 100 Mb/s units
    p01.set(141, 111);               // maximum bit rate
    p01.set(142, 10);                // single-mode length: 10 km
    p01.set(147, 0x40);              // transmitter: 1310 nm DFB
    p01.text(148, 16, kVendor);
    p01.set(164, 0xF0);              // CDR rates supported
    p01.raw(165, {kOui[0], kOui[1], kOui[2]});
    p01.text(168, 16, "AP-XFP10G-LR");
    p01.text(184, 2, "A0");
    p01.word(186, 1310 * 20);        // wavelength, 0.05 nm units
    p01.word(188, 10 * 200);         // tolerance, 0.005 nm units
    p01.set(190, 70);                // maximum case temperature
    p01.check_code(191, 128, 190);   // CC_BASE
    p01.raw(192, {100, 25});         // maximum power 2 W (20 mW units), in power down 0.25 W (10 mW units)
    p01.text(196, 16, "AP2309270015");
    p01.text(212, 8, "230927");
    p01.set(220, 0x08);              // average Rx power
    p01.set(221, 0x60);              // enhanced options
    p01.set(222, 0x70);              // auxiliary 1: +3.3 V supply voltage
    p01.check_code(223, 192, 222);   // CC_EXT
    return image;
}

// The text of `ethtool -m DEV hex on`.
std::string ethtool_hex(const bytes &image) {
    std::string out = "Offset\t\tValues\n------\t\t------";
    char buf[32];
    for (std::size_t i = 0; i < image.size(); ++i) {
        if (i % 16 == 0) {
            std::snprintf(buf, sizeof buf, "\n0x%04zx:\t\t", i);
            out += buf;
        } else {
            out += ' ';
        }
        std::snprintf(buf, sizeof buf, "%02x", image[i]);
        out += buf;
    }
    return out + "\n";
}

bool write_file(const std::string &path, const void *data, std::size_t size) {
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) {
        std::perror(path.c_str());
        return false;
    }
    bool ok = std::fwrite(data, 1, size, f) == size;
    ok = std::fclose(f) == 0 && ok;
    if (!ok) std::perror(path.c_str());
    return ok;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_samples DIR\n");
        return 2;
    }
    const std::string dir = argv[1];
    const struct {
        const char *name;
        bytes (*make)();
    } samples[] = {
        {"sfp-10g-sr", sfp_10g_sr},
        {"sfp-1g-t", sfp_1g_t},
        {"qsfp28-100g-sr4", qsfp28_100g_sr4},
        {"qsfpdd-400g-fr4", qsfpdd_400g_fr4},
        {"xfp-10g-lr", xfp_10g_lr},
    };
    for (const auto &sample : samples) {
        bytes image = sample.make();
        std::string hex = ethtool_hex(image);
        if (!write_file(dir + "/" + sample.name + ".bin", image.data(), image.size()) ||
            !write_file(dir + "/" + sample.name + ".hex", hex.data(), hex.size()))
            return 1;
    }
    return 0;
}
