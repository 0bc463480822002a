#include "agent/Player.h"
#include "Mox/Trace.h"
#include "agent/scenario/ScenarioReader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace {

/// Writes traces into a stream, between its other output.
struct TraceLines final : Mox::TraceSink, std::ostringstream {
    void message(std::string_view handle, int level, std::string_view text) override {
        *this << handle << '/' << level << ' ' << text << '\n';
    }
};

std::string contents(std::filesystem::path const &file) {
    return (std::ostringstream() << std::ifstream(file).rdbuf()).str();
}

/// Everything that a scenario prints, with the traces that its first line asks for and its exit
/// status; or its mistakes.
std::string transcript(std::filesystem::path const &file) {
    constexpr std::string_view kTraces = "# traces: ";
    std::string const text = contents(file);
    std::string const first = text.substr(0, text.find('\n'));
    auto const scenario = UmoAgent::readScenario(file, text);
    TraceLines out;
    if (auto const *const faults = std::get_if<UmoAgent::ScenarioFaults>(&scenario)) {
        std::copy(faults->begin(), faults->end(), std::ostream_iterator<std::string>(out, "\n"));
        return out.str();
    }
    Mox::TraceSink *const before = Mox::traceSinkIs(&out);
    auto const unknown =
        Mox::traceLevelsIs(first.starts_with(kTraces) ? first.substr(kTraces.size()) : "");
    EXPECT_THAT(unknown, testing::IsEmpty()) << file;
    auto const status = UmoAgent::play(std::get<0>(scenario), {.showCalls = true}, out, out);
    Mox::traceLevelsIs("");
    Mox::traceSinkIs(before);
    out << "exit status " << static_cast<int>(status) << '\n';
    return out.str();
}

} // namespace

TEST(Player, TellsEachScenarioAsInItsTranscript) {
    std::set<std::filesystem::path> names;
    for (auto const &entry : std::filesystem::directory_iterator("tests/scenarios")) {
        names.insert(entry.path().parent_path() / entry.path().stem());
    }
    EXPECT_FALSE(names.empty());
    for (auto const &name : names) {
        std::string const expected = name.string() + ".expected";
        std::string const came = transcript(name.string() + ".yaml");
        if (came != contents(expected)) {
            std::string const copy = testing::TempDir() + name.filename().string() + ".expected";
            std::ofstream(copy) << came;
            EXPECT_EQ(contents(expected), came)
                << "if what came is right, cp " << copy << ' ' << expected;
        }
    }
}

TEST(Player, EveryExampleRunsAlikeEachTimeAndLeavesAnEmptyChip) {
    int examples = 0;
    for (auto const &entry : std::filesystem::directory_iterator("examples")) {
        if (entry.path().extension() == ".yaml") {
            std::string const first = transcript(entry.path());
            EXPECT_THAT(first, testing::EndsWith("exit status 0\n")) << entry.path();
            EXPECT_EQ(first, transcript(entry.path()));
            ++examples;
        }
    }
    EXPECT_GT(examples, 0);
}
