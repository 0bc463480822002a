#include "agent/capture/CaptureReader.h"
#include "agent/capture/CaptureFeed.h"
#include "tests/support/CaptureFiles.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

using namespace UmoAgent;
using namespace TestSupport;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::StartsWith;

using CaptureReaderTest = CaptureTest;

TEST_F(CaptureReaderTest, TimesAreSinceTheFirstFrameInEachFormat) {
    auto const frames = ElementsAre("0 one", "1000 two", "2000000000 three");
    EXPECT_THAT(read(file("micro", pcapHeader(kMicro) + record(100, 999'999, "one") +
                                       record(101, 0, "two") + record(102, 999'999, "three"))),
                frames);
    EXPECT_THAT(read(file("nano", pcapHeader(kNano) + record(100, 999'999'999, "one") +
                                      record(101, 999, "two") + record(102, 999'999'999, "three"))),
                frames);
    constexpr std::uint64_t kStart = 1'700'000'000'999'999'999;
    EXPECT_THAT(
        read(file("ng", pcapngHeader() + block(kStart, "1st ") + block(kStart + 1, "next"))),
        ElementsAre("0 1st ", "1 next"));
}

TEST_F(CaptureReaderTest, TimesNeverGoBackNorOverflow) {
    EXPECT_THAT(
        read(file("back", pcapHeader(kNano) + record(100, 0, "a") + record(100, 50, "b") +
                              record(99, 0, "c") + record(100, 40, "d") + record(100, 60, "e"))),
        ElementsAre("0 a", "50 b", "50 c", "50 d", "60 e"));
    EXPECT_THAT(read(file("2038", pcapHeader(kNano) + record(0x7fffffff, 0, "a") +
                                      record(0x80000000, 0, "b"))),
                ElementsAre("0 a", "1000000000 b"));
    constexpr std::uint64_t kFar = ~std::uint64_t{0};
    EXPECT_THAT(read(file("far", pcapngHeader() + block(0, "now ") + block(kFar, "far ") +
                                     block(0, "back"))),
                ElementsAre("0 now ", "3153600000000000000 far ", "3153600000000000000 back"));
}

TEST_F(CaptureReaderTest, ADamagedCaptureGivesTheFramesBeforeTheDamage) {
    std::string const good = pcapHeader(kNano) + record(1, 0, "one") + record(1, 1, "two");
    for (std::string const &damage : {std::string("cut"), numbers({1, 2, 500'000, 500'000})}) {
        std::string const cut = file("cut.pcap", good + damage);
        EXPECT_THAT(read(cut),
                    ElementsAre("0 one", "1 two", StartsWith(cut + ": frame 3 cannot be read: ")));
    }
    std::string const ng = pcapngHeader() + block(1, "1st ") + block(2, "2nd ");
    std::string const cut = file("cut.pcapng", ng.substr(0, ng.size() - 10));
    EXPECT_THAT(read(cut), ElementsAre("0 1st ", StartsWith(cut + ": frame 2 cannot be read: ")));
}

TEST_F(CaptureReaderTest, WhatIsNoEthernetCaptureIsRefused) {
    std::string const empty = file("empty", ""), text = file("text", "this is no capture, is it?");
    std::string const cooked = file("cooked", pcapHeader(kNano, 113) + record(1, 0, "one"));
    std::string const missing = directory + "missing";
    EXPECT_THAT(read(empty), ElementsAre(empty + ": it is no capture: it is empty"));
    EXPECT_THAT(read(text), ElementsAre(text + ": it is no capture: unknown file format"));
    EXPECT_THAT(read(cooked),
                ElementsAre(cooked + ": its link type is LINUX_SLL, expected is Ethernet"));
    EXPECT_THAT(read(missing),
                ElementsAre(missing + ": cannot be read: No such file or directory"));
    std::string const pipe = directory + "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (std::string const &other : {directory, pipe, std::string("/dev/zero")}) {
        EXPECT_THAT(read(other), ElementsAre(other + ": cannot be read: it is no regular file"));
    }
    EXPECT_THAT(read("-"), ElementsAre("-: cannot be read: No such file or directory"));
}

TEST_F(CaptureReaderTest, AFeedMergesItsCapturesByTimeAndThenInTheirOrder) {
    std::string const a = file("a", pcapHeader(kNano) + record(7, 0, "a1") + record(7, 5, "a2") +
                                        record(7, 5, "a3") + record(7, 9, "a4"));
    std::string const b = file("b", pcapHeader(kNano) + record(1, 0, "b1") + record(1, 5, "b2"));
    std::string const cut =
        file("c", pcapHeader(kNano) + record(1, 0, "c1") + record(1, 7, "c2") + "c");
    std::string const none = file("none", pcapHeader(kNano));
    Nexo::IntfId const et1("Ethernet1"), et2("Ethernet2"), et3("Ethernet3");
    CaptureFeed feed({{et3, cut}, {et2, b}, {et1, a}, {et1, none}}, seconds(2));
    std::vector<std::string> arrivals;
    while (auto const at = feed.nextAt()) {
        auto const arrival = feed.take();
        EXPECT_EQ(arrival.at, *at);
        arrivals.push_back(std::to_string((*at - seconds(2)).count()) + " " +
                           arrival.interface.shortName() + " " + textOf(arrival.bytes));
    }
    EXPECT_THAT(arrivals, ElementsAre("0 Et3 c1", "0 Et2 b1", "0 Et1 a1", "5 Et2 b2", "5 Et1 a2",
                                      "5 Et1 a3", "7 Et3 c2", "9 Et1 a4"));
    EXPECT_THAT(feed.takeErrors(), ElementsAre(StartsWith(cut + ": frame 3 cannot be read: ")));
    EXPECT_THAT(feed.takeErrors(), ElementsAre());
    EXPECT_THROW(CaptureFeed({{et1, a}, {et2, directory}}, seconds(0)), CaptureError);
}
