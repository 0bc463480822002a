#include "agent/scenario/ReadingProcess.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <sys/wait.h>

using namespace UmoAgent;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// The child processes of this process that it has not reaped.
std::vector<pid_t> children() {
    std::vector<pid_t> found;
    for (auto const &task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream in(task.path() / "children");
        for (pid_t child = 0; in >> child;) {
            found.push_back(child);
        }
    }
    return found;
}

struct ReadingProcessTest : testing::Test {
    ReadingProcessTest() {
        loop.wallTime();
        reading.emplace(loop, ReadingProcess::Patience{milliseconds(1000), milliseconds(300)});
    }
    ~ReadingProcessTest() override { std::filesystem::remove_all(directory); }

    std::string file(std::string const &name, std::string const &text) const {
        std::ofstream(directory + name) << text;
        return directory + name;
    }
    void ask(std::string const &path) {
        reading->read(path, [this](std::variant<Document, ScenarioFaults> const &read) {
            auto const *const faults = std::get_if<ScenarioFaults>(&read);
            said.push_back(faults != nullptr ? faults->at(0) : std::get<Document>(read).texts);
        });
    }
    /// Runs the loop until that much is said, but at most for a minute.
    std::vector<std::string> answers(std::size_t count) {
        for (int wait = 0; said.size() < count && wait < 6000; ++wait) {
            loop.runUntil(loop.now() + milliseconds(10));
        }
        return std::exchange(said, {});
    }
    std::string read(std::string const &path) {
        ask(path);
        return testing::PrintToString(answers(1));
    }
    [[nodiscard]] pid_t child() const {
        auto const all = children();
        EXPECT_FALSE(all.empty());
        return all.empty() ? 0 : all.back();
    }
    void endChild() const {
        siginfo_t ended{};
        EXPECT_EQ(kill(child(), SIGKILL), 0);
        EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child()), &ended, WEXITED | WNOWAIT), 0);
    }

    std::string directory = testing::TempDir() + "umo-reading-" + std::to_string(getpid()) + "/";
    bool made = std::filesystem::create_directory(directory);
    EventLoop loop;
    std::vector<std::string> said;
    std::optional<ReadingProcess> reading;
};

} // namespace

TEST_F(ReadingProcessTest, AnswersInOrderAndSaysWhatCannotBeReadWithoutWaitingForIt) {
    std::string const pipe = directory + "pipe", large = file("large", "");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::resize_file(large, (std::size_t{64} << 20U) + 1);
    std::vector<std::string> const paths{
        file("a", "one"), directory, pipe,  "/dev/zero",     "/proc/self/mem",
        directory + "no", "",        large, file("b", "[x"), file("c", "[two, {3: x}]")};
    for (std::string const &path : paths) {
        ask(path);
    }
    std::string const irregular = ": cannot be read: expected a regular file";
    EXPECT_THAT(answers(paths.size()),
                ElementsAre("one", directory + irregular, pipe + irregular, "/dev/zero" + irregular,
                            "/proc/self/mem: cannot be read: Input/output error",
                            paths[5] + ": cannot be read: No such file or directory",
                            ": cannot be read: No such file or directory",
                            large + ": cannot be read: it has more than 67108864 bytes",
                            HasSubstr("b:1:1: malformed YAML"), "two3x"));
}

TEST_F(ReadingProcessTest, AChildThatTakesTooLongOrHasEndedIsReplaced) {
    std::string const small = file("small", "one"), slow = file("slow", [] {
                                                        std::string text = "[";
                                                        for (int i = 0; i < 1'500'000; ++i) {
                                                            text += "a,";
                                                        }
                                                        return text + "a]";
                                                    }());
    pid_t const first = child();
    EXPECT_THAT(read(slow), HasSubstr("slow: cannot be read: it takes too long to parse\""));
    EXPECT_THAT(read(small), HasSubstr("\"one\""));
    pid_t const second = child();
    EXPECT_NE(second, first);

    kill(second, SIGSTOP); // like a child on a file that stalls
    EXPECT_THAT(read(small), HasSubstr("small: cannot be read: it takes too long\""));
    EXPECT_THAT(read(small), HasSubstr("\"one\""));

    endChild(); // between two files
    EXPECT_THAT(read(small), HasSubstr("\"one\""));
    kill(child(), SIGSTOP);
    ask(small);
    ask(small);
    endChild(); // during a file
    EXPECT_THAT(answers(2), ElementsAre(HasSubstr("the process that reads it has ended"), "one"));
    EXPECT_THAT(read(small), HasSubstr("\"one\""));
    EXPECT_THAT(children(), testing::SizeIs(1)); // replaced children are reaped
}

TEST_F(ReadingProcessTest, NothingOfItRunsOnWhenItGoesEvenInTheMidstOfAFile) {
    auto const descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    auto const open = descriptors();
    kill(child(), SIGSTOP);
    ask(file("a", "one"));
    reading.reset();
    EXPECT_EQ(descriptors(), open - 1);
    EXPECT_THAT(children(), testing::IsEmpty());
    loop.runUntil(loop.now() + milliseconds(2)); // nobody waits for the answer any more
    EXPECT_THAT(said, testing::IsEmpty());
}
