#include "agent/packet/Packet.h"

#include "agent/packet/Checksum.h"

#include <tins/dot1q.h>
#include <tins/ethernetII.h>
#include <tins/rawpdu.h>

#include <algorithm>
#include <array>

namespace UmoAgent {

namespace {

constexpr std::size_t kEthernetHeader = 14;
constexpr std::size_t kTag = 4;
constexpr std::size_t kIpHeader = 20; // without options

constexpr std::uint16_t kTypeIp = 0x0800;
constexpr std::uint16_t kTypeTag = 0x8100;
constexpr std::uint16_t kTypeIpv6 = 0x86dd;

constexpr std::uint8_t kTcp = 6;
constexpr std::uint8_t kUdp = 17;
constexpr std::size_t kTcpHeader = 20; // without options
constexpr std::size_t kUdpHeader = 8;
constexpr std::size_t kTcpChecksumAt = 16;
constexpr std::size_t kUdpChecksumAt = 6;

/// Takes the first `size` bytes from `bytes`; it must have them.
FrameView take(FrameView &bytes, std::size_t size) {
    FrameView const taken = bytes.first(size);
    bytes = bytes.subspan(size);
    return taken;
}

template <class Header>
Header headerOf(FrameView bytes) {
    return Header(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

std::size_t headerLength(FrameView packet) {
    return std::size_t{4} * (packet[0] & 0xfU);
}

/// The IPv4 header at the start of `packet`, as if it had no options: Tins does not write back all
/// options as it reads them.
Tins::IP plainHeader(FrameView packet) {
    std::array<std::uint8_t, kIpHeader> bytes{};
    std::copy_n(packet.begin(), bytes.size(), bytes.begin());
    bytes[0] = 0x45;
    return headerOf<Tins::IP>(bytes);
}

std::size_t portAt(Side side) {
    return side == Side::source ? 0 : 2;
}

Tins::HWAddress<6> hardwareAddress(Nexo::EthAddr address) {
    std::array<std::uint8_t, 6> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes.at(i) = static_cast<std::uint8_t>(address.value() >> (40 - 8 * i));
    }
    return {bytes.data()};
}

std::uint32_t hostOrder(Tins::IPv4Address address) {
    return Tins::Endian::be_to_host(static_cast<std::uint32_t>(address));
}

} // namespace

Packet::Packet(std::optional<VlanTag> const &tag, Tins::IP const &header, FrameView options,
               FrameView transport)
    : tag_(tag),
      header_(header),
      options_(options.begin(), options.end()),
      transport_(transport.begin(), transport.end()) {}

std::variant<Packet, DropReason> Packet::parse(FrameView frame) {
    if (frame.size() < kEthernetHeader) {
        return DropReason::truncated;
    }
    std::uint16_t type = headerOf<Tins::EthernetII>(take(frame, kEthernetHeader)).payload_type();
    std::optional<VlanTag> tag;
    if (type == kTypeTag) {
        if (frame.size() < kTag) {
            return DropReason::truncated;
        }
        auto const header = headerOf<Tins::Dot1Q>(take(frame, kTag));
        tag = {header.id(), header.priority(), header.cfi() != 0};
        type = header.payload_type();
    }
    if (type != kTypeIp) {
        return type == kTypeIpv6 ? DropReason::ipv6 : DropReason::notIp;
    }
    if (frame.size() < kIpHeader) {
        return DropReason::truncated;
    }
    std::size_t const length = headerLength(frame);
    if (frame[0] >> 4 != 4 || length < kIpHeader) {
        return DropReason::badHeader;
    }
    if (frame.size() < length) {
        return DropReason::truncated;
    }
    if (!ipChecksumHolds(frame.first(length))) {
        return DropReason::badHeader;
    }
    Tins::IP const header = plainHeader(frame);
    if (header.tot_len() < length) {
        return DropReason::badHeader;
    }
    if (header.tot_len() > frame.size()) {
        return DropReason::truncated;
    }
    FrameView rest = frame.first(header.tot_len());
    FrameView const options = take(rest, length).subspan(kIpHeader);
    Packet packet(tag, header, options, rest);
    std::size_t const transportHeader = header.protocol() == kUdp   ? kUdpHeader
                                        : header.protocol() == kTcp ? kTcpHeader
                                                                    : 0;
    if (!packet.isFragment() && rest.size() < transportHeader) {
        return DropReason::truncated;
    }
    return packet;
}

Nexo::IpAddr Packet::address(Side side) const {
    return Nexo::IpAddr(hostOrder(side == Side::source ? header_.src_addr() : header_.dst_addr()));
}

bool Packet::hasPorts() const {
    return header_.protocol() == kUdp || header_.protocol() == kTcp;
}

std::uint16_t Packet::port(Side side) const {
    return hasPorts() && !isLaterFragment() && holds(portAt(side) + 2) ? word(portAt(side)) : 0;
}

bool Packet::isLaterFragment() const {
    return header_.fragment_offset() != 0;
}

bool Packet::holds(std::size_t transportBytes) const {
    return transport_.size() >= transportBytes;
}

std::uint16_t Packet::word(std::size_t at) const {
    return static_cast<std::uint16_t>(transport_[at] << 8U | transport_[at + 1]);
}

void Packet::wordIs(std::size_t at, std::uint16_t value) {
    transport_[at] = static_cast<std::uint8_t>(value >> 8U);
    transport_[at + 1] = static_cast<std::uint8_t>(value);
}

bool Packet::translate(Side side, Nexo::IpAndPort const &to) {
    if (to.addr().isZero()) {
        return true;
    }
    ChecksumChange change;
    change.address(address(side), to.addr());
    Tins::IPv4Address const address(Tins::Endian::host_to_be(to.addr().value()));
    side == Side::source ? header_.src_addr(address) : header_.dst_addr(address);
    if (!hasPorts()) {
        return true;
    }
    if (to.port() != 0) {
        if (isFragment()) {
            return false;
        }
        change.word(port(side), to.port());
        wordIs(portAt(side), to.port());
    }
    if (isLaterFragment()) {
        return true; // the first one has the checksum
    }
    bool const udp = header_.protocol() == kUdp;
    std::size_t const at = udp ? kUdpChecksumAt : kTcpChecksumAt;
    if (!holds(at + 2)) {
        return false;
    }
    if (!udp) {
        wordIs(at, change.applied(word(at)));
    } else if (word(at) != 0) { // else it came without
        std::uint16_t const checksum = change.applied(word(at));
        wordIs(at, checksum == 0 ? 0xffff : checksum);
    }
    return true;
}

FrameBytes Packet::frame(Nexo::EthAddr destination, Nexo::EthAddr source,
                         std::optional<VlanTag> const &tag) const {
    Tins::EthernetII frame(hardwareAddress(destination), hardwareAddress(source));
    if (tag) {
        Tins::Dot1Q header(tag->vlan);
        header.priority(tag->priority);
        header.cfi(tag->dropEligible ? 1 : 0);
        frame /= header;
    }
    frame /= header_;
    FrameBytes rest = options_;
    rest.insert(rest.end(), transport_.begin(), transport_.end());
    frame /= Tins::RawPDU(std::move(rest));
    FrameBytes bytes = frame.serialize();
    if (!options_.empty()) { // they went as payload
        std::size_t const at = kEthernetHeader + (tag ? kTag : 0);
        std::size_t const length = kIpHeader + options_.size();
        bytes[at] = static_cast<std::uint8_t>(0x40 | length / 4);
        ipChecksumIs(std::span(bytes).subspan(at, length));
    }
    return bytes;
}

} // namespace UmoAgent
