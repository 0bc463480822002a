#pragma once

#include "agent/capture/CaptureReader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <span>
#include <string>
#include <vector>

/// Captures byte by byte, and what a reader makes of them.
namespace TestSupport {

inline std::string number(std::uint32_t value) {
    return {reinterpret_cast<char const *>(&value), sizeof value};
}
inline std::string numbers(std::initializer_list<std::uint32_t> values) {
    std::string bytes;
    for (std::uint32_t const value : values) {
        bytes += number(value);
    }
    return bytes;
}
constexpr std::uint32_t kMicro = 0xa1b2c3d4, kNano = 0xa1b23c4d, kEthernet = 1;

inline std::string pcapHeader(std::uint32_t magic, std::uint32_t linkType = kEthernet) {
    return numbers({magic, 0x00040002, 0, 0, 65535, linkType});
}
inline std::string record(std::uint32_t second, std::uint32_t fraction, std::string const &frame) {
    auto const size = static_cast<std::uint32_t>(frame.size());
    return numbers({second, fraction, size, size}) + frame;
}
/// The beginning of a pcapng section, with one Ethernet interface that stamps nanoseconds.
inline std::string pcapngHeader() {
    return numbers({0x0a0d0d0a, 28, 0x1a2b3c4d, 1, ~0U, ~0U, 28}) +
           numbers({1, 32, kEthernet, 0, 0x00010009, 9, 0, 32});
}
/// A pcapng packet of 4 bytes.
inline std::string block(std::uint64_t stamp, std::string const &frame) {
    return numbers({6, 36, 0, static_cast<std::uint32_t>(stamp >> 32U),
                    static_cast<std::uint32_t>(stamp), 4, 4}) +
           frame + number(36);
}

inline std::string textOf(std::span<std::uint8_t const> bytes) {
    return {bytes.begin(), bytes.end()};
}
/// `NANOSECONDS FRAME` for each frame; last the error, if any.
inline std::vector<std::string> read(std::string const &file) {
    std::vector<std::string> found;
    try {
        UmoAgent::CaptureReader reader(file);
        try {
            while (auto const frame = reader.next()) {
                found.push_back(std::to_string(frame->at.count()) + " " + textOf(frame->bytes));
            }
        } catch (UmoAgent::CaptureError const &error) {
            found.emplace_back(error.what());
            EXPECT_FALSE(reader.next());
        }
    } catch (UmoAgent::CaptureError const &error) {
        found.emplace_back(error.what());
    }
    return found;
}
inline std::string contentOf(std::string const &file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator(in), {}};
}

/// A folder of the test's own, removed at its end.
struct CaptureTest : testing::Test {
    ~CaptureTest() override { std::filesystem::remove_all(directory); }

    [[nodiscard]] std::string file(std::string const &name, std::string const &content) const {
        std::ofstream(directory + name) << content;
        return directory + name;
    }

    std::string directory = testing::TempDir() + "umo-capture-" + std::to_string(getpid()) + "/";
    bool made = std::filesystem::create_directory(directory);
};

} // namespace TestSupport
