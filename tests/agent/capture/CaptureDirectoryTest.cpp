#include "agent/capture/CaptureDirectory.h"
#include "tests/support/CaptureFiles.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

using namespace UmoAgent;
using namespace TestSupport;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

struct CaptureDirectoryTest : CaptureTest {
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (auto const &entry : std::filesystem::directory_iterator(directory)) {
            found.push_back(entry.path().filename());
        }
        return found;
    }
    static void write(CaptureDirectory &captures, char const *interface, Vyr::Time at,
                      std::string const &frame) {
        captures.write(Nexo::IntfId(interface), at,
                       {reinterpret_cast<std::uint8_t const *>(frame.data()), frame.size()});
    }
};

} // namespace

TEST_F(CaptureDirectoryTest, EachInterfaceThatSendsHasACapture) {
    std::string const folder = directory + "new/folder/";
    CaptureDirectory captures(folder, {}, {});
    write(captures, "Et1/2", seconds(3), "one");
    write(captures, "Port-Channel4", seconds(4), std::string(262'144, 'x'));
    write(captures, "Ethernet1/2", seconds(3) + nanoseconds(1), "two");
    write(captures, "Ethernet1/2", seconds(9), "three");
    captures.finish();
    EXPECT_THAT(captures.takeErrors(), ElementsAre());
    EXPECT_EQ(contentOf(folder + "Ethernet1_2.pcap"),
              numbers({kNano, 0x00040002, 0, 0, 262'144, kEthernet}) + record(3, 0, "one") +
                  record(3, 1, "two") + record(9, 0, "three"));
    EXPECT_THAT(read(folder + "Port-Channel4.pcap"), ElementsAre("0 " + std::string(262'144, 'x')));
}

TEST_F(CaptureDirectoryTest, OnlyCapturesOfAnEarlierRunAreRemoved) {
    for (char const *const name :
         {"Ethernet1.pcap", "Ethernet1_2.pcap", "Vlan7.pcap", ".eth_1.pcap"}) {
        EXPECT_FALSE(file(name, "earlier").empty());
    }
    for (char const *const name : {"Et1.pcap", "Ethernet0.pcap", "Ethernet1.pcapng", "feed.pcap",
                                   "Ethernet2", ".pcap", "eth_1.pcap"}) {
        EXPECT_FALSE(file(name, "the user's").empty());
    }
    std::filesystem::create_directory(directory + "Ethernet3.pcap");
    CaptureDirectory captures(directory, {}, {Nexo::IntfId(".eth_1"), Nexo::IntfId("Et3")});
    auto const kept =
        UnorderedElementsAre("Et1.pcap", "Ethernet0.pcap", "Ethernet1.pcapng", "feed.pcap",
                             "Ethernet2", ".pcap", "Ethernet3.pcap", "eth_1.pcap");
    EXPECT_THAT(names(), kept);
    write(captures, "Ethernet3", seconds(0), "one");
    EXPECT_THAT(captures.takeErrors(),
                ElementsAre(directory + "Ethernet3.pcap: cannot be written: Is a directory"));
    EXPECT_THAT(names(), kept);
}

TEST_F(CaptureDirectoryTest, AnInputIsNeverOverwritten) {
    std::string const earlier = file("Ethernet1.pcap", "earlier"), input = file("in", "the user's");
    std::string const link = directory + "Ethernet2.pcap";
    auto const refused = [&](std::string const &name) {
        try {
            CaptureDirectory const captures(directory, {directory + "none", name}, {});
        } catch (CaptureError const &error) {
            EXPECT_EQ(error.what(), link + ": it would be overwritten, and is the input " + name);
            return contentOf(input) == "the user's" && contentOf(earlier) == "earlier";
        }
        return false;
    };
    std::filesystem::create_symlink("in", link);
    EXPECT_TRUE(refused(input));
    std::filesystem::rename(input, link);
    std::filesystem::create_symlink("Ethernet2.pcap", input);
    EXPECT_TRUE(refused(directory + "./Ethernet2.pcap"));
    EXPECT_TRUE(refused(input));
}

TEST_F(CaptureDirectoryTest, WhatCannotBeWrittenIsReported) {
    std::string const full = directory + "Ethernet1.pcap", used = file("used", "");
    std::filesystem::create_symlink("/dev/full", full);
    ASSERT_EQ(mkfifo((directory + "Ethernet4.pcap").c_str(), 0600), 0);
    for (std::string const &frame : {std::string("one"), std::string(100'000, 'x')}) {
        CaptureDirectory captures(directory, {}, {});
        write(captures, "Ethernet2", seconds(0), "one");
        write(captures, "Ethernet1", seconds(0), frame);
        write(captures, "Ethernet1", seconds(1), "more");
        write(captures, "Ethernet2", seconds(1), "two");
        write(captures, "Ethernet4", seconds(1), "nobody reads it");
        captures.finish();
        EXPECT_THAT(captures.takeErrors(),
                    UnorderedElementsAre(full + ": cannot be written: No space left on device",
                                         directory + "Ethernet4.pcap: cannot be written: it is a "
                                                     "pipe, which could make the switch wait"));
        EXPECT_THAT(read(directory + "Ethernet2.pcap"), ElementsAre("0 one", "1000000000 two"));
    }
    try {
        CaptureDirectory const captures(used, {}, {});
        FAIL() << "a file is no folder";
    } catch (CaptureError const &error) {
        EXPECT_EQ(std::string(error.what()), used + ": cannot be written: Not a directory");
    }
}
