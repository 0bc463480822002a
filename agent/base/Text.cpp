#include "agent/base/Text.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ostream>

namespace UmoAgent {

namespace {
void printPort(std::ostream &out, std::uint16_t port) {
    if (port != 0) {
        out << " port " << port;
    }
}
} // namespace

std::string stamp(Vyr::Time time) {
    std::array<char, 64> text{};
    double const seconds = std::chrono::duration<double>(time).count();
    std::snprintf(text.data(), text.size(), "[%9.3f s]", seconds);
    return text.data();
}

bool isControl(char c) {
    auto const byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7f;
}

std::string inQuotes(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string quoted = "\"";
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (isControl(c)) {
            quoted.append("\\x").append(1, kDigits[byte >> 4U]).append(1, kDigits[byte & 0xfU]);
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

void printFlowEnd(std::ostream &out, Ip::Nat::NatFlowEnd const &end) {
    if (end.addr.isZero() && end.prefixLength == 0) {
        out << "any";
    } else {
        out << end.addr << '/' << end.prefixLength;
    }
    printPort(out, end.port);
}

void printAddress(std::ostream &out, Nexo::IpAndPort const &address) {
    out << address.addr();
    printPort(out, address.port());
}

void printInterface(std::ostream &out, Nexo::IntfId intf) {
    if (intf.empty()) {
        out << "recirculation";
    } else {
        out << intf;
    }
}

} // namespace UmoAgent
