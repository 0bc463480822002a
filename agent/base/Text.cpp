#include "agent/base/Text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace UmoAgent {

namespace {

unsigned byteOf(char c) {
    return static_cast<unsigned char>(c);
}

/// Whether the byte continues a UTF-8 character.
bool isContinuation(char c) {
    return (byteOf(c) & 0xc0U) == 0x80U;
}

/// The size of the UTF-8 character at the start of `text`; 0 if it is invalid. Overlong forms,
/// surrogates and values above U+10FFFF are invalid.
std::size_t characterLength(std::string_view text) {
    unsigned const first = byteOf(text[0]);
    std::size_t const length = first < 0x80                     ? 1
                               : first >= 0xc2 && first <= 0xdf ? 2
                               : first >= 0xe0 && first <= 0xef ? 3
                               : first >= 0xf0 && first <= 0xf4 ? 4
                                                                : 0;
    if (length <= 1) {
        return length;
    }
    std::string_view const rest = text.substr(1, length - 1);
    if (rest.size() != length - 1 || !std::all_of(rest.begin(), rest.end(), isContinuation)) {
        return 0;
    }
    unsigned const second = byteOf(rest[0]);
    bool const refused = (first == 0xe0 && second < 0xa0) || (first == 0xed && second >= 0xa0) ||
                         (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90);
    return refused ? 0 : length;
}

bool isControlCharacter(std::string_view character) {
    unsigned const first = byteOf(character[0]);
    return first < 0x20 || first == 0x7f || (first == 0xc2 && byteOf(character[1]) < 0xa0);
}

} // namespace

std::string stamp(Vyr::Time time) {
    std::array<char, 64> text{};
    double const seconds = std::chrono::duration<double>(time).count();
    std::snprintf(text.data(), text.size(), "[%9.3f s]", seconds);
    return text.data();
}

bool isControl(char c) {
    auto const byte = byteOf(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7f;
}

std::string printable(std::string_view text, std::string_view kept) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string printed;
    printed.reserve(text.size());
    for (;;) {
        auto const plain =
            static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(),
                                                      [](char c) { return c >= ' ' && c <= '~'; }) -
                                     text.begin());
        printed.append(text, 0, plain);
        text.remove_prefix(plain);
        if (text.empty()) {
            return printed;
        }
        std::size_t const length = characterLength(text);
        std::string_view const character = text.substr(0, std::max<std::size_t>(length, 1));
        if (length != 0 && (!isControlCharacter(character) || kept.find(character) != kept.npos)) {
            printed += character;
        } else {
            for (char const c : character) {
                printed.append("\\x").append(1, kDigits[byteOf(c) >> 4U]);
                printed.append(1, kDigits[byteOf(c) & 0xfU]);
            }
        }
        text.remove_prefix(character.size());
    }
}

std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

std::string counted(std::size_t count, std::string_view one, std::string_view several) {
    return std::to_string(count).append(1, ' ').append(count == 1 ? one : several);
}

std::string inQuotes(std::string_view text) {
    return '"' + printable(text) + '"';
}

std::string const &interfaceName(Nexo::IntfId intf) {
    static std::string const recirculation = "recirculation";
    return intf.empty() ? recirculation : intf.stringValue();
}

} // namespace UmoAgent
