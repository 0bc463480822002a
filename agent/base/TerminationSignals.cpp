#include "agent/base/TerminationSignals.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {
/// The signals that the process does not ignore: a program started with nohup outlives its
/// terminal.
sigset_t terminations(bool hangUpAlways) {
    sigset_t set;
    sigemptyset(&set);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&set, signal);
        }
    }
    if (hangUpAlways) {
        std::signal(SIGHUP, SIG_DFL); // it would not arrive
        sigaddset(&set, SIGHUP);
    }
    return set;
}

char const *nameOf(std::uint32_t signal) {
    return signal == SIGINT ? "SIGINT" : signal == SIGHUP ? "SIGHUP" : "SIGTERM";
}
} // namespace

TerminationSignals::TerminationSignals(EventLoop &loop, std::function<void()> hangUp)
    : loop_(loop), hangUp_(std::move(hangUp)) {
    sigset_t const set = terminations(hangUp_ != nullptr);
    signals_ = Descriptor(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!signals_) {
        throw std::system_error(errno, std::generic_category(), "signals");
    }
    sigprocmask(SIG_BLOCK, &set, &before_);
    loop_.watch(signals_.number(), POLLIN, [this](short) { receive(); });
}

TerminationSignals::~TerminationSignals() {
    loop_.unwatch(signals_.number());
    if (hangUp_) {
        hangUp_ = [] {}; // whoever would do it may have gone
    }
    receive();
    if (received_ == nullptr) {
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }
}

void TerminationSignals::receive() {
    signalfd_siginfo signal{};
    while (read(signals_.number(), &signal, sizeof signal) == sizeof signal) {
        if (hangUp_ && signal.ssi_signo == SIGHUP) {
            hangUp_();
            continue;
        }
        if (received_ == nullptr) {
            received_ = nameOf(signal.ssi_signo);
        }
        loop_.stop();
    }
}

} // namespace UmoAgent
