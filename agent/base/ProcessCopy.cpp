#include "agent/base/ProcessCopy.h"

#include <sys/prctl.h>
#include <sys/socket.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

/// Closes every descriptor of the agent except the channel. So nobody who waits for the end of the
/// agent's output or connections has to wait for the child.
[[noreturn]] void beChild(int channel, std::function<void(int channel)> const &work) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) { // the agent handles these
        std::signal(signal, SIG_IGN);
    }
    int const moved = dup2(channel, STDERR_FILENO + 1);
    close_range(STDERR_FILENO + 2, ~0U, 0);
    int const nowhere = open("/dev/null", O_RDWR);
    for (int const standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nowhere, standard);
    }
    try {
        work(moved);
    } catch (std::exception const &) {
        // The agent has closed the channel, or learns by its end that the work is not done.
    }
    _exit(0);
}

} // namespace

ProcessCopy ProcessCopy::start(char const *purpose, std::function<void(int channel)> const &work) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), purpose);
    }
    Descriptor mine(ends[0]);
    Descriptor const childs(ends[1]);
    pid_t const child = fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), purpose);
    }
    if (child == 0) {
        beChild(childs.number(), work);
    }
    return {child, std::move(mine)};
}

} // namespace UmoAgent
