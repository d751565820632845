// SPDX-License-Identifier: Apache-2.0
// Entry points: the calling frame shared by the five operations (pointer
// rules, page dump, working image, dispatch on the module kind) and the
// page dump itself.
#include "fiber_internal.h"

#include <cstdio>
#include <cstring>

namespace fiber {

void bits_num_display(const char *label, const uint8_t *page) {
    std::printf("\n---- + %s", label);
    std::printf("\n     | 00 01 02 03 04 05 06 07 - 08 09 0A 0B 0C 0D 0E 0F");
    std::printf("\n---- + -- -- -- -- -- -- -- -- - -- -- -- -- -- -- -- --");
    for (unsigned i = 0; i < kPageSize; ++i) {
        if (i % 16 == 0)
            std::printf("\n0x%02X |", i);
        else if (i % 8 == 0)
            std::printf(" -");
        std::printf(" %02X", page[i]);
    }
    std::printf("\n");
}

void decode_thresholds(const uint8_t *page, const threshold_layout &layout, fiber_diag_info_t *info) {
    // Each block: high alarm, low alarm, high warning, low warning.
    info->temp_high_alarm = temperature_degrees(sword(page, layout.temperature));
    info->temp_low_alarm = temperature_degrees(sword(page, layout.temperature + 2));
    info->temp_high_warning = temperature_degrees(sword(page, layout.temperature + 4));
    info->temp_low_warning = temperature_degrees(sword(page, layout.temperature + 6));
    info->voltage_high_alarm = word(page, layout.voltage);
    info->voltage_low_alarm = word(page, layout.voltage + 2);
    info->voltage_high_warning = word(page, layout.voltage + 4);
    info->voltage_low_warning = word(page, layout.voltage + 6);
    info->tx_bias_high_alarm = word(page, layout.tx_bias);
    info->tx_bias_low_alarm = word(page, layout.tx_bias + 2);
    info->tx_bias_high_warning = word(page, layout.tx_bias + 4);
    info->tx_bias_low_warning = word(page, layout.tx_bias + 6);
    info->rx_power_high_alarm = power_dbm(word(page, layout.rx_power));
    info->rx_power_low_alarm = power_dbm(word(page, layout.rx_power + 2));
    info->rx_power_high_warning = power_dbm(word(page, layout.rx_power + 4));
    info->rx_power_low_warning = power_dbm(word(page, layout.rx_power + 6));
    info->tx_power_high_alarm = power_dbm(word(page, layout.tx_power));
    info->tx_power_low_alarm = power_dbm(word(page, layout.tx_power + 2));
    info->tx_power_high_warning = power_dbm(word(page, layout.tx_power + 4));
    info->tx_power_low_warning = power_dbm(word(page, layout.tx_power + 6));
}

}  // namespace fiber

namespace {

using namespace fiber;

constexpr const char *kLowerLabel = "page00 lower  eeprom";
constexpr const char *kUpperLabel = "page00 upper  eeprom";

// Page numbers of the page set.
enum page_number : unsigned {
    PAGE_00 = 0x00,
    PAGE_01 = 0x01,
    PAGE_02 = 0x02,
    PAGE_03 = 0x03,
    PAGE_11 = 0x11,
    PAGE_12 = 0x12,
    PAGE_20 = 0x20,
    PAGE_21 = 0x21,
    PAGE_22 = 0x22,
    PAGE_23 = 0x23,
    PAGE_2C = 0x2C,
};

// The VDM pages as the alarm operation dumps and copies them (512 bytes each).
struct vdm_page {
    page_number page;
    image_slot slot;
    const char *label;
};
constexpr vdm_page kVdmPages[] = {
    {PAGE_20, SLOT_CMIS_PAGE20, "page20  eeprom"}, {PAGE_21, SLOT_CMIS_PAGE21, "page21  eeprom"},
    {PAGE_22, SLOT_CMIS_PAGE22, "page22  eeprom"}, {PAGE_23, SLOT_CMIS_PAGE23, "page23  eeprom"},
    {PAGE_2C, SLOT_CMIS_PAGE2C, "page2C  eeprom"},
};
constexpr std::size_t kVdmPageBlocks = 4;

// A null page set reads as a set of null entries.
const uint8_t *entry(const uint8_t *const *pages, unsigned n) { return pages ? pages[n] : nullptr; }

// The per-call working image; every call starts from an all-zero image.
struct image {
    fiber_eeprom_image_t data;
    image() { std::memset(&data, 0, sizeof data); }
    uint8_t *slot(image_slot s) { return data.slot[s]; }
    uint8_t *put(image_slot s, const uint8_t *page, std::size_t blocks = 1) {
        std::memcpy(data.slot[s], page, blocks * kPageSize);
        return data.slot[s];
    }
};

void dump_first_pages(uint8_t dump, const uint8_t *lower_page, const uint8_t *page00) {
    if (!dump) return;
    if (lower_page) bits_num_display(kLowerLabel, lower_page);
    if (page00) bits_num_display(kUpperLabel, page00);
}

void dump_page(uint8_t dump, const char *label, const uint8_t *page) {
    if (dump) bits_num_display(label, page);
}

template <class Record>
void clear(Record *info) {
    std::memset(info, 0, sizeof *info);
}

}  // namespace

extern "C" {

void fiber_decode_normal(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages,
                         fiber_normal_info_t *info, uint8_t dump) {
    if (!lower_page || !info) return;
    const uint8_t *page00 = entry(pages, PAGE_00);
    dump_first_pages(dump, lower_page, page00);
    image img;
    clear(info);
    switch (kind) {
    case FIBER_KIND_SFP:
        fiber_decode_sfp_normal(img.put(SLOT_ID, lower_page), info);
        break;
    case FIBER_KIND_XFP:
        fiber_decode_xfp_normal(img.put(SLOT_ID, lower_page), info);
        break;
    case FIBER_KIND_QSFP:
        if (page00) img.put(SLOT_ID, page00);
        fiber_decode_qsfp_normal(img.slot(SLOT_ID), img.put(SLOT_STATUS, lower_page), info);
        break;
    case FIBER_KIND_CMIS: {
        img.put(SLOT_STATUS, lower_page);
        const uint8_t *page01 = entry(pages, PAGE_01);
        if (!page00 || !page01) return;
        dump_page(dump, "page01  eeprom", page01);
        img.put(SLOT_ID, page00);
        img.put(SLOT_CMIS_PAGE01, page01);
        const uint8_t *page12 = entry(pages, PAGE_12);
        fiber_decode_cmis_normal(img.slot(SLOT_ID), img.slot(SLOT_STATUS), img.slot(SLOT_CMIS_PAGE01),
                                 page12 ? img.put(SLOT_CMIS_PAGE12, page12) : nullptr, info);
        break;
    }
    default:
        info->unsupported = 1;
        break;
    }
}

void fiber_decode_vendor(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages,
                         fiber_vendor_info_t *info, uint8_t dump) {
    if (!info) return;
    const uint8_t *page00 = entry(pages, PAGE_00);
    dump_first_pages(dump, lower_page, page00);
    image img;
    clear(info);
    switch (kind) {
    case FIBER_KIND_SFP:
        if (lower_page) fiber_decode_sfp_vendor(img.put(SLOT_ID, lower_page), info);
        break;
    case FIBER_KIND_XFP:
        if (lower_page) fiber_decode_xfp_vendor(img.put(SLOT_ID, lower_page), info);
        break;
    case FIBER_KIND_QSFP:
        if (page00) fiber_decode_qsfp_vendor(img.put(SLOT_ID, page00), info);
        break;
    case FIBER_KIND_CMIS: {
        if (!page00) return;
        img.put(SLOT_ID, page00);
        const uint8_t *page01 = entry(pages, PAGE_01);
        if (lower_page && page01)
            fiber_decode_cmis_vendor(img.slot(SLOT_ID), img.put(SLOT_STATUS, lower_page),
                                     img.put(SLOT_CMIS_PAGE01, page01), info);
        else
            fiber_decode_cmis_vendor(img.slot(SLOT_ID), nullptr, nullptr, info);
        break;
    }
    default:
        info->unsupported = 1;
        break;
    }
}

void fiber_decode_diag(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages,
                       fiber_diag_info_t *info, uint8_t dump) {
    const uint8_t *page00 = entry(pages, PAGE_00);
    if (!lower_page || !page00 || !info) return;
    dump_first_pages(dump, lower_page, page00);
    image img;
    clear(info);
    switch (kind) {
    case FIBER_KIND_SFP: {
        const uint8_t *a0 = img.put(SLOT_ID, lower_page);
        const uint8_t *a2 = img.put(SLOT_STATUS, page00);
        const uint8_t monitoring_type = byte(a0, 92);  // SFF-8472 A0h byte 92
        if (monitoring_type == 0) {
            info->unsupported = 1;
            return;
        }
        // bit 5 internally calibrated, bit 4 externally calibrated
        fiber_decode_sfp_diag(a0, a2, monitoring_type & 0x30, info);
        break;
    }
    case FIBER_KIND_XFP:
        fiber_decode_xfp_diag(img.put(SLOT_ID, lower_page), img.put(SLOT_STATUS, page00), info);
        break;
    case FIBER_KIND_QSFP: {
        img.put(SLOT_ID, page00);
        img.put(SLOT_STATUS, lower_page);
        const uint8_t *page03 = entry(pages, PAGE_03);
        if (page03) {
            dump_page(dump, "page03  eeprom", page03);
            img.put(SLOT_QSFP_PAGE03, page03);
        }
        fiber_decode_qsfp_diag(img.slot(SLOT_ID), img.slot(SLOT_STATUS),
                               page03 ? img.slot(SLOT_QSFP_PAGE03) : nullptr, info);
        break;
    }
    case FIBER_KIND_CMIS: {
        img.put(SLOT_ID, page00);
        img.put(SLOT_STATUS, lower_page);
        const uint8_t *page01 = entry(pages, PAGE_01);
        const uint8_t *page11 = entry(pages, PAGE_11);
        if (!page01 || !page11) return;
        dump_page(dump, "page01  eeprom", page01);
        dump_page(dump, "page11  eeprom", page11);
        img.put(SLOT_CMIS_PAGE01, page01);
        img.put(SLOT_CMIS_PAGE11, page11);
        const uint8_t *page02 = entry(pages, PAGE_02);
        if (page02) {
            dump_page(dump, "page02  eeprom", page02);
            img.put(SLOT_CMIS_PAGE02, page02);
        }
        const uint8_t *page12 = entry(pages, PAGE_12);
        if (page12) img.put(SLOT_CMIS_PAGE12, page12);
        fiber_decode_cmis_diag(img.slot(SLOT_ID), img.slot(SLOT_STATUS), img.slot(SLOT_CMIS_PAGE01),
                               page02 ? img.slot(SLOT_CMIS_PAGE02) : nullptr, img.slot(SLOT_CMIS_PAGE11),
                               page12 ? img.slot(SLOT_CMIS_PAGE12) : nullptr, info);
        break;
    }
    default:
        info->unsupported = 1;
        break;
    }
}

void fiber_decode_alarm(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages,
                        fiber_alarm_info_t *info, uint8_t dump) {
    if (!lower_page) return;
    const uint8_t *page00 = entry(pages, PAGE_00);
    if (!page00 || !info) return;
    dump_first_pages(dump, lower_page, page00);
    image img;
    clear(info);
    switch (kind) {
    case FIBER_KIND_SFP: {
        const uint8_t *a0 = img.put(SLOT_ID, lower_page);
        if (byte(a0, 92) == 0) {  // SFF-8472 A0h byte 92: no diagnostics, nothing to report
            info->unsupported = 1;
            return;
        }
        fiber_decode_sfp_alarm(a0, img.put(SLOT_STATUS, page00), info);
        break;
    }
    case FIBER_KIND_XFP:
        fiber_decode_xfp_alarm(img.put(SLOT_ID, lower_page), img.put(SLOT_STATUS, page00), info);
        break;
    case FIBER_KIND_QSFP:
        fiber_decode_qsfp_alarm(img.put(SLOT_ID, page00), img.put(SLOT_STATUS, lower_page), info);
        break;
    case FIBER_KIND_CMIS: {
        img.put(SLOT_ID, page00);
        img.put(SLOT_STATUS, lower_page);
        const uint8_t *page01 = entry(pages, PAGE_01);
        const uint8_t *page11 = entry(pages, PAGE_11);
        if (!page01 || !page11) return;
        dump_page(dump, "page01  eeprom", page01);
        dump_page(dump, "page11  eeprom", page11);
        img.put(SLOT_CMIS_PAGE01, page01);
        img.put(SLOT_CMIS_PAGE11, page11);
        const uint8_t *page12 = entry(pages, PAGE_12);
        bool vdm_complete = true;
        for (const vdm_page &v : kVdmPages) vdm_complete = vdm_complete && entry(pages, v.page);
        const uint8_t *vdm = nullptr;
        const uint8_t *page2c = nullptr;
        if (vdm_complete) {
            for (const vdm_page &v : kVdmPages) {
                dump_page(dump, v.label, entry(pages, v.page));
                img.put(v.slot, entry(pages, v.page), kVdmPageBlocks);
            }
            vdm = img.slot(SLOT_CMIS_PAGE20);
            page2c = img.slot(SLOT_CMIS_PAGE2C);
            if (page12) dump_page(dump, "page12  eeprom", page12);
        }
        if (page12) img.put(SLOT_CMIS_PAGE12, page12);
        fiber_decode_cmis_alarm(img.slot(SLOT_ID), img.slot(SLOT_STATUS), img.slot(SLOT_CMIS_PAGE01),
                                img.slot(SLOT_CMIS_PAGE11), page12 ? img.slot(SLOT_CMIS_PAGE12) : nullptr, vdm,
                                page2c, info);
        break;
    }
    default:
        info->unsupported = 1;
        break;
    }
}

void fiber_decode_coremgmt(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages,
                           fiber_coremgmt_info_t *info, uint8_t dump) {
    if (!lower_page) return;
    const uint8_t *page11 = entry(pages, PAGE_11);
    if (!page11 || !info) return;
    if (kind != FIBER_KIND_CMIS) {
        info->unsupported = 1;  // the rest of the record stays as the caller left it
        return;
    }
    dump_page(dump, kLowerLabel, lower_page);
    dump_page(dump, "page11  eeprom", page11);
    image img;
    clear(info);
    cmis_decode_coremgmt(img.put(SLOT_STATUS, lower_page), img.put(SLOT_CMIS_PAGE11, page11), info);
}

}  // extern "C"
