#include "tests/support/TraceRecorder.h"

#include "Mox/Trace.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace Mox;

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
    char const *const cases[][3] = {
        {"Match/0", "Match", "0"},        {"Match/2", "MatchStatus", ""},
        {"Ma*/1-3", "Match", "123"},      {"Match*/1-3", "Mat", ""},
        {"*/0-9", "Match", "0123456789"}, {"Ma*/1-2,Other/5,Match/9", "Match", "129"},
        {"Ma/tch/4", "Ma/tch", "4"},
    };
    for (auto const &[setting, name, levels] : cases) {
        TraceHandle const present(name);
        TraceRecorder const recorder(setting);
        TraceHandle const future(name);
        EXPECT_EQ(levelsOf(present), levels) << setting;
        EXPECT_EQ(levelsOf(future), levels) << setting;
    }
}

TEST(Trace, MalformedSettingIsQuotedAndChangesNothing) {
    TraceRecorder const recorder("Match/4");
    TraceHandle const handle("Match");
    for (std::string const piece :
         {"Match", "/1", "Match/", "Match/10", "Match/4294967297", "Match/x", "Match/1x",
          "Match/-1", "Match/1-", "Match/3-1", "Match/1-10", "Match/1-2-3", "Match/1 ", " Match/1",
          "Ma*ch/1", "**/1", ""}) {
        for (std::string const behind : {",Other/1", ""}) {
            EXPECT_THAT([&] { traceLevelsIs("Match/9," + piece + behind); },
                        testing::ThrowsMessage<std::invalid_argument>(
                            testing::HasSubstr('"' + piece + '"')));
            EXPECT_EQ(levelsOf(handle), "4") << piece;
        }
    }
}

struct Counted {
    int &printed;
    friend auto &operator<<(std::ostream &out, Counted const &c) { return out << ++c.printed; }
};

TEST(Trace, FormatsItsArgumentsOnlyWhenTheLevelIsOn) {
    TraceHandle const handle("Match");
    int printed = 0;
    TraceRecorder const recorder("Match/1-2");
    handle.at(1, "match: ", "m1", ", ", Counted{printed}, ", ", true);
    handle.at(3, Counted{printed});
    handle.at(0, Counted{printed});
    handle.at(2, "");
    EXPECT_EQ(recorder.messages,
              (std::vector<std::string>{"Match/1 match: m1, 1, true", "Match/2 "}));
    EXPECT_EQ(printed, 1);
}

} // namespace
