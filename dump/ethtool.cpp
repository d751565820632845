// SPDX-License-Identifier: Apache-2.0
// Module reads through a network interface: the SIOCETHTOOL ioctl and the
// ethtool generic-netlink module-EEPROM request, and their assembly into the
// flat image layout.
#include "ethtool.h"

#include <libmnl/libmnl.h>
#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace fdump::ethtool {

namespace {

// SFF-8472 A0h byte 92 (diagnostic monitoring type), bit 6: digital
// diagnostics implemented, so A2h answers; bit 2: an address change
// sequence is needed first, which the kernel does not perform.
constexpr std::size_t kSfpDiagType = 92;
constexpr uint8_t kSfpDiagImplemented = 0x40;
constexpr uint8_t kSfpAddressChange = 0x04;
// SFF-8636 lower page byte 2 (status), bit 2: Flat_mem, upper page 00h only.
constexpr std::size_t kQsfpStatus = 2;
constexpr uint8_t kQsfpFlatMemory = 0x04;
// SFF-8636 page 00h byte 195 (options): bit 6 page 01h provided, bit 7 page
// 02h provided. Page 03h (thresholds) is part of every paged memory.
constexpr std::size_t kQsfpOptions = 195;
constexpr uint8_t kQsfpPage01 = 0x40;
constexpr uint8_t kQsfpPage02 = 0x80;
// CMIS lower page byte 2 bit 7: flat memory (no pages beyond 00h). Paged
// memory always has pages 01h, 02h, 10h and 11h; the library reads 01h, 02h
// and 11h of bank 0.
constexpr std::size_t kCmisCharacteristics = 2;
constexpr uint8_t kCmisFlatMemory = 0x80;
constexpr uint8_t kCmisPages[] = {0x01, 0x02, 0x11};

constexpr std::size_t kSfpA2 = 256;  // A2h in the SFF-8472 raw image
constexpr uint32_t kHalfPage = 128;

// The ioctl's module types and their image lengths (linux/ethtool.h).
struct ioctl_type {
    uint32_t type;
    uint32_t lengths[2];
    const char *standard;
};
constexpr ioctl_type kIoctlTypes[] = {
    {ETH_MODULE_SFF_8079, {ETH_MODULE_SFF_8079_LEN, 0}, "SFF-8079"},
    {ETH_MODULE_SFF_8472, {ETH_MODULE_SFF_8472_LEN, 0}, "SFF-8472"},
    {ETH_MODULE_SFF_8636, {ETH_MODULE_SFF_8636_LEN, ETH_MODULE_SFF_8636_MAX_LEN}, "SFF-8636"},
    {ETH_MODULE_SFF_8436, {ETH_MODULE_SFF_8436_LEN, ETH_MODULE_SFF_8436_MAX_LEN}, "SFF-8436"},
};

std::string hex_byte(unsigned value) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "%02Xh", value);
    return buf;
}

std::string request_name(module_family family, const page_request &request) {
    if (family == module_family::sfp) return request.address == kAddressA2 ? "A2h" : "A0h";
    if (request.page == 0 && request.offset < kHalfPage) return "the lower page";
    return "page " + hex_byte(request.page);
}

// Walks the netlink messages of `buffer` for `sequence`: the payload of
// attribute `wanted` of a generic-netlink reply, or an NLMSG_ERROR.
netlink_reply parse_genl(std::span<const uint8_t> buffer, uint32_t sequence, uint16_t wanted) {
    netlink_reply reply;
    int left = static_cast<int>(std::min<std::size_t>(buffer.size(), INT32_MAX));
    const auto *nlh = reinterpret_cast<const nlmsghdr *>(buffer.data());
    for (; mnl_nlmsg_ok(nlh, left); nlh = mnl_nlmsg_next(nlh, &left)) {
        if (nlh->nlmsg_seq != sequence) continue;
        if (nlh->nlmsg_type == NLMSG_DONE) {
            reply.complete = true;
            return reply;
        }
        if (nlh->nlmsg_type == NLMSG_ERROR) {
            reply.complete = true;
            if (mnl_nlmsg_get_payload_len(nlh) < sizeof(nlmsgerr)) {
                reply.error = EBADMSG;
                return reply;
            }
            const auto *err = static_cast<const nlmsgerr *>(mnl_nlmsg_get_payload(nlh));
            reply.error = -err->error;
            if (!(nlh->nlmsg_flags & NLM_F_ACK_TLVS)) return reply;
            // The extended-ack attributes follow the echoed request, of
            // which only the header is echoed when the ack is capped.
            std::size_t skip = sizeof(nlmsgerr);
            if (!(nlh->nlmsg_flags & NLM_F_CAPPED)) skip += err->msg.nlmsg_len - sizeof(nlmsghdr);
            std::size_t payload = mnl_nlmsg_get_payload_len(nlh);
            if (skip > payload) return reply;
            std::size_t start = std::min<std::size_t>(MNL_ALIGN(skip), payload);
            const auto *attr = reinterpret_cast<const nlattr *>(
                static_cast<const uint8_t *>(mnl_nlmsg_get_payload(nlh)) + start);
            int attr_left = static_cast<int>(payload - start);
            while (mnl_attr_ok(attr, attr_left)) {
                if (mnl_attr_get_type(attr) == NLMSGERR_ATTR_MSG && mnl_attr_get_payload_len(attr) > 0) {
                    const char *text = static_cast<const char *>(mnl_attr_get_payload(attr));
                    reply.message.assign(text, strnlen(text, mnl_attr_get_payload_len(attr)));
                }
                attr_left -= static_cast<int>(MNL_ALIGN(attr->nla_len));
                attr = mnl_attr_next(attr);
            }
            return reply;
        }
        if (nlh->nlmsg_type < NLMSG_MIN_TYPE) continue;
        reply.complete = true;
        const auto *attr = static_cast<const nlattr *>(mnl_nlmsg_get_payload_offset(nlh, sizeof(genlmsghdr)));
        const auto *tail = static_cast<const char *>(mnl_nlmsg_get_payload_tail(nlh));
        for (; mnl_attr_ok(attr, static_cast<int>(tail - reinterpret_cast<const char *>(attr)));
             attr = mnl_attr_next(attr)) {
            if (mnl_attr_get_type(attr) != wanted) continue;
            const auto *data = static_cast<const uint8_t *>(mnl_attr_get_payload(attr));
            reply.data.assign(data, data + mnl_attr_get_payload_len(attr));
        }
        return reply;
    }
    return reply;
}

// One generic-netlink socket bound to the "ethtool" family.
class ethtool_netlink {
public:
    ethtool_netlink() = default;
    ethtool_netlink(const ethtool_netlink &) = delete;
    ethtool_netlink &operator=(const ethtool_netlink &) = delete;
    ~ethtool_netlink() {
        if (socket_) mnl_socket_close(socket_);
    }

    // 0, or the errno why netlink cannot be used (ENOENT: the kernel has no
    // ethtool family).
    int open() {
        socket_ = mnl_socket_open2(NETLINK_GENERIC, SOCK_CLOEXEC);
        if (!socket_) return errno;
        if (mnl_socket_bind(socket_, 0, MNL_SOCKET_AUTOPID) < 0) return errno;
        int one = 1;
        mnl_socket_setsockopt(socket_, NETLINK_EXT_ACK, &one, sizeof one);
        mnl_socket_setsockopt(socket_, NETLINK_CAP_ACK, &one, sizeof one);
        // The kernel answers at once; this only guards against a reply that
        // never comes.
        timeval limit{5, 0};
        setsockopt(mnl_socket_get_fd(socket_), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);

        std::vector<uint8_t> request(MNL_SOCKET_BUFFER_SIZE);
        nlmsghdr *nlh = mnl_nlmsg_put_header(request.data());
        nlh->nlmsg_type = GENL_ID_CTRL;
        nlh->nlmsg_flags = NLM_F_REQUEST;
        nlh->nlmsg_seq = ++sequence_;
        auto *genl = static_cast<genlmsghdr *>(mnl_nlmsg_put_extra_header(nlh, sizeof(genlmsghdr)));
        genl->cmd = CTRL_CMD_GETFAMILY;
        genl->version = 1;
        mnl_attr_put_strz(nlh, CTRL_ATTR_FAMILY_NAME, ETHTOOL_GENL_NAME);
        request.resize(nlh->nlmsg_len);
        netlink_reply reply = transact(request, sequence_, CTRL_ATTR_FAMILY_ID);
        if (reply.error) return reply.error;
        if (reply.data.size() < sizeof(uint16_t)) return ENOENT;
        std::memcpy(&family_, reply.data.data(), sizeof family_);
        return 0;
    }

    netlink_reply read(const std::string &iface, const page_request &request) {
        ++sequence_;
        return transact(eeprom_request(family_, sequence_, iface, request), sequence_,
                        ETHTOOL_A_MODULE_EEPROM_DATA);
    }

private:
    netlink_reply transact(const std::vector<uint8_t> &request, uint32_t sequence, uint16_t wanted) {
        netlink_reply reply;
        if (mnl_socket_sendto(socket_, request.data(), request.size()) < 0) {
            reply.error = errno;
            return reply;
        }
        std::vector<uint8_t> buffer(MNL_SOCKET_BUFFER_SIZE);
        // Messages of earlier, abandoned requests are skipped by sequence.
        for (int attempt = 0; attempt < 16; ++attempt) {
            ssize_t got = mnl_socket_recvfrom(socket_, buffer.data(), buffer.size());
            if (got < 0) {
                reply.error = errno == EAGAIN || errno == EWOULDBLOCK ? ETIMEDOUT : errno;
                return reply;
            }
            reply = parse_genl(std::span(buffer.data(), static_cast<std::size_t>(got)), sequence, wanted);
            if (reply.complete) return reply;
        }
        reply.error = EBADMSG;
        return reply;
    }

    mnl_socket *socket_ = nullptr;
    uint16_t family_ = 0;
    uint32_t sequence_ = 0;
};

struct fd_closer {
    void operator()(const int *fd) const {
        if (*fd >= 0) close(*fd);
        delete fd;
    }
};

// The SIOCETHTOOL ioctl on any socket; 0 or an errno.
int ethtool_ioctl(int fd, const std::string &iface, void *command) {
    ifreq request{};
    std::memcpy(request.ifr_name, iface.data(), std::min(iface.size(), sizeof request.ifr_name - 1));
    request.ifr_data = static_cast<char *>(command);
    return ioctl(fd, SIOCETHTOOL, &request) < 0 ? errno : 0;
}

std::string with_kernel_text(std::string text, const netlink_reply &reply) {
    if (!reply.message.empty()) text += " (kernel: " + reply.message + ")";
    return text;
}

// Reads `requests` through netlink into `image`; a page that cannot be read
// is named in the image's notes.
void read_pages(ethtool_netlink &netlink, const std::string &iface, module_family family,
                const std::vector<page_request> &requests, live_image &image) {
    for (const page_request &request : requests) {
        netlink_reply reply = netlink.read(iface, request);
        if (!reply.error && reply.data.size() != request.length) reply.error = EBADMSG;
        if (reply.error) {
            image.notes.push_back(
                with_kernel_text(request_name(family, request) + " not read: " + std::strerror(reply.error), reply));
            continue;
        }
        image.place(flat_offset(family, request), reply.data);
    }
}

}  // namespace

void live_image::place(std::size_t offset, std::span<const uint8_t> data) {
    if (bytes.size() < offset + data.size()) bytes.resize((offset + data.size() + kPage - 1) / kPage * kPage, 0);
    std::copy(data.begin(), data.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    have.resize(bytes.size() / kPage, false);
    for (std::size_t block = offset / kPage; (block + 1) * kPage <= offset + data.size(); ++block)
        if (block * kPage >= offset) have[block] = true;
}

std::size_t flat_offset(module_family family, const page_request &request) {
    if (family == module_family::sfp) {
        // SFF-8472: A2h follows A0h; its upper page N lies at 384 + 128 N.
        if (request.address == kAddressA2) return kSfpA2 + kPage * request.page + request.offset;
        return request.offset;
    }
    // Upper page N (bytes 128-255 when page N is selected) lies at 128 (N + 1).
    return kPage * request.page + request.offset;
}

std::vector<page_request> upper_requests(module_family family, const live_image &image) {
    std::vector<page_request> requests;
    auto byte = [&](std::size_t offset) -> uint8_t { return offset < image.bytes.size() ? image.bytes[offset] : 0; };
    auto upper = [&](uint8_t page) {
        if (!image.has_block(page + 1u)) requests.push_back({page, 0, kAddressA0, kHalfPage, kHalfPage});
    };
    switch (family) {
    case module_family::sfp:
        if (!image.has_block(0) || (byte(kSfpDiagType) & (kSfpDiagImplemented | kSfpAddressChange)) != kSfpDiagImplemented)
            break;
        if (!image.has_block(kSfpA2 / kPage)) requests.push_back({0, 0, kAddressA2, 0, kHalfPage});
        if (!image.has_block(kSfpA2 / kPage + 1)) requests.push_back({0, 0, kAddressA2, kHalfPage, kHalfPage});
        break;
    case module_family::qsfp:
        if (!image.has_block(0) || !image.has_block(1) || (byte(kQsfpStatus) & kQsfpFlatMemory)) break;
        if (byte(kQsfpOptions) & kQsfpPage01) upper(0x01);
        if (byte(kQsfpOptions) & kQsfpPage02) upper(0x02);
        upper(0x03);
        break;
    case module_family::cmis:
        if (!image.has_block(0) || !image.has_block(1) || (byte(kCmisCharacteristics) & kCmisFlatMemory)) break;
        for (uint8_t page : kCmisPages) upper(page);
        break;
    case module_family::xfp:
    case module_family::unknown:
        break;
    }
    return requests;
}

outcome<live_image> ioctl_image(uint32_t type, uint32_t eeprom_len, std::span<const uint8_t> data) {
    using result = outcome<live_image>;
    if (eeprom_len == 0) return result::fail("no module: the driver reports an empty module EEPROM");
    if (eeprom_len > kMaxImage || eeprom_len % kPage != 0)
        return result::fail("the driver reports a module EEPROM of " + std::to_string(eeprom_len) +
                            " bytes, not a module image");
    if (data.size() < eeprom_len)
        return result::fail("the driver returned " + std::to_string(data.size()) + " of " +
                            std::to_string(eeprom_len) + " module EEPROM bytes");
    live_image image;
    image.place(0, data.first(eeprom_len));
    for (const ioctl_type &known : kIoctlTypes)
        if (known.type == type && eeprom_len != known.lengths[0] && eeprom_len != known.lengths[1])
            image.notes.push_back(std::string("the driver reports an ") + known.standard + " module EEPROM of " +
                                  std::to_string(eeprom_len) + " bytes");
    return result::ok(std::move(image));
}

outcome<decoded_module> decode_live(const live_image &image, const std::string &name, const decode_options &options) {
    using result = outcome<decoded_module>;
    std::size_t run = 0;  // blocks read without a gap from byte 0
    while (image.has_block(run)) ++run;
    bool gaps = std::any_of(image.have.begin() + static_cast<std::ptrdiff_t>(run), image.have.end(),
                            [](bool read) { return read; });
    std::span<const uint8_t> prefix(image.bytes.data(), run * kPage);
    module_family family = options.kind ? *options.kind
                           : run ? detect_family(std::vector<uint8_t>(prefix.begin(), prefix.end()))
                                 : module_family::unknown;
    outcome<decoded_module> decoded;
    if (!gaps || (family != module_family::qsfp && family != module_family::cmis)) {
        if (run == 0) return result::fail("no module memory could be read");
        decoded = decode_bytes(prefix, name, decode_options{input_format::raw, options.kind});
    } else {
        // Pages read with gaps between them (upper pages beyond the ioctl's
        // image): hand each page read to the dump layer, the rest as absent.
        // The padding lets the 512-byte CMIS entries be read in full.
        std::vector<uint8_t> storage = image.bytes;
        storage.resize(storage.size() + 4 * kPage, 0);
        fiber_pages_t pages{};
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
            if (image.has_block(n + 1)) pages[n] = storage.data() + kPage * (n + 1);
        decoded = decode_pages(family, image.has_block(0) ? storage.data() : nullptr, pages, name);
        if (decoded) decoded.value->family_forced = options.kind.has_value();
    }
    if (decoded)
        decoded.value->notes.insert(decoded.value->notes.end(), image.notes.begin(), image.notes.end());
    return decoded;
}

std::vector<uint8_t> eeprom_request(uint16_t family, uint32_t sequence, const std::string &iface,
                                    const page_request &request) {
    std::vector<uint8_t> buffer(MNL_SOCKET_BUFFER_SIZE);
    nlmsghdr *nlh = mnl_nlmsg_put_header(buffer.data());
    nlh->nlmsg_type = family;
    nlh->nlmsg_flags = NLM_F_REQUEST;
    nlh->nlmsg_seq = sequence;
    auto *genl = static_cast<genlmsghdr *>(mnl_nlmsg_put_extra_header(nlh, sizeof(genlmsghdr)));
    genl->cmd = ETHTOOL_MSG_MODULE_EEPROM_GET;
    genl->version = ETHTOOL_GENL_VERSION;
    nlattr *header = mnl_attr_nest_start(nlh, ETHTOOL_A_MODULE_EEPROM_HEADER);
    mnl_attr_put_strz(nlh, ETHTOOL_A_HEADER_DEV_NAME, iface.substr(0, IFNAMSIZ - 1).c_str());
    mnl_attr_nest_end(nlh, header);
    mnl_attr_put_u32(nlh, ETHTOOL_A_MODULE_EEPROM_OFFSET, request.offset);
    mnl_attr_put_u32(nlh, ETHTOOL_A_MODULE_EEPROM_LENGTH, request.length);
    mnl_attr_put_u8(nlh, ETHTOOL_A_MODULE_EEPROM_PAGE, request.page);
    mnl_attr_put_u8(nlh, ETHTOOL_A_MODULE_EEPROM_BANK, request.bank);
    mnl_attr_put_u8(nlh, ETHTOOL_A_MODULE_EEPROM_I2C_ADDRESS, request.address);
    buffer.resize(nlh->nlmsg_len);
    return buffer;
}

netlink_reply parse_eeprom_reply(std::span<const uint8_t> buffer, uint32_t sequence) {
    return parse_genl(buffer, sequence, ETHTOOL_A_MODULE_EEPROM_DATA);
}

std::string read_error_text(int error) {
    switch (error) {
    case EPERM:
    case EACCES:
        return "permission denied: reading a module's EEPROM needs CAP_NET_ADMIN";
    case EOPNOTSUPP:
    case ENOTTY:
        return "the driver gives no access to plug-in module EEPROM (" + std::string(std::strerror(error)) + ")";
    case ETIMEDOUT:
        return "the kernel did not answer the module read";
    default:
        return "no module, or the module does not answer (" + std::string(std::strerror(error)) + ")";
    }
}

outcome<live_image> read_interface(const std::string &iface) {
    using result = outcome<live_image>;
    const bool plain_name = !iface.empty() && iface.size() < IFNAMSIZ &&
                            iface.find_first_of("/ \t\n:") == std::string::npos;
    if (!plain_name || if_nametoindex(iface.c_str()) == 0) return result::fail("no such network interface");

    std::unique_ptr<int, fd_closer> fd(new int(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)));
    if (*fd < 0) *fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (*fd < 0) return result::fail(std::string("cannot open a socket for the ethtool ioctl: ") + std::strerror(errno));

    ethtool_modinfo info{};
    info.cmd = ETHTOOL_GMODULEINFO;
    int error = ethtool_ioctl(*fd, iface, &info);
    // The interface exists (checked above): a driver's ENODEV here means no
    // module in the cage.
    if (error && error != EOPNOTSUPP) return result::fail(read_error_text(error));

    ethtool_netlink netlink;
    if (!error) {
        // The ioctl's image: the raw layout.
        if (info.eeprom_len == 0 || info.eeprom_len > kMaxImage)
            return ioctl_image(info.type, info.eeprom_len, {});
        std::vector<uint8_t> buffer(sizeof(ethtool_eeprom) + info.eeprom_len);
        auto *eeprom = reinterpret_cast<ethtool_eeprom *>(buffer.data());
        eeprom->cmd = ETHTOOL_GMODULEEEPROM;
        eeprom->offset = 0;
        eeprom->len = info.eeprom_len;
        if (int read_error = ethtool_ioctl(*fd, iface, eeprom)) return result::fail(read_error_text(read_error));
        auto image = ioctl_image(info.type, info.eeprom_len,
                                 std::span(buffer.data() + sizeof(ethtool_eeprom), std::min(eeprom->len, info.eeprom_len)));
        if (!image) return image;
        module_family family = detect_family(image.value->bytes);
        auto requests = upper_requests(family, *image.value);
        if (requests.empty()) return image;
        if (int open_error = netlink.open()) {
            image.value->notes.push_back(std::string("upper pages beyond the first ") +
                                         std::to_string(info.eeprom_len) +
                                         " bytes not read: no ethtool netlink access (" +
                                         std::strerror(open_error) + ")");
            return image;
        }
        read_pages(netlink, iface, family, requests, *image.value);
        return image;
    }

    // The driver serves no ioctl module read: netlink alone, for drivers
    // that only read module memory by page.
    if (netlink.open() != 0) return result::fail(read_error_text(EOPNOTSUPP));
    live_image image;
    for (uint32_t offset : {0u, kHalfPage}) {
        page_request request{0, 0, kAddressA0, offset, kHalfPage};
        netlink_reply reply = netlink.read(iface, request);
        if (!reply.error && reply.data.size() != kHalfPage) reply.error = EBADMSG;
        if (reply.error) return result::fail(with_kernel_text(read_error_text(reply.error), reply));
        image.place(offset, reply.data);
    }
    module_family family = detect_family(image.bytes);
    read_pages(netlink, iface, family, upper_requests(family, image), image);
    return result::ok(std::move(image));
}

}  // namespace fdump::ethtool
