#include "tests/support/ChildProcess.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace TestSupport {

namespace {

[[noreturn]] void become(ChildProcess::Arguments const &command,
                         ChildProcess::Environment const &environment, int output, int error,
                         int parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) { // it died before
        _exit(127);
    }
    dup2(output, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
    for (auto const &[name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    char const *const path = std::getenv("PATH");
    setenv("PATH", (std::string(path != nullptr ? path : "/bin") + ":/usr/sbin:/usr/bin").c_str(),
           1);
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    std::transform(command.begin(), command.end(), std::back_inserter(arguments),
                   [](std::string const &text) { return const_cast<char *>(text.c_str()); });
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    perror(arguments[0]);
    _exit(127);
}

int started(ChildProcess::Arguments const &command, ChildProcess::Environment const &environment,
            int output, int error) {
    int const parent = getpid();
    int const id = fork();
    if (id == 0) {
        become(command, environment, output, error, parent);
    }
    if (id < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    return id;
}

std::string contentOf(int file) {
    std::string text;
    std::array<char, 65536> piece{};
    for (ssize_t size = 0;
         (size = pread(file, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(size));
    }
    return text;
}

} // namespace

ChildProcess::ChildProcess(Arguments const &command, Environment const &environment, int output,
                           int error)
    : id_(started(command, environment, output, error)),
      end_(static_cast<int>(syscall(SYS_pidfd_open, id_, 0))) {}

ChildProcess::~ChildProcess() {
    if (!ended_) {
        kill(id_, SIGKILL);
        waitpid(id_, &status_, 0);
    }
}

bool ChildProcess::endsWithin(std::chrono::milliseconds time) {
    pollfd end{end_.number(), POLLIN, 0};
    if (!ended_ && poll(&end, 1, static_cast<int>(time.count())) == 1) {
        ended_ = waitpid(id_, &status_, 0) == id_;
    }
    return ended_;
}

std::string outputOf(ChildProcess::Arguments const &command,
                     ChildProcess::Environment const &environment) {
    UmoAgent::Descriptor const output(memfd_create("output", MFD_CLOEXEC));
    UmoAgent::Descriptor const error(memfd_create("error", MFD_CLOEXEC));
    ChildProcess tool(command, environment, output.number(), error.number());
    bool const ended = tool.endsWithin(std::chrono::seconds(12));
    if (!ended || tool.status() != 0) {
        std::string said;
        for (std::string const &argument : command) {
            said.append(argument).append(" ");
        }
        throw std::runtime_error(said + (ended ? "failed: " : "does not end: ") +
                                 contentOf(error.number()));
    }
    return contentOf(output.number());
}

} // namespace TestSupport
