#include "agent/base/ChildProcess.h"

#include "agent/base/Text.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

constexpr std::size_t kLongestProblem = 300;

void check(bool good, int error) {
    if (!good) {
        throw std::system_error(error, std::generic_category(), "a child process");
    }
}

Descriptor memoryFile(std::string_view content = "") {
    Descriptor file(memfd_create("umo-child", MFD_CLOEXEC));
    check(static_cast<bool>(file), errno);
    writeAll(file.number(), content);
    check(lseek(file.number(), 0, SEEK_SET) == 0, errno);
    return file;
}

std::string contentOf(Descriptor const &file) {
    std::string content;
    std::array<char, 65536> portion{};
    off_t at = 0;
    for (ssize_t got = 0; (got = pread(file.number(), portion.data(), portion.size(), at)) > 0;
         at += got) {
        content.append(portion.data(), static_cast<std::size_t>(got));
    }
    return content;
}

/// Programs say first what is wrong; then may follow pages of the message concerned.
std::string firstLine(std::string const &text) {
    return printable(text.substr(0, std::min(text.find('\n'), kLongestProblem)));
}

/// Signals as in a process that nobody has configured: the agent blocks and ignores some.
void resetSignals(posix_spawnattr_t &attributes) {
    sigset_t none, ignored;
    sigemptyset(&none);
    sigemptyset(&ignored);
    sigaddset(&ignored, SIGPIPE);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &ignored);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

/// Starts the command with `files` as its descriptors 0, 1, and so on.
pid_t spawn(std::vector<std::string> &command, std::vector<int> const &files) {
    std::vector<char *> words;
    words.reserve(command.size() + 1);
    for (std::string &word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    check(posix_spawn_file_actions_init(&actions) == 0, ENOMEM);
    posix_spawnattr_init(&attributes);
    int number = 0;
    for (int const file : files) {
        posix_spawn_file_actions_adddup2(&actions, file, number++);
    }
    resetSignals(attributes);
    pid_t pid = -1;
    int const error =
        posix_spawnp(&pid, words.front(), &actions, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), command.front());
    }
    return pid;
}

} // namespace

ChildProcess::ChildProcess(EventLoop &loop, std::vector<std::string> command,
                           std::string_view input, std::chrono::milliseconds patience, Done done)
    : loop_(loop),
      name_(command.front()),
      impatientAt_(std::chrono::steady_clock::now() + patience),
      done_(std::move(done)),
      output_(memoryFile()),
      errors_(memoryFile()) {
    Descriptor const in = memoryFile(input);
    int ends[2];
    check(pipe2(ends, O_CLOEXEC) == 0, errno);
    lifeline_ = Descriptor(ends[0]);
    Descriptor const held(ends[1]);
    pid_ = spawn(command, {in.number(), output_.number(), errors_.number(), held.number()});
    loop_.watch(
        lifeline_.number(), POLLIN, [this](short events) { finish(events != 0); }, patience);
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        loop_.unwatch(lifeline_.number());
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void ChildProcess::wait() {
    using std::chrono::milliseconds;
    auto const left =
        std::chrono::ceil<milliseconds>(impatientAt_ - std::chrono::steady_clock::now());
    pollfd ended{lifeline_.number(), POLLIN, 0};
    finish(poll(&ended, 1, static_cast<int>(std::max(left, milliseconds(0)).count())) > 0);
}

void ChildProcess::finish(bool ended) {
    loop_.unwatch(lifeline_.number());
    if (!ended) {
        kill(pid_, SIGKILL);
    }
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    Result result;
    if (!ended) {
        result.problem = name_ + " takes too long";
    } else if (WIFSIGNALED(status)) {
        result.problem = name_ + " ended by signal " + std::to_string(WTERMSIG(status));
    } else if (WEXITSTATUS(status) != 0) {
        std::string const words = firstLine(contentOf(errors_));
        result.problem = words.empty()
                             ? name_ + " ended with status " + std::to_string(WEXITSTATUS(status))
                             : words;
    }
    result.output = contentOf(output_);
    Done const done = std::move(done_);
    done(std::move(result));
}

} // namespace UmoAgent
