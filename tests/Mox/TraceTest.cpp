#include "tests/support/TraceRecorder.h"

#include "Mox/LogEvent.h"
#include "Mox/Trace.h"

#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Mox {
namespace {

using TestSupport::TraceRecorder;

std::string levelsOf(TraceHandle const &handle) {
    std::string levels;
    for (int level = 0; level <= TraceHandle::kMaxLevel; ++level) {
        levels += handle.on(level) ? std::to_string(level) : "";
    }
    return levels;
}

TEST(Trace, SettingSwitchesLevelsOfNamedHandlesBothPresentAndFuture) {
    struct {
        char const *setting;
        char const *handle;
        char const *levels;
    } const cases[] = {
        {"", "TestMatch", ""},
        {"TestMatch/2", "TestMatch", "2"},
        {"TestMatch/0", "TestMatch", "0"},
        {"TestMatch/1-3", "TestMatch", "123"},
        {"TestMatch/9-9", "TestMatch", "9"},
        {"TestMatch/2", "TestMatchStatus", ""},
        {"Test*/1-3", "TestMatch", "123"},
        {"Test*/1-3", "Tes", ""},
        {"TestMatch*/5", "TestMatch", "5"},
        {"*/0-9", "TestMatch", "0123456789"},
        {"Test*/1-2,Other/5,TestMatch/9", "TestMatch", "129"},
        {"Test/Match/4", "Test/Match", "4"},
    };
    for (auto const &[setting, name, levels] : cases) {
        TraceHandle const present(name);
        TraceRecorder const recorder(setting);
        TraceHandle const future(name);
        EXPECT_EQ(levelsOf(present), levels) << setting;
        EXPECT_EQ(levelsOf(future), levels) << setting;
    }
    EXPECT_EQ(levelsOf(TraceHandle("TestMatch")), "") << "the recorder's levels outlived it";
}

TEST(Trace, MalformedSettingIsQuotedAndChangesNothing) {
    TraceRecorder const recorder("TestMatch/4");
    TraceHandle const handle("TestMatch");
    for (std::string const piece :
         {"TestMatch", "/1", "TestMatch/", "TestMatch/10", "TestMatch/4294967297", "TestMatch/x",
          "TestMatch/1x", "TestMatch/-1", "TestMatch/1-", "TestMatch/3-1", "TestMatch/1-10",
          "TestMatch/1-2-3", "TestMatch/1 ", "Te*st/1", "**/1", ""}) {
        try {
            traceLevelsIs("TestMatch/9," + piece + ",Other/1");
            ADD_FAILURE() << piece << " passed";
        } catch (std::invalid_argument const &error) {
            EXPECT_NE(std::string(error.what()).find('"' + piece + '"'), std::string::npos)
                << error.what();
        }
        EXPECT_EQ(levelsOf(handle), "4") << piece;
    }
}

struct Counted {
    int &printed;
    friend std::ostream &operator<<(std::ostream &out, Counted const &counted) {
        return out << "print " << ++counted.printed;
    }
};

TEST(Trace, FormatsItsArgumentsOnlyWhenTheLevelIsOn) {
    TraceRecorder const recorder("Test*/1-2");
    TraceHandle const handle("TestMatch");
    int printed = 0;
    handle.at(1, "match: ", "m1", ", ", Counted{printed}, ", ", true);
    handle.at(3, Counted{printed});
    handle.at(0, Counted{printed});
    TraceHandle("Other").at(1, Counted{printed});
    handle.at(2, "");
    EXPECT_EQ(recorder.messages,
              (std::vector<std::string>{"TestMatch/1 match: m1, print 1, true", "TestMatch/2 "}));
    EXPECT_EQ(printed, 1);
}

TEST(Trace, WritesToStandardErrorWithoutASink) {
    TraceHandle const handle("TestMatch");
    traceLevelsIs("TestMatch/1");
    testing::internal::CaptureStderr();
    handle.at(1, "one ", 1);
    traceLevelsIs("");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "TestMatch/1 one 1\n");
}

TEST(Trace, ListsTheNamesOfTheHandlesThatExist) {
    auto const before = traceHandleNames();
    {
        TraceHandle const last("zzz~"), first("!first");
        auto const names = traceHandleNames();
        ASSERT_EQ(names.size(), before.size() + 2);
        EXPECT_EQ(names.front(), "!first");
        EXPECT_EQ(names.back(), "zzz~");
    }
    EXPECT_EQ(traceHandleNames(), before);
}

TEST(LogHandle, IsInTheCatalogueWhileItLives) {
    auto const before = logHandles();
    {
        LogEvent const event{
            "TEST_EVENT", 4, "%s has no group", "A test.", NoActionRequired, Seconds{}, 1.0, 0, 0};
        LogHandle const first(event), second(event);
        auto expected = before;
        expected.insert(expected.end(), {&first, &second});
        EXPECT_EQ(logHandles(), expected);
        EXPECT_STREQ(logHandles().back()->event().message, "%s has no group");
    }
    EXPECT_EQ(logHandles(), before);
}

} // namespace
} // namespace Mox
