#include "agent/capture/CaptureReader.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace UmoAgent;
using testing::ElementsAre;

namespace {

std::string const path = testing::TempDir() + "umo-feed-" + std::to_string(getpid()) + ".pcap";

int feed(std::string const &options) {
    return WEXITSTATUS(
        std::system(("'" UMO_FEED "' " + options + " >/dev/null 2>&1 </dev/null").c_str()));
}

std::string hex(std::span<std::uint8_t const> bytes) {
    std::string text;
    for (std::uint8_t const byte : bytes) {
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 15U];
    }
    return text;
}

} // namespace

TEST(Feed, MakesTheFramesThatItsOptionsDescribe) {
    auto const framesOf = [](std::string const &options) {
        EXPECT_EQ(feed(options + " '" + path + "'"), 0);
        CaptureReader reader(path);
        std::vector<std::string> frames;
        while (auto const frame = reader.next()) {
            frames.push_back(std::to_string(frame->at.count()) + " " + hex(frame->bytes));
        }
        std::filesystem::remove(path);
        return frames;
    };
    // Ethernet, IPv4, UDP, payload, padding.
    EXPECT_THAT(framesOf("--destination 239.129.2.3:5000 --count 2 --interval 1500us --size 4"),
                ElementsAre("0 01005e0102030200000000010800"
                            "45000020000100001011ae460a010101ef810203"
                            "0fa01388000ce026"
                            "00000001"
                            "0000000000000000000000000000",
                            "1500000 01005e0102030200000000010800"
                            "45000020000200001011ae450a010101ef810203"
                            "0fa01388000ce025"
                            "00000002"
                            "0000000000000000000000000000"));
    EXPECT_THAT(framesOf("--destination 10.0.0.9:53 --vlan 7 --ttl 1 --count 1 --size 20 "
                         "--source-mac 02:00:00:00:00:aa"),
                ElementsAre("0 0200000000020200000000aa810000070800"
                            "45000030000100000111a4b20a0101010a000009"
                            "0fa00035001cdad5"
                            "0000000100000000000000000000000000000000"));
    EXPECT_EQ(framesOf("").size(), 100U);
}

TEST(Feed, RefusesBadValuesAndReportsWhatItCannotWrite) {
    for (char const *const bad : {"--ttl 0", "--vlan 4095", "--interval 61s", "--interval 5h",
                                  "--interval -1", "--source 10.1.1.1", "--destination 10.1.1:5",
                                  "--count 0", "--size 3", "--source-mac a"}) {
        EXPECT_EQ(feed(bad + (" '" + path + "'")), 2) << bad;
        EXPECT_FALSE(std::filesystem::exists(path)) << bad;
    }
    EXPECT_EQ(feed("/dev/full"), 1);
    EXPECT_EQ(feed("--help"), 0);
}
