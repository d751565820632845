// SPDX-License-Identifier: Apache-2.0
// Module descriptions from the standards' own tables, and the pages the
// decoders are given for an identifier their family turns away.
#include "describe.h"
#include "report.h"

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

namespace fdump {

namespace {

struct code_name {
    uint8_t code;
    const char *name;
};

// A contiguous range of codes with one meaning (reserved, vendor specific).
struct code_range {
    uint8_t from, to;
    const char *name;
};

struct identifier_row {
    uint8_t code;
    const char *name;
    const char *form;  // the form factor as the summary names it
};

// SFF-8024 Table 4-1: identifier values (SFF-8472 A0h byte 0, INF-8077i
// byte 128, SFF-8636 byte 128, CMIS lower page byte 0 and page 00h byte 128).
constexpr identifier_row kSff8024Table4_1[] = {
    {0x00, "Unknown or unspecified", "module"},
    {0x01, "GBIC", "GBIC"},
    {0x02, "Module/connector soldered to motherboard (using SFF-8472)", "soldered module"},
    {0x03, "SFP/SFP+/SFP28 and later", "SFP"},
    {0x04, "300 pin XBI", "XBI"},
    {0x05, "XENPAK", "XENPAK"},
    {0x06, "XFP", "XFP"},
    {0x07, "XFF", "XFF"},
    {0x08, "XFP-E", "XFP-E"},
    {0x09, "XPAK", "XPAK"},
    {0x0A, "X2", "X2"},
    {0x0B, "DWDM-SFP/SFP+ (not using SFF-8472)", "DWDM SFP"},
    {0x0C, "QSFP (INF-8438)", "QSFP"},
    {0x0D, "QSFP+ or later with SFF-8636 or SFF-8436", "QSFP+"},
    {0x0E, "CXP or later", "CXP"},
    {0x0F, "Shielded Mini Multilane HD 4X", "HD4X"},
    {0x10, "Shielded Mini Multilane HD 8X", "HD8X"},
    {0x11, "QSFP28 or later with SFF-8636", "QSFP28"},
    {0x12, "CXP2 (aka CXP28) or later", "CXP2"},
    {0x13, "CDFP (Style 1/Style 2)", "CDFP"},
    {0x14, "Shielded Mini Multilane HD 4X Fanout Cable", "HD4X fanout"},
    {0x15, "Shielded Mini Multilane HD 8X Fanout Cable", "HD8X fanout"},
    {0x16, "CDFP (Style 3)", "CDFP"},
    {0x17, "microQSFP", "microQSFP"},
    {0x18, "QSFP-DD Double Density 8X Pluggable Transceiver", "QSFP-DD"},
    {0x19, "OSFP 8X Pluggable Transceiver", "OSFP"},
    {0x1A, "SFP-DD Double Density 2X Pluggable Transceiver with the SFP-DD management interface", "SFP-DD"},
    {0x1B, "DSFP Dual Small Form Factor Pluggable Transceiver", "DSFP"},
    {0x1C, "x4 MiniLink/OcuLink", "MiniLink x4"},
    {0x1D, "x8 MiniLink", "MiniLink x8"},
    {0x1E, "QSFP+ or later with CMIS", "QSFP (CMIS)"},
    {0x1F, "SFP-DD Double Density 2X Pluggable Transceiver with CMIS",
     "SFP-DD"},
    {0x20, "SFP+ and later with CMIS", "SFP (CMIS)"},
    {0x21, "OSFP-XD with CMIS", "OSFP-XD"},
    {0x22, "OIF-ELSFP with CMIS", "ELSFP"},
    {0x23, "CDFP (x4 PCIe) SFF-TA-1032 with CMIS", "CDFP"},
    {0x24, "CDFP (x8 PCIe) SFF-TA-1032 with CMIS", "CDFP"},
    {0x25, "CDFP (x16 PCIe) SFF-TA-1032 with CMIS", "CDFP"},
};

// SFF-8024 Table 4-3: connector types.
constexpr code_name kSff8024Table4_3[] = {
    {0x00, "Unknown or unspecified"},
    {0x01, "SC (Subscriber Connector)"},
    {0x02, "Fibre Channel Style 1 copper connector"},
    {0x03, "Fibre Channel Style 2 copper connector"},
    {0x04, "BNC/TNC (Bayonet/Threaded Neill-Concelman)"},
    {0x05, "Fibre Channel coax headers"},
    {0x06, "Fiber Jack"},
    {0x07, "LC (Lucent Connector)"},
    {0x08, "MT-RJ (Mechanical Transfer - Registered Jack)"},
    {0x09, "MU (Multiple Optical)"},
    {0x0A, "SG"},
    {0x0B, "Optical Pigtail"},
    {0x0C, "MPO 1x12 (Multifiber Parallel Optic)"},
    {0x0D, "MPO 2x16"},
    {0x20, "HSSDC II (High Speed Serial Data Connector)"},
    {0x21, "Copper pigtail"},
    {0x22, "RJ45 (Registered Jack)"},
    {0x23, "No separable connector"},
    {0x24, "MXC 2x16"},
    {0x25, "CS optical connector"},
    {0x26, "SN (previously Mini CS) optical connector"},
    {0x27, "MPO 2x12"},
    {0x28, "MPO 1x16"},
};

// SFF-8024 Table 4-4: extended compliance codes (SFF-8472
// A0h byte 36, SFF-8636 page 00h byte 192).
constexpr code_name kSff8024Table4_4[] = {
    {0x00, "Unspecified"},
    {0x01, "100G AOC (Active Optical Cable) or 25GAUI C2M AOC, BER 5x10^-5"},
    {0x02, "100GBASE-SR4 or 25GBASE-SR"},
    {0x03, "100GBASE-LR4 or 25GBASE-LR"},
    {0x04, "100GBASE-ER4 or 25GBASE-ER"},
    {0x05, "100GBASE-SR10"},
    {0x06, "100G CWDM4"},
    {0x07, "100G PSM4 Parallel SMF"},
    {0x08, "100G ACC (Active Copper Cable) or 25GAUI C2M ACC, BER 5x10^-5"},
    {0x09, "Obsolete (assigned before 100G CWDM4 MSA required FEC)"},
    {0x0B, "100GBASE-CR4, 25GBASE-CR CA-25G-L or 50GBASE-CR2 with RS (Clause 91) FEC"},
    {0x0C, "25GBASE-CR CA-25G-S or 50GBASE-CR2 with BASE-R (Clause 74) FEC"},
    {0x0D, "25GBASE-CR CA-25G-N or 50GBASE-CR2 with no FEC"},
    {0x0E, "10 Mb/s Single Pair Ethernet (802.3cg, Clause 146/147, 1000 m copper)"},
    {0x10, "40GBASE-ER4"},
    {0x11, "4 x 10GBASE-SR"},
    {0x12, "40G PSM4 Parallel SMF"},
    {0x13, "G.959.1 profile P1I1-2D1 (10709 MBd, 2 km, 1310 nm SM)"},
    {0x14, "G.959.1 profile P1S1-2D2 (10709 MBd, 40 km, 1550 nm SM)"},
    {0x15, "G.959.1 profile P1L1-2D2 (10709 MBd, 80 km, 1550 nm SM)"},
    {0x16, "10GBASE-T with SFI electrical interface"},
    {0x17, "100G CLR4"},
    {0x18, "100G AOC or 25GAUI C2M AOC, BER 10^-12"},
    {0x19, "100G ACC or 25GAUI C2M ACC, BER 10^-12"},
    {0x1A, "100GE-DWDM2 (DWDM transceiver using 2 wavelengths on a 1550 nm DWDM grid, reach up to 80 km)"},
    {0x1B, "100G 1550 nm WDM (4 wavelengths)"},
    {0x1C, "10GBASE-T Short Reach (30 meters)"},
    {0x1D, "5GBASE-T"},
    {0x1E, "2.5GBASE-T"},
    {0x1F, "40G SWDM4"},
    {0x20, "100G SWDM4"},
    {0x21, "100G PAM4 BiDi"},
    {0x22, "4WDM-10 MSA (10 km version of 100G CWDM4 with the same RS(528,514) FEC in the host)"},
    {0x23, "4WDM-20 MSA (20 km version of 100GBASE-LR4 with RS(528,514) FEC in the host)"},
    {0x24, "4WDM-40 MSA (40 km reach with APD receiver and RS(528,514) FEC in the host)"},
    {0x25, "100GBASE-DR (Clause 140), CAUI-4 (no FEC on host interface)"},
    {0x26, "100G-FR or 100GBASE-FR1 (Clause 140), CAUI-4 (no FEC on host interface)"},
    {0x27, "100G-LR or 100GBASE-LR1 (Clause 140), CAUI-4 (no FEC on host interface)"},
    {0x30, "Active Copper Cable with 50GAUI, 100GAUI-2 or 200GAUI-4 C2M, BER 10^-6"},
    {0x31, "Active Optical Cable with 50GAUI, 100GAUI-2 or 200GAUI-4 C2M, BER 10^-6"},
    {0x32, "Active Copper Cable with 50GAUI, 100GAUI-2 or 200GAUI-4 C2M, BER 2.6x10^-4"},
    {0x33, "Active Optical Cable with 50GAUI, 100GAUI-2 or 200GAUI-4 C2M, BER 2.6x10^-4"},
    {0x3F, "100GBASE-CR1, 200GBASE-CR2 or 400GBASE-CR4"},
    {0x40, "50GBASE-CR, 100GBASE-CR2 or 200GBASE-CR4"},
    {0x41, "50GBASE-SR, 100GBASE-SR2 or 200GBASE-SR4"},
    {0x42, "50GBASE-FR or 200GBASE-DR4"},
    {0x43, "200GBASE-FR4"},
    {0x44, "200G 1550 nm PSM4"},
    {0x45, "50GBASE-LR"},
    {0x46, "200GBASE-LR4"},
    {0x47, "400GBASE-DR4 (Clause 124), 100GAUI-1 C2M (Annex 120G)"},
    {0x48, "400GBASE-FR4 (Clause 151)"},
    {0x49, "400GBASE-LR4-6 (Clause 151)"},
    {0x4A, "50GBASE-ER (Clause 139)"},
    {0x4B, "400G-LR4-10"},
    {0x4C, "400GBASE-ZR (Clause 156)"},
    {0x7F, "256GFC-SW4 (FC-PI-7P)"},
    {0x80, "64GFC (FC-PI-7)"},
    {0x81, "128GFC (FC-PI-8)"},
};

// SFF-8024 Table 4-5: host electrical interface codes (CMIS application
// descriptor byte 0).
constexpr code_name kSff8024Table4_5[] = {
    {0x00, "Undefined"},
    {0x01, "1000BASE-CX (Clause 39)"},
    {0x02, "XAUI (Clause 47)"},
    {0x03, "XFI (SFF INF-8071i)"},
    {0x04, "SFI (SFF-8431)"},
    {0x05, "25GAUI C2M (Annex 109B)"},
    {0x06, "XLAUI C2M (Annex 83B)"},
    {0x07, "XLPPI (Annex 86A)"},
    {0x08, "LAUI-2 C2M (Annex 135C)"},
    {0x09, "50GAUI-2 C2M (Annex 135E)"},
    {0x0A, "50GAUI-1 C2M (Annex 135G)"},
    {0x0B, "CAUI-4 C2M (Annex 83E)"},
    {0x0C, "100GAUI-4 C2M (Annex 135E)"},
    {0x0D, "100GAUI-2 C2M (Annex 135G)"},
    {0x0E, "200GAUI-8 C2M (Annex 120C)"},
    {0x0F, "200GAUI-4 C2M (Annex 120E)"},
    {0x10, "400GAUI-16 C2M (Annex 120C)"},
    {0x11, "400GAUI-8 C2M (Annex 120E)"},
    {0x13, "10GBASE-CX4 (Clause 54)"},
    {0x14, "25GBASE-CR CA-L (Clause 110)"},
    {0x15, "25GBASE-CR CA-S (Clause 110)"},
    {0x16, "25GBASE-CR CA-N (Clause 110)"},
    {0x17, "40GBASE-CR4 (Clause 85)"},
    {0x18, "50GBASE-CR (Clause 136)"},
    {0x1A, "100GBASE-CR10 (Clause 85)"},
    {0x1B, "100GBASE-CR4 (Clause 92)"},
    {0x1C, "100GBASE-CR2 (Clause 136)"},
    {0x1D, "200GBASE-CR4 (Clause 136)"},
    {0x1E, "400G CR8"},
    {0x1F, "1000BASE-T (Clause 40)"},
    {0x20, "2.5GBASE-T (Clause 126)"},
    {0x21, "5GBASE-T (Clause 126)"},
    {0x22, "10GBASE-T (Clause 55)"},
    {0x23, "25GBASE-T (Clause 113)"},
    {0x24, "40GBASE-T (Clause 113)"},
    {0x25, "50GBASE-T"},
    {0x26, "8GFC (FC-PI-4)"},
    {0x27, "10GFC (10GFC)"},
    {0x28, "16GFC (FC-PI-5)"},
    {0x29, "32GFC (FC-PI-6)"},
    {0x2A, "64GFC (FC-PI-7)"},
    {0x2B, "128GFC (FC-PI-6P)"},
    {0x2C, "256GFC (FC-PI-7P)"},
    {0x2D, "IB SDR"},
    {0x2E, "IB DDR"},
    {0x2F, "IB QDR"},
    {0x30, "IB FDR"},
    {0x31, "IB EDR"},
    {0x32, "IB HDR"},
    {0x33, "IB NDR"},
    {0x34, "E.96 (CPRI)"},
    {0x35, "E.99 (CPRI)"},
    {0x36, "E.119 (CPRI)"},
    {0x37, "E.238 (CPRI)"},
    {0x38, "OTL3.4 (ITU-T G.709/Y.1331 G.Sup58)"},
    {0x39, "OTL4.10 (ITU-T G.709/Y.1331 G.Sup58)"},
    {0x3A, "OTL4.4 (ITU-T G.709/Y.1331 G.Sup58)"},
    {0x3B, "OTLC.4 (ITU-T G.709.1/Y.1331 G.Sup58)"},
};

// SFF-8024 Table 4-6: MMF media interface codes.
constexpr code_name kSff8024Table4_6[] = {
    {0x00, "Undefined"},
    {0x01, "10GBASE-SW (Clause 52)"},
    {0x02, "10GBASE-SR (Clause 52)"},
    {0x03, "25GBASE-SR (Clause 112)"},
    {0x04, "40GBASE-SR4 (Clause 86)"},
    {0x05, "40GE SWDM4 MSA"},
    {0x06, "40GE BiDi"},
    {0x07, "50GBASE-SR (Clause 138)"},
    {0x08, "100GBASE-SR10 (Clause 86)"},
    {0x09, "100GBASE-SR4 (Clause 95)"},
    {0x0A, "100GE SWDM4 MSA"},
    {0x0B, "100GE BiDi"},
    {0x0C, "100GBASE-SR2 (Clause 138)"},
    {0x0D, "100G-SR"},
    {0x0E, "200GBASE-SR4 (Clause 138)"},
    {0x0F, "400GBASE-SR16 (Clause 123)"},
    {0x10, "400GBASE-SR8 (Clause 138)"},
    {0x11, "400GBASE-SR4.2 (Clause 150)"},
    {0x13, "8GFC-MM (FC-PI-4)"},
    {0x14, "10GFC-MM (10GFC)"},
    {0x15, "16GFC-MM (FC-PI-5)"},
    {0x16, "32GFC-MM (FC-PI-6)"},
    {0x17, "64GFC-MM (FC-PI-7)"},
    {0x18, "128GFC-MM (FC-PI-6P)"},
};

// SFF-8024 Table 4-7: SMF media interface codes.
constexpr code_name kSff8024Table4_7[] = {
    {0x00, "Undefined"},
    {0x01, "10GBASE-LW (Clause 52)"},
    {0x02, "10GBASE-EW (Clause 52)"},
    {0x03, "10G-ZW"},
    {0x04, "10GBASE-LR (Clause 52)"},
    {0x05, "10GBASE-ER (Clause 52)"},
    {0x06, "10G-ZR"},
    {0x07, "25GBASE-LR (Clause 114)"},
    {0x08, "25GBASE-ER (Clause 114)"},
    {0x09, "40GBASE-LR4 (Clause 87)"},
    {0x0A, "40GBASE-FR (Clause 89)"},
    {0x0B, "50GBASE-FR (Clause 139)"},
    {0x0C, "50GBASE-LR (Clause 139)"},
    {0x0D, "100GBASE-LR4 (Clause 88)"},
    {0x0E, "100GBASE-ER4 (Clause 88)"},
    {0x0F, "100G PSM4 (MSA)"},
    {0x10, "100G CWDM4 (MSA)"},
    {0x11, "100G 4WDM-10 (MSA)"},
    {0x12, "100G 4WDM-20 (MSA)"},
    {0x13, "100G 4WDM-40 (MSA)"},
    {0x14, "100GBASE-DR (Clause 140)"},
    {0x15, "100G-FR/100GBASE-FR1 (Clause 140)"},
    {0x16, "100G-LR/100GBASE-LR1 (Clause 140)"},
    {0x17, "200GBASE-DR4 (Clause 121)"},
    {0x18, "200GBASE-FR4 (Clause 122)"},
    {0x19, "200GBASE-LR4 (Clause 122)"},
    {0x1A, "400GBASE-FR8 (Clause 122)"},
    {0x1B, "400GBASE-LR8 (Clause 122)"},
    {0x1C, "400GBASE-DR4 (Clause 124)"},
    {0x1D, "400G-FR4/400GBASE-FR4 (Clause 151)"},
    {0x1E, "400G-LR4-10"},
    {0x3E, "400ZR, DWDM, amplified"},
    {0x3F, "400ZR, single wavelength, unamplified"},
};

// SFF-8024 Table 4-8: passive copper cable media interface codes.
constexpr code_name kSff8024Table4_8[] = {
    {0x00, "Undefined"},
    {0x01, "Copper cable"},
    {0x02, "Passive loopback module"},
};

// SFF-8024 Table 4-9: active cable assembly media interface codes.
constexpr code_name kSff8024Table4_9[] = {
    {0x00, "Undefined"},
    {0x01, "Active cable assembly with BER < 10^-12"},
    {0x02, "Active cable assembly with BER < 5x10^-5"},
    {0x03, "Active cable assembly with BER < 2.6x10^-4"},
    {0x04, "Active cable assembly with BER < 10^-6"},
    {0xBF, "Active loopback module"},
};

// SFF-8024 Table 4-10: BASE-T media interface codes.
constexpr code_name kSff8024Table4_10[] = {
    {0x00, "Undefined"},
    {0x01, "1000BASE-T (Clause 40)"},
    {0x02, "2.5GBASE-T (Clause 126)"},
    {0x03, "5GBASE-T (Clause 126)"},
    {0x04, "10GBASE-T (Clause 55)"},
};

// CMIS lower page byte 85: module media type, naming the table of the
// media interface codes.
struct media_type_row {
    uint8_t code;
    const char *name;
    std::span<const code_name> media_table;
};
constexpr media_type_row kCmisByte85MediaType[] = {
    {0x00, "Undefined", {}},
    {0x01, "Optical interfaces: multimode fibre (MMF)", kSff8024Table4_6},
    {0x02, "Optical interfaces: single-mode fibre (SMF)", kSff8024Table4_7},
    {0x03, "Passive copper cable", kSff8024Table4_8},
    {0x04, "Active cable", kSff8024Table4_9},
    {0x05, "BASE-T", kSff8024Table4_10},
};

constexpr code_range kIdentifierRanges[] = {{0x80, 0xFF, "vendor specific"}};
constexpr code_range kConnectorRanges[] = {{0x80, 0xFF, "vendor specific"}};
constexpr code_range kMediaTypeRanges[] = {{0x40, 0x8F, "custom"}};
// SFF-8024 Table 4-5: C0h-FEh are custom host interface codes (FFh ends the
// list); Tables 4-6 to 4-10: C0h-FFh are custom media interface codes.
constexpr code_range kHostInterfaceRanges[] = {{0xC0, 0xFE, "custom"}};
constexpr code_range kMediaInterfaceRanges[] = {{0xC0, 0xFF, "custom"}};
constexpr code_range kNoRanges[] = {{0x00, 0x00, nullptr}};

// SFF-8636 page 00h byte 147 bits 7-4: transmitter technology.
constexpr code_name kSff8636Byte147Transmitter[] = {
    {0x0, "850 nm VCSEL"},
    {0x1, "1310 nm VCSEL"},
    {0x2, "1550 nm VCSEL"},
    {0x3, "1310 nm FP"},
    {0x4, "1310 nm DFB"},
    {0x5, "1550 nm DFB"},
    {0x6, "1310 nm EML"},
    {0x7, "1550 nm EML"},
    {0x8, "Other / Undefined"},
    {0x9, "1490 nm DFB"},
    {0xA, "Copper cable unequalized"},
    {0xB, "Copper cable passive equalized"},
    {0xC, "Copper cable, near and far end limiting active equalizers"},
    {0xD, "Copper cable, far end limiting active equalizers"},
    {0xE, "Copper cable, near end limiting active equalizers"},
    {0xF, "Copper cable, linear active equalizers"},
};
constexpr uint8_t kFirstCopperTransmitter = 0xA;

// One bit of a compliance byte. `names_technology`: the bit names a
// technology the summary may use (an Ethernet, SONET, SAS or InfiniBand
// variant), not a link length, transmitter or medium of Fibre Channel.
struct compliance_bit {
    unsigned byte;
    unsigned bit;
    const char *name;
    bool names_technology;
};

// SFF-8472 Table 5-3: transceiver compliance codes, A0h bytes 3-9 (byte 8
// bits 3-2, the SFP+ cable technology, are shown on their own). Listed in
// the order the summary prefers them: Ethernet first.
constexpr compliance_bit kSff8472Table5_3[] = {
    {3, 7, "10GBASE-ER", true},
    {3, 6, "10GBASE-LRM", true},
    {3, 5, "10GBASE-LR", true},
    {3, 4, "10GBASE-SR", true},
    {6, 0, "1000BASE-SX", true},
    {6, 1, "1000BASE-LX", true},
    {6, 2, "1000BASE-CX", true},
    {6, 3, "1000BASE-T", true},
    {6, 4, "100BASE-LX/LX10", true},
    {6, 5, "100BASE-FX", true},
    {6, 6, "BASE-BX10", true},
    {6, 7, "BASE-PX", true},
    {4, 5, "OC-192, short reach", true},
    {4, 2, "OC-48, long reach", true},
    {4, 1, "OC-48, intermediate reach", true},
    {4, 0, "OC-48, short reach", true},
    {4, 4, "SONET reach specifier bit 1", false},
    {4, 3, "SONET reach specifier bit 2", false},
    {5, 6, "OC-12, single mode, long reach", true},
    {5, 5, "OC-12, single mode, intermediate reach", true},
    {5, 4, "OC-12, short reach", true},
    {5, 2, "OC-3, single mode, long reach", true},
    {5, 1, "OC-3, single mode, intermediate reach", true},
    {5, 0, "OC-3, short reach", true},
    {4, 7, "ESCON MMF, 1310 nm LED", true},
    {4, 6, "ESCON SMF, 1310 nm laser", true},
    {3, 3, "InfiniBand 1X SX", true},
    {3, 2, "InfiniBand 1X LX", true},
    {3, 1, "InfiniBand 1X Copper Active", true},
    {3, 0, "InfiniBand 1X Copper Passive", true},
    {7, 7, "Fibre Channel very long distance (V)", false},
    {7, 6, "Fibre Channel short distance (S)", false},
    {7, 5, "Fibre Channel intermediate distance (I)", false},
    {7, 4, "Fibre Channel long distance (L)", false},
    {7, 3, "Fibre Channel medium distance (M)", false},
    {7, 2, "Fibre Channel shortwave laser, linear Rx (SA)", false},
    {7, 1, "Fibre Channel longwave laser (LC)", false},
    {7, 0, "Fibre Channel electrical inter-enclosure (EL)", false},
    {8, 7, "Fibre Channel electrical intra-enclosure (EL)", false},
    {8, 6, "Fibre Channel shortwave laser without OFC (SN)", false},
    {8, 5, "Fibre Channel shortwave laser with OFC (SL)", false},
    {8, 4, "Fibre Channel longwave laser (LL)", false},
    {9, 7, "Fibre Channel twin axial pair (TW)", false},
    {9, 6, "Fibre Channel twisted pair (TP)", false},
    {9, 5, "Fibre Channel miniature coax (MI)", false},
    {9, 4, "Fibre Channel video coax (TV)", false},
    {9, 3, "Fibre Channel multimode, 62.5 um (M6)", false},
    {9, 2, "Fibre Channel multimode, 50 um (M5, M5E)", false},
    {9, 0, "Fibre Channel single mode (SM)", false},
};

// SFF-8472 A0h byte 10 (Fibre Channel speed) and, when its bit 1 says so,
// byte 62 (Fibre Channel speed 2). Fastest first.
constexpr compliance_bit kSff8472FcSpeed[] = {
    {62, 0, "6400 MB/s (64GFC)", true},
    {10, 3, "3200 MB/s", true},
    {10, 5, "1600 MB/s", true},
    {10, 7, "1200 MB/s", true},
    {10, 6, "800 MB/s", true},
    {10, 4, "400 MB/s", true},
    {10, 2, "200 MB/s", true},
    {10, 0, "100 MB/s", true},
};
constexpr unsigned kSfpFcSpeed = 10, kSfpFcSpeed2Used = 1;  // byte 10 bit 1: see byte 62

// SFF-8636 page 00h bytes 131-137: compliance codes (byte 131
// bit 7 only says that byte 192 applies). Ethernet first.
constexpr compliance_bit kSff8636Bytes131To137[] = {
    {131, 1, "40GBASE-LR4", true},
    {131, 2, "40GBASE-SR4", true},
    {131, 3, "40GBASE-CR4", true},
    {131, 0, "40G Active Cable (XLPPI)", true},
    {131, 6, "10GBASE-LRM", true},
    {131, 5, "10GBASE-LR", true},
    {131, 4, "10GBASE-SR", true},
    {134, 3, "1000BASE-T", true},
    {134, 2, "1000BASE-CX", true},
    {134, 1, "1000BASE-LX", true},
    {134, 0, "1000BASE-SX", true},
    {132, 2, "OC 48, long reach", true},
    {132, 1, "OC 48, intermediate reach", true},
    {132, 0, "OC 48, short reach", true},
    {133, 7, "SAS 24.0 Gb/s", true},
    {133, 6, "SAS 12.0 Gb/s", true},
    {133, 5, "SAS 6.0 Gb/s", true},
    {133, 4, "SAS 3.0 Gb/s", true},
    {135, 7, "Fibre Channel very long distance (V)", false},
    {135, 6, "Fibre Channel short distance (S)", false},
    {135, 5, "Fibre Channel intermediate distance (I)", false},
    {135, 4, "Fibre Channel long distance (L)", false},
    {135, 3, "Fibre Channel medium distance (M)", false},
    {135, 1, "Fibre Channel longwave laser (LC)", false},
    {135, 0, "Fibre Channel electrical inter-enclosure (EL)", false},
    {136, 7, "Fibre Channel electrical intra-enclosure (EL)", false},
    {136, 6, "Fibre Channel shortwave laser without OFC (SN)", false},
    {136, 5, "Fibre Channel shortwave laser with OFC (SL)", false},
    {136, 4, "Fibre Channel longwave laser (LL)", false},
    {137, 7, "Fibre Channel twin axial pair (TW)", false},
    {137, 6, "Fibre Channel shielded twisted pair (TP)", false},
    {137, 5, "Fibre Channel miniature coax (MI)", false},
    {137, 4, "Fibre Channel video coax (TV)", false},
    {137, 3, "Fibre Channel multimode, 62.5 um (M6)", false},
    {137, 2, "Fibre Channel multimode, 50 um (M5)", false},
    {137, 1, "Fibre Channel multimode, 50 um OM3 (M5E)", false},
    {137, 0, "Fibre Channel single mode (SM)", false},
};

// SFF-8636 page 00h byte 138: Fibre Channel speed, fastest first.
constexpr compliance_bit kSff8636Byte138[] = {
    {138, 3, "3200 MB/s", true},
    {138, 5, "1600 MB/s", true},
    {138, 7, "1200 MB/s", true},
    {138, 6, "800 MB/s", true},
    {138, 4, "400 MB/s", true},
    {138, 2, "200 MB/s", true},
    {138, 0, "100 MB/s", true},
};

// Byte numbers of the standards.
constexpr unsigned kId = 0;                      // SFF-8472 A0h, CMIS lower page, SFF-8636 lower page
constexpr unsigned kSfpConnector = 2, kSfpCable = 8, kSfpBitRate = 12, kSfpLengthKm = 14, kSfpLength100m = 15;
constexpr unsigned kSfpLengthOm2 = 16, kSfpLengthOm1 = 17, kSfpLengthOm4OrCopper = 18, kSfpLengthOm3 = 19;
constexpr unsigned kSfpVendorName = 20, kSfpVendorPn = 40, kSfpVendorFieldSize = 16;
constexpr unsigned kSfpExtendedCompliance = 36, kSfpWavelength = 60, kSfpCheckBase = 63, kSfpBitRateMax = 66;
constexpr unsigned kSfpDiagType = 92;
constexpr uint8_t kSfpPassiveCable = 0x04, kSfpActiveCable = 0x08;  // byte 8 bits 2, 3
constexpr uint8_t kSfpInternal = 0x20, kSfpExternal = 0x10, kSfpDdm = 0x40;  // byte 92 bits 5, 4, 6
constexpr unsigned kXfpConnector = 130, kXfpWavelength = 186;
constexpr unsigned kQsfpId = 128, kQsfpConnector = 130, kQsfpCompliance = 131, kQsfpBitRate = 140;
constexpr unsigned kQsfpLengthKm = 142, kQsfpLengthOm3 = 143, kQsfpLengthOm2 = 144, kQsfpLengthOm1 = 145;
constexpr unsigned kQsfpLengthOm4OrCopper = 146, kQsfpDeviceTech = 147, kQsfpWavelength = 186;
constexpr unsigned kQsfpExtendedCompliance = 192, kQsfpBitRateMax = 222;
constexpr uint8_t kQsfpExtendedApplies = 0x80;  // byte 131 bit 7
constexpr unsigned kCmisRevision = 1, kCmisMemoryModel = 2, kCmisMediaType = 85, kCmisApplications = 86;
constexpr uint8_t kCmisFlatMemory = 0x80;  // lower page byte 2 bit 7
constexpr unsigned kCmisPowerClass = 200, kCmisMaxPower = 201, kCmisCableLength = 202, kCmisConnector = 203;
constexpr unsigned kCmisLengthSmf = 132, kCmisLengthOm5 = 133, kCmisLengthOm4 = 134, kCmisLengthOm3 = 135;
constexpr unsigned kCmisLengthOm2 = 136, kCmisWavelength = 138, kCmisMoreApplications = 223;
constexpr unsigned kCmisActiveControlSet = 206;  // page 11h: DPConfigLane1, bits 7-4 the ApSel code
constexpr unsigned kCmisDescriptor = 4, kCmisLowerApplications = 8, kCmisUpperApplications = 7;
constexpr uint8_t kCmisListEnd = 0xFF, kCmisUnused = 0x00;
// Identifiers the library's CMIS decoders accept at lower page byte 0
// (diagnostics; vendor and alarms by page 00h byte 128, 0Ah by the lower page).
constexpr uint8_t kCmisAccepted[] = {0x0A, 0x18, 0x1B, 0x1E};
constexpr uint8_t kCmisInPlace = 0x18;
// Identifiers the SFP decoders accept at A0h byte 0.
constexpr uint8_t kSfpAccepted[] = {0x03, 0x82};
constexpr uint8_t kSfpInPlace = 0x03;

template <class Row>
const Row *find_code(std::span<const Row> table, unsigned code) {
    for (const Row &row : table)
        if (row.code == code) return &row;
    return nullptr;
}

const char *lookup(std::span<const code_name> table, std::span<const code_range> ranges, unsigned code) {
    if (const code_name *row = find_code(table, code)) return row->name;
    for (const code_range &r : ranges)
        if (r.name && code >= r.from && code <= r.to) return r.name;
    return "unknown";
}

uint8_t upper(const uint8_t *page, unsigned byte) { return page[byte - 128]; }
unsigned word(const uint8_t *p) { return static_cast<unsigned>(p[0]) << 8 | p[1]; }

std::string metres(double m) { return m >= 1000 ? compact(m / 1000) + " km" : compact(m) + " m"; }

std::vector<std::string> set_bits(std::span<const compliance_bit> table, const uint8_t *block, unsigned first_byte,
                                  bool technology_only = false) {
    std::vector<std::string> names;
    for (const compliance_bit &b : table)
        if ((block[b.byte - first_byte] >> b.bit) & 1u && (b.names_technology || !technology_only))
            names.push_back(b.name);
    return names;
}

// The first alternative of a name such as "100GBASE-LR4 or 25GBASE-LR" or
// "100GBASE-DR (Clause 140), CAUI-4 (...)": the four-lane one. `one_lane`
// picks the 25G alternative where there is one (SFP28).
std::string short_name(std::string_view name, bool one_lane = false) {
    std::vector<std::string_view> parts;
    while (!name.empty()) {
        std::size_t cut = std::min({name.find(" or "), name.find(", "), name.find(" (")});
        parts.push_back(name.substr(0, cut));
        if (cut == std::string_view::npos) break;
        std::size_t skip = name.compare(cut, 4, " or ") == 0 ? 4 : 2;
        if (name.compare(cut, 2, " (") == 0) {  // a parenthesis ends the alternative
            std::size_t close = name.find(')', cut);
            if (close == std::string_view::npos) break;
            cut = close + 1;
            skip = name.compare(cut, 2, ", ") == 0 ? 2 : name.compare(cut, 4, " or ") == 0 ? 4 : 0;
        }
        name.remove_prefix(std::min(name.size(), cut + skip));
    }
    if (one_lane)
        for (std::string_view p : parts)
            if (p.substr(0, 3) == "25G") return std::string(p);
    return parts.empty() ? std::string() : std::string(parts.front());
}

std::string hex_code(unsigned code) { return strprintf("%02Xh", code); }

using value = document_builder::value;

value coded_json(document_builder &b, unsigned code, const char *name) {
    return object_writer(b, 2).put("code", code).put("name", name).value;
}
std::string coded_text(unsigned code, const char *name) { return hex_code(code) + " " + name; }

value strings_json(document_builder &b, const std::vector<std::string> &items) {
    const value a = b.array(items.size());
    for (const auto &s : items) b.push(a, b.text(s));
    return a;
}

// --- where the bytes are -----------------------------------------------------

struct module_bytes {
    module_family family = module_family::unknown;
    const uint8_t *a0 = nullptr;      // SFP
    const uint8_t *lower = nullptr;   // QSFP, CMIS lower page; XFP lower memory
    const uint8_t *page00 = nullptr;  // QSFP, CMIS; XFP page 01h (serial ID, byte 128 first)
    const uint8_t *page01 = nullptr;  // CMIS
    const uint8_t *page11 = nullptr;  // CMIS
    uint8_t identifier = 0;
};

module_bytes bytes_of(const page_plan &plan) {
    module_bytes b;
    b.family = plan.family;
    switch (plan.family) {
    case module_family::sfp:
        b.a0 = plan.lower;
        b.identifier = b.a0[kId];
        break;
    case module_family::xfp:
        b.page00 = plan.lower;  // the serial ID table, page 01h, byte 128 first
        b.lower = plan.pages[0];
        b.identifier = b.page00[0];
        break;
    case module_family::qsfp:
        b.lower = plan.lower;
        b.page00 = plan.pages[0];
        b.identifier = upper(b.page00, kQsfpId);
        break;
    case module_family::cmis:
        b.lower = plan.lower;
        b.page00 = plan.pages[0];
        b.page01 = plan.pages[1];
        b.page11 = plan.pages[0x11];
        b.identifier = b.lower[kId];
        break;
    case module_family::unknown:
        break;
    }
    return b;
}

const identifier_row *identifier_of(uint8_t code) {
    return find_code(std::span<const identifier_row>(kSff8024Table4_1), code);
}

// --- the library's name, where its type map gives one --------------------------

struct library_name {
    std::string form, technology;
};

constexpr const char *kFormSuffixes[] = {"-QSFP-DD", "-QSFP28", "-QSFP56", "-QSFP+", "-DSFP", "-SFP28",
                                         "-SFP+",    "-SFP",    "-XFP",    "-SFX",   "-SFG",  "-SFM"};

std::optional<library_name> library_type(const decoded_module &m) {
    if (!m.normal || m.normal->unsupported || !m.normal->type_name || m.normal->trans_type <= 1) return std::nullopt;
    std::string name = std::string(m.normal->name_prefix ? m.normal->name_prefix : "") + m.normal->type_name;
    if (name.rfind("Unknown", 0) == 0) return std::nullopt;
    for (const char *suffix : kFormSuffixes) {
        std::size_t n = std::strlen(suffix);
        if (name.size() > n && name.compare(name.size() - n, n, suffix) == 0)
            return library_name{name.substr(name.size() - n + 1), name.substr(0, name.size() - n)};
    }
    return std::nullopt;
}

// --- summary parts from the bytes ---------------------------------------------------

std::string sfp_form(const uint8_t *a0) {
    const identifier_row *id = identifier_of(a0[kId]);
    if (!id || a0[kId] != 0x03) return id ? id->form : "SFP";
    // SFF-8472 byte 12: nominal rate in 100 MBd; FFh: byte 66 in 250 MBd.
    unsigned mbd = a0[kSfpBitRate] == 0xFF ? a0[kSfpBitRateMax] * 250u : a0[kSfpBitRate] * 100u;
    return mbd >= 20000 ? "SFP28" : mbd >= 8500 ? "SFP+" : "SFP";
}

bool sfp_cable(const uint8_t *a0) { return a0[kSfpCable] & (kSfpPassiveCable | kSfpActiveCable); }

std::string sfp_technology(const uint8_t *a0) {
    if (uint8_t x = a0[kSfpExtendedCompliance])
        if (const code_name *row = find_code(std::span<const code_name>(kSff8024Table4_4), x))
            return short_name(row->name, true);
    if (auto names = set_bits(kSff8472Table5_3, a0, 0, true); !names.empty()) return names.front();
    if (auto speeds = sfp_fc_speeds(a0); !speeds.empty()) return "Fibre Channel " + speeds.front();
    if (a0[kSfpCable] & kSfpPassiveCable) return "passive copper cable";
    if (a0[kSfpCable] & kSfpActiveCable) return "active cable";
    return "module without compliance codes";
}

std::string sfp_length(const uint8_t *a0) {
    if (a0[kSfpLengthKm]) return std::to_string(a0[kSfpLengthKm]) + " km";
    if (a0[kSfpLength100m]) return metres(a0[kSfpLength100m] * 100.0);
    const bool copper = sfp_cable(a0) || a0[kSfpConnector] == 0x21 || a0[kSfpConnector] == 0x22 ||
                        a0[kSfpConnector] == 0x23 || (a0[6] & 0x08);  // byte 6 bit 3: 1000BASE-T
    if (copper && a0[kSfpLengthOm4OrCopper]) return std::to_string(a0[kSfpLengthOm4OrCopper]) + " m";
    const std::pair<const char *, unsigned> fibres[] = {{"OM4", copper ? 0u : a0[kSfpLengthOm4OrCopper] * 10u},
                                                        {"OM3", a0[kSfpLengthOm3] * 10u},
                                                        {"OM2", a0[kSfpLengthOm2] * 10u},
                                                        {"OM1", a0[kSfpLengthOm1] * 10u}};
    for (const auto &[fibre, m] : fibres)
        if (m) return std::string(fibre) + " " + metres(m);
    return {};
}

std::string qsfp_technology(const uint8_t *page00) {
    if (upper(page00, kQsfpCompliance) & kQsfpExtendedApplies)
        if (uint8_t x = upper(page00, kQsfpExtendedCompliance))
            if (const code_name *row = find_code(std::span<const code_name>(kSff8024Table4_4), x))
                return short_name(row->name);
    if (auto names = set_bits(kSff8636Bytes131To137, page00, 128, true); !names.empty()) return names.front();
    if (auto speeds = qsfp_fc_speeds(page00); !speeds.empty()) return "Fibre Channel " + speeds.front();
    if ((upper(page00, kQsfpDeviceTech) >> 4) >= kFirstCopperTransmitter) return "copper cable";
    return "module without compliance codes";
}

bool qsfp_copper(const uint8_t *page00) {
    uint8_t k = upper(page00, kQsfpConnector);
    return (upper(page00, kQsfpDeviceTech) >> 4) >= kFirstCopperTransmitter || k == 0x21 || k == 0x23 || k == 0x0B;
}

std::string qsfp_length(const uint8_t *page00) {
    if (unsigned km = upper(page00, kQsfpLengthKm)) return std::to_string(km) + " km";
    const bool copper = qsfp_copper(page00);
    unsigned w = upper(page00, kQsfpLengthOm4OrCopper);
    if (copper) return w ? std::to_string(w) + " m" : std::string();
    const std::pair<const char *, unsigned> fibres[] = {{"OM4", w * 2u},
                                                        {"OM3", upper(page00, kQsfpLengthOm3) * 2u},
                                                        {"OM2", upper(page00, kQsfpLengthOm2)},
                                                        {"OM1", upper(page00, kQsfpLengthOm1)}};
    for (const auto &[fibre, m] : fibres)
        if (m) return std::string(fibre) + " " + metres(m);
    return {};
}

// CMIS page 00h byte 202: cable assembly length, bits 7-6 a multiplier of
// 0.1, 1, 10 or 100 m, bits 5-0 the base.
double cmis_cable_metres(const uint8_t *page00) {
    static constexpr double kMultiplier[] = {0.1, 1, 10, 100};
    uint8_t b = upper(page00, kCmisCableLength);
    return kMultiplier[b >> 6] * (b & 0x3F);
}

std::string cmis_length(const module_bytes &b) {
    const uint8_t media = b.lower[kCmisMediaType];
    if (media == 0x03 || media == 0x04) {
        double m = cmis_cable_metres(b.page00);
        return m > 0 ? compact(m) + " m" : std::string();
    }
    if (!b.page01) return {};
    // Page 01h byte 132: bits 7-6 multiplier (00b 0.1 km, 01b 1 km), bits 5-0 base.
    uint8_t smf = upper(b.page01, kCmisLengthSmf);
    if ((smf & 0x3F) && (smf >> 6) <= 1) return compact((smf >> 6 ? 1.0 : 0.1) * (smf & 0x3F)) + " km";
    const std::pair<const char *, unsigned> fibres[] = {{"OM5", upper(b.page01, kCmisLengthOm5) * 2u},
                                                        {"OM4", upper(b.page01, kCmisLengthOm4) * 2u},
                                                        {"OM3", upper(b.page01, kCmisLengthOm3) * 2u},
                                                        {"OM2", upper(b.page01, kCmisLengthOm2)}};
    for (const auto &[fibre, m] : fibres)
        if (m) return std::string(fibre) + " " + metres(m);
    return {};
}

// The application the summary names: the active one, else the first.
std::optional<cmis_application> chosen_application(const page_plan &plan, const std::vector<cmis_application> &apps) {
    if (apps.empty()) return std::nullopt;
    unsigned active = cmis_active_apsel(plan);
    for (const auto &a : apps)
        if (a.apsel == active) return a;
    return apps.front();
}

// How many instances of an application the module holds: one per host lane
// it may start on (byte 3), at least one.
unsigned instances(const cmis_application &a) {
    return std::max(1, std::popcount(static_cast<unsigned>(a.host_lane_options)));
}

std::string cmis_technology(const page_plan &plan, const std::vector<cmis_application> &apps, const module_bytes &b,
                            unsigned *lanes) {
    auto app = chosen_application(plan, apps);
    *lanes = 0;
    if (!app) return "module advertising no application";
    const uint8_t media = b.lower[kCmisMediaType];
    unsigned n = instances(*app);
    if (n * app->host_lanes > 8 || n * app->media_lanes > 8) n = 1;  // inconsistent options: one instance
    *lanes = n * app->media_lanes;
    std::string tech;
    const char *media_name = media_interface_name(media, app->media_interface);
    if (app->media_interface != 0 && std::strcmp(media_name, "unknown") != 0) {
        tech = short_name(media_name);
    } else {
        tech = short_name(host_interface_name(app->host_interface));
        if (media == 0x03) tech += " passive copper cable";
        else if (media == 0x04) tech += " active cable";
    }
    return n > 1 ? std::to_string(n) + " x " + tech : tech;
}

// --- the description's fields ------------------------------------------------------

// One line of the text section.
struct field {
    std::string label;
    std::string text;
};

// What a description is built for: the text section, the JSON object, or
// only the one-line summary. Each field is rendered for the one asked for:
// text fields (those with a label) as lines, JSON fields (those with a key)
// straight into the object.
enum class rendering { text, json, summary };

constexpr std::size_t kDescriptionMembers = 24;  // the most keys one family's description has

struct description {
    rendering want;
    document_builder *builder = nullptr;  // JSON
    std::string summary;
    std::vector<field> fields;  // text
    value object{};             // JSON
    bool text() const { return want == rendering::text; }
    bool json_value() const { return want == rendering::json; }
    // A field's JSON value, made only when JSON is rendered.
    template <class T>
    value json(const T &v) const { return json_value() ? builder->make(v) : value::none; }
    value coded(unsigned code, const char *name) const {
        return json_value() ? coded_json(*builder, code, name) : value::none;
    }
};

// A field: a text line when it has a label, a JSON member when it has a key
// (value::none: null).
void add(description &d, const char *key, std::string label, std::string text, value json) {
    if (d.text() && !label.empty()) d.fields.push_back({std::move(label), std::move(text)});
    else if (d.json_value() && *key) d.builder->put(d.object, key, json == value::none ? d.builder->null() : json);
}

void add_coded(description &d, const char *key, const char *label, unsigned code, const char *name) {
    add(d, key, label, d.text() ? coded_text(code, name) : std::string(), d.coded(code, name));
}

void add_list(description &d, const char *key, const char *label, const std::vector<std::string> &items) {
    add(d, key, label, !d.text() ? std::string() : items.empty() ? "none" : join(items, ", "),
        d.json_value() ? strings_json(*d.builder, items) : value::none);
}

const char *map_name(module_family f) {
    switch (f) {
    case module_family::sfp: return "SFF-8472";
    case module_family::xfp: return "INF-8077i";
    case module_family::qsfp: return "SFF-8636";
    case module_family::cmis: return "CMIS";
    case module_family::unknown: break;
    }
    return "unknown";
}

std::string joined(const std::vector<std::string> &parts) {
    std::string out;
    for (const auto &p : parts)
        if (!p.empty()) out += (out.empty() ? "" : ", ") + p;
    return out;
}

description describe(const decoded_module &m, rendering want, document_builder *builder = nullptr) {
    description d{want, builder, {}, {}, {}};
    if (d.json_value()) d.object = builder->object(kDescriptionMembers);
    const page_plan &plan = *m.plan;
    const module_bytes b = bytes_of(plan);
    const identifier_row *id = identifier_of(b.identifier);
    const char *id_name = identifier_name(b.identifier);
    auto library = library_type(m);

    std::string form = id ? id->form : "module";
    std::string technology, connector, wavelength, length;
    unsigned lanes = 0;
    uint8_t connector_code = 0;

    add(d, "summary", "Summary", "", {});  // filled below
    add_coded(d, "identifier", "Identifier", b.identifier, id_name);
    add(d, "memory_map", "Memory map", map_name(b.family), d.json(map_name(b.family)));
    if (m.identifier_in_place) {
        const uint8_t in_place = *m.identifier_in_place;
        add(d, "decoded_with_identifier", "Decoded as",
            std::string(map_name(b.family)) + " map with identifier " + hex_code(in_place) + " in place of " +
                hex_code(b.identifier) + " (the " + family_title(b.family) + " decoders do not accept " +
                hex_code(b.identifier) + ")",
            d.coded(in_place, identifier_name(in_place)));
    } else {
        add(d, "decoded_with_identifier", "", "", {});  // JSON only: null
    }

    switch (b.family) {
    case module_family::sfp: {
        const uint8_t *a0 = b.a0;
        form = sfp_form(a0);
        technology = sfp_technology(a0);
        connector_code = a0[kSfpConnector];
        lanes = 1;
        if (!sfp_cable(a0) && word(a0 + kSfpWavelength)) wavelength = std::to_string(word(a0 + kSfpWavelength)) + " nm";
        length = sfp_length(a0);
        add_coded(d, "connector", "Connector", connector_code, connector_name(connector_code));
        add_list(d, "compliance", "Compliance", sfp_compliance(a0));
        const uint8_t x = a0[kSfpExtendedCompliance];
        add_coded(d, "extended_compliance", "Extended compliance", x, extended_compliance_name(x));
        add_list(d, "fc_speeds", "FC speeds", sfp_fc_speeds(a0));
        const char *cable = (a0[kSfpCable] & kSfpPassiveCable)  ? "passive"
                            : (a0[kSfpCable] & kSfpActiveCable) ? "active"
                                                                : nullptr;
        add(d, "cable_technology", "Cable technology", cable ? std::string(cable) + " cable" : "not a cable",
            cable ? d.json(cable) : value::none);
        const uint8_t diag = a0[kSfpDiagType];
        const char *calibration = !(diag & kSfpDdm)      ? nullptr
                                  : (diag & kSfpInternal) ? "internal"
                                  : (diag & kSfpExternal) ? "external"
                                                          : "unspecified";
        add(d, "calibration", "Diagnostics",
            !calibration                                    ? "not implemented (A0h byte 92 bit 6 is 0)"
            : std::strcmp(calibration, "unspecified") == 0 ? "calibration not stated (A0h byte 92 bits 5-4 are 0)"
                                                            : std::string(calibration) + "ly calibrated",
            calibration ? d.json(calibration) : value::none);
        const unsigned mbd = a0[kSfpBitRate] == 0xFF ? a0[kSfpBitRateMax] * 250u : a0[kSfpBitRate] * 100u;
        add(d, "nominal_rate_mbd", "Nominal rate", std::to_string(mbd) + " MBd", d.json(mbd));
        break;
    }
    case module_family::xfp: {
        connector_code = upper(b.page00, kXfpConnector);
        lanes = 1;
        technology = "module";
        if (word(b.page00 + kXfpWavelength - 128))
            wavelength = compact(word(b.page00 + kXfpWavelength - 128) / 20.0) + " nm";
        // INF-8077i page 01h bytes 142 (km), 143 (OM3, 2 m), 144 (OM2, m), 145 (OM1, m), 146 (copper, m).
        const std::pair<const char *, unsigned> reaches[] = {{"", upper(b.page00, 142) * 1000u},
                                                             {"OM3 ", upper(b.page00, 143) * 2u},
                                                             {"OM2 ", upper(b.page00, 144)},
                                                             {"OM1 ", upper(b.page00, 145)},
                                                             {"", upper(b.page00, 146)}};
        for (const auto &[fibre, m] : reaches)
            if (m && length.empty()) length = fibre + metres(m);
        add_coded(d, "connector", "Connector", connector_code, connector_name(connector_code));
        break;
    }
    case module_family::qsfp: {
        const uint8_t *p = b.page00;
        technology = qsfp_technology(p);
        connector_code = upper(p, kQsfpConnector);
        lanes = 4;  // SFF-8636 modules have four lanes
        const uint8_t tx = upper(p, kQsfpDeviceTech) >> 4;
        if (tx < kFirstCopperTransmitter && word(p + kQsfpWavelength - 128))
            wavelength = compact(word(p + kQsfpWavelength - 128) / 20.0) + " nm";
        length = qsfp_length(p);
        add_coded(d, "connector", "Connector", connector_code, connector_name(connector_code));
        add_list(d, "compliance", "Compliance", qsfp_compliance(p));
        const bool applies = upper(p, kQsfpCompliance) & kQsfpExtendedApplies;
        const uint8_t x = upper(p, kQsfpExtendedCompliance);
        if (applies) add_coded(d, "extended_compliance", "Extended compliance", x, extended_compliance_name(x));
        else add(d, "extended_compliance", "Extended compliance", "not used (byte 131 bit 7 is 0)", {});
        add_list(d, "fc_speeds", "FC speeds", qsfp_fc_speeds(p));
        add_coded(d, "transmitter_technology", "Transmitter", tx, transmitter_technology_name(tx));
        add(d, "lanes", "Lanes", "4", d.json(4));
        // Byte 140 in 100 MBd; FFh: byte 222 in 250 MBd.
        const unsigned mbd = upper(p, kQsfpBitRate) == 0xFF ? upper(p, kQsfpBitRateMax) * 250u : upper(p, kQsfpBitRate) * 100u;
        add(d, "nominal_rate_mbd", "Nominal rate", std::to_string(mbd) + " MBd", d.json(mbd));
        break;
    }
    case module_family::cmis: {
        const uint8_t *lower = b.lower, *p = b.page00;
        const std::vector<cmis_application> applications = cmis_applications(plan);
        technology = cmis_technology(plan, applications, b, &lanes);
        connector_code = upper(p, kCmisConnector);
        const uint8_t media = lower[kCmisMediaType];
        if ((media == 0x01 || media == 0x02) && b.page01 && word(b.page01 + kCmisWavelength - 128))
            wavelength = compact(word(b.page01 + kCmisWavelength - 128) * 0.05) + " nm";
        length = cmis_length(b);
        add_coded(d, "connector", "Connector", connector_code, connector_name(connector_code));
        const uint8_t rev = lower[kCmisRevision];
        const std::string revision = strprintf("%u.%u", rev >> 4, rev & 0x0F);
        add(d, "revision", "CMIS revision", revision, d.json(revision));
        const bool flat = lower[kCmisMemoryModel] & kCmisFlatMemory;
        add(d, "memory", "Memory", flat ? "flat (lower page byte 2 bit 7)" : "paged", d.json(flat ? "flat" : "paged"));
        add_coded(d, "media_type", "Media type", media, media_type_name(media));
        const value apps = d.json_value() ? builder->array(applications.size()) : value::none;
        for (const cmis_application &a : applications) {
            const char *host = host_interface_name(a.host_interface);
            const char *medium = media_interface_name(media, a.media_interface);
            if (d.text()) {
                std::vector<std::string> starts;
                for (unsigned lane = 0; lane < 8; ++lane)
                    if ((a.host_lane_options >> lane) & 1u) starts.push_back(std::to_string(lane + 1));
                add(d, "", "Application " + std::to_string(a.apsel),
                    coded_text(a.host_interface, host) + " -> " + coded_text(a.media_interface, medium) + "; " +
                        std::to_string(a.host_lanes) + " host, " + std::to_string(a.media_lanes) +
                        " media lanes; starts on host lane " + (starts.empty() ? "-" : join(starts, ", ")),
                    {});
            } else if (d.json_value()) {
                object_writer app(*builder, 6);
                app.put("apsel", a.apsel).put("host_interface", coded_json(*builder, a.host_interface, host));
                app.put("media_interface", coded_json(*builder, a.media_interface, medium)).put("host_lanes", a.host_lanes);
                const value start_lanes = builder->array(std::popcount(a.host_lane_options));
                for (unsigned lane = 0; lane < 8; ++lane)
                    if ((a.host_lane_options >> lane) & 1u) builder->push(start_lanes, builder->make(lane + 1));
                app.put("media_lanes", a.media_lanes).put("host_lane_options", start_lanes);
                builder->push(apps, app.value);
            }
        }
        if (applications.empty()) add(d, "", "Applications", "none advertised", {});
        add(d, "applications", "", "", apps);  // JSON only
        const unsigned active = cmis_active_apsel(plan);
        add(d, "active_application", "Active application",
            active ? "ApSel " + std::to_string(active) + " on host lane 1 (page 11h byte 206)"
                   : b.page11 ? "none on host lane 1" : "not in the image (page 11h)",
            active ? d.json(active) : value::none);
        add(d, "lanes", "Lanes", std::to_string(lanes), d.json(lanes));
        const float watts = upper(p, kCmisMaxPower) * 0.25f;
        add(d, "max_power_w", "Max power",
            fixed(watts, 2) + " W, power class " + std::to_string((upper(p, kCmisPowerClass) >> 5) + 1), d.json(watts));
        break;
    }
    case module_family::unknown:
        break;
    }

    if (library) {
        form = library->form;
        technology = library->technology;
    }
    std::string connector_text;
    // No connector named for 00h (unspecified) or 23h (a cable without a
    // separable connector: the technology says it is a cable).
    if (connector_code != 0x00 && connector_code != 0x23) {
        const char *name = connector_name(connector_code);
        connector_text = std::strcmp(name, "unknown") == 0 ? "connector " + hex_code(connector_code) : short_name(name);
    }
    if (b.family == module_family::sfp && m.normal && m.normal->connector_name &&
        std::strcmp(m.normal->connector_name, "RJ45") == 0)
        connector_text = "RJ45";  // the library's reading of a BASE-T module
    std::string lane_text = b.family == module_family::cmis && lanes ? std::to_string(lanes) + " lanes" : "";
    d.summary = joined({form + " " + technology, connector_text, wavelength, length, lane_text});
    if (d.text()) d.fields.front().text = d.summary;
    if (d.json_value()) builder->replace(d.object, "summary", builder->text(d.summary));
    return d;
}

}  // namespace

// --- lookups ------------------------------------------------------------------------

const char *identifier_name(uint8_t code) {
    if (const identifier_row *row = identifier_of(code)) return row->name;
    return lookup(std::span<const code_name>(), kIdentifierRanges, code);
}
const char *connector_name(uint8_t code) { return lookup(kSff8024Table4_3, kConnectorRanges, code); }
const char *extended_compliance_name(uint8_t code) { return lookup(kSff8024Table4_4, kNoRanges, code); }
const char *host_interface_name(uint8_t code) { return lookup(kSff8024Table4_5, kHostInterfaceRanges, code); }
const char *media_type_name(uint8_t code) {
    if (const media_type_row *row = find_code(std::span<const media_type_row>(kCmisByte85MediaType), code))
        return row->name;
    return lookup(std::span<const code_name>(), kMediaTypeRanges, code);
}
const char *media_interface_name(uint8_t media_type, uint8_t code) {
    const media_type_row *row = find_code(std::span<const media_type_row>(kCmisByte85MediaType), media_type);
    if (!row || row->media_table.empty()) return "unknown";  // no media table for this media type
    return lookup(row->media_table, kMediaInterfaceRanges, code);
}
const char *transmitter_technology_name(uint8_t code) { return lookup(kSff8636Byte147Transmitter, kNoRanges, code); }

std::vector<std::string> sfp_compliance(const uint8_t *a0) { return set_bits(kSff8472Table5_3, a0, 0); }

std::vector<std::string> sfp_fc_speeds(const uint8_t *a0) {
    std::vector<std::string> names;
    for (const compliance_bit &b : kSff8472FcSpeed) {
        if (b.byte != kSfpFcSpeed && !((a0[kSfpFcSpeed] >> kSfpFcSpeed2Used) & 1u)) continue;
        if ((a0[b.byte] >> b.bit) & 1u) names.push_back(b.name);
    }
    return names;
}

std::vector<std::string> qsfp_compliance(const uint8_t *page00) {
    return set_bits(kSff8636Bytes131To137, page00, 128);
}
std::vector<std::string> qsfp_fc_speeds(const uint8_t *page00) { return set_bits(kSff8636Byte138, page00, 128); }

// --- CMIS applications ------------------------------------------------------------------

std::vector<cmis_application> cmis_applications(const uint8_t *lower, const uint8_t *page01) {
    std::vector<cmis_application> apps;
    auto walk = [&](const uint8_t *first, unsigned count, unsigned first_apsel) {
        for (unsigned i = 0; i < count; ++i) {
            const uint8_t *d = first + kCmisDescriptor * i;
            if (d[0] == kCmisListEnd) return false;
            if (d[0] == kCmisUnused) continue;
            apps.push_back({first_apsel + i, d[0], d[1], static_cast<unsigned>(d[2] >> 4),
                            static_cast<unsigned>(d[2] & 0x0F), d[3]});
        }
        return true;
    };
    if (walk(lower + kCmisApplications, kCmisLowerApplications, 1) && page01)
        walk(page01 + kCmisMoreApplications - 128, kCmisUpperApplications, kCmisLowerApplications + 1);
    return apps;
}

std::vector<cmis_application> cmis_applications(const page_plan &plan) {
    if (plan.family != module_family::cmis || !plan.lower) return {};
    // A flat-memory module has no page 01h, whatever the image holds there.
    const bool flat = plan.lower[kCmisMemoryModel] & kCmisFlatMemory;
    return cmis_applications(plan.lower, flat ? nullptr : plan.pages[1]);
}

unsigned cmis_active_apsel(const page_plan &plan) {
    if (plan.family != module_family::cmis || !plan.has(0x11)) return 0;
    return upper(plan.pages[0x11], kCmisActiveControlSet) >> 4;
}

// --- identifier substitution -------------------------------------------------------------

bool sff8472_layout(const uint8_t *a0) {
    if (std::all_of(a0, a0 + kSfpCheckBase, [](uint8_t c) { return c == 0; })) return false;
    if (get_check_code(a0, kSfpCheckBase) != a0[kSfpCheckBase]) return false;
    auto printable = [](const uint8_t *field) {
        return std::all_of(field, field + kSfpVendorFieldSize, [](uint8_t c) { return c >= 0x20 && c < 0x7F; });
    };
    return printable(a0 + kSfpVendorName) && printable(a0 + kSfpVendorPn);
}

std::unique_ptr<const substituted_pages> substitute_identifier(const page_plan &plan) {
    auto accepted = [](std::span<const uint8_t> set, uint8_t id) {
        return std::find(set.begin(), set.end(), id) != set.end();
    };
    auto s = std::make_unique<substituted_pages>();
    s->family = plan.family;
    std::copy(std::begin(plan.pages), std::end(plan.pages), std::begin(s->pages));
    switch (plan.family) {
    case module_family::cmis:
        if (!plan.lower || !plan.has(0) || !fiber_is_cmis(plan.lower) || accepted(kCmisAccepted, plan.lower[kId]))
            return nullptr;
        s->identifier = plan.lower[kId];
        s->in_place = kCmisInPlace;
        std::copy(plan.lower, plan.lower + kPage, s->lower.begin());
        std::copy(plan.pages[0], plan.pages[0] + kPage, s->page00.begin());
        s->lower[kId] = kCmisInPlace;          // lower page byte 0
        s->page00[0] = kCmisInPlace;           // page 00h byte 128
        s->pages[0] = s->page00.data();
        break;
    case module_family::sfp:
        if (!plan.lower || accepted(kSfpAccepted, plan.lower[kId]) || !sff8472_layout(plan.lower)) return nullptr;
        s->identifier = plan.lower[kId];
        s->in_place = kSfpInPlace;
        std::copy(plan.lower, plan.lower + kPage, s->lower.begin());
        s->lower[kId] = kSfpInPlace;
        // CC_BASE covers byte 0: move it by what byte 0 moved (modulo 256).
        s->lower[kSfpCheckBase] = static_cast<uint8_t>(s->lower[kSfpCheckBase] + kSfpInPlace - s->identifier);
        break;
    default:
        return nullptr;
    }
    s->lower_page = s->lower.data();
    return s;
}

std::string substitution_note(const substituted_pages &s) {
    const char *family = family_title(s.family);
    const char *operations = s.family == module_family::cmis ? "vendor, diagnostics, alarms and module state"
                                                             : "vendor, diagnostics and alarms";
    return "identifier " + hex_code(s.identifier) + " (" + identifier_name(s.identifier) + ") is not one the " +
           family + " decoders accept: " + operations + " decoded from its " + map_name(s.family) +
           " map with identifier " + hex_code(s.in_place) + " in its place; identification by the type map from its own bytes";
}

std::string substituted_identification_status(const decoded_module &m) {
    if (!m.identifier_in_place || !m.plan) return {};
    const module_bytes b = bytes_of(*m.plan);
    return std::string("not in the type map: the ") + family_title(b.family) + " identification decoder does not accept identifier " +
           hex_code(b.identifier) + " (" + (identifier_of(b.identifier) ? identifier_of(b.identifier)->form : "unknown") +
           "); the module is named under Description";
}

// --- rendering --------------------------------------------------------------------------------

std::string module_summary(const decoded_module &m) {
    return m.plan ? describe(m, rendering::summary).summary : std::string();
}

std::string description_text(const decoded_module &m) {
    if (!m.plan || m.family == module_family::unknown) return {};
    std::string out = "\nDescription\n";
    for (const field &f : describe(m, rendering::text).fields) {
        if (f.label.empty()) continue;
        out += "  ";
        append_padded(out, f.label, kLabelWidth);
        out += f.text;
        out += '\n';
    }
    return out;
}

document_builder::value description_json(const decoded_module &m, document_builder &builder) {
    if (!m.plan || m.family == module_family::unknown) return builder.null();
    return describe(m, rendering::json, &builder).object;
}

}  // namespace fdump
