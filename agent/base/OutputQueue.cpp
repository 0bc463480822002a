#include "agent/base/OutputQueue.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>

namespace UmoAgent {

namespace {

/// The sent part of a long queue is removed when it has this many bytes.
constexpr std::size_t kSentKept = 65536;

/// A blocking write to a terminal that is ready may still wait, if it is longer than the room. So
/// the terminal is opened again without blocking, which does not affect others that share the
/// descriptor.
Descriptor openedAnew(int terminal) {
    std::string const name = "/proc/self/fd/" + std::to_string(terminal);
    return Descriptor(open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

} // namespace

OutputQueue::OutputQueue(int descriptor)
    : terminal_(isatty(descriptor) != 0 ? openedAnew(descriptor) : Descriptor()),
      descriptor_(terminal_ ? terminal_.number() : descriptor) {}

void OutputQueue::attach(EventLoop &loop, int interrupt) {
    loop_ = &loop;
    interrupt_ = interrupt;
    watchIfQueued();
}

void OutputQueue::detach() {
    if (watching_) {
        loop_->unwatch(descriptor_);
    }
    loop_ = nullptr;
    interrupt_ = -1;
    watching_ = false;
}

OutputQueue::int_type OutputQueue::overflow(int_type c) {
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        char const byte = traits_type::to_char_type(c);
        xsputn(&byte, 1);
    }
    return traits_type::not_eof(c);
}

std::streamsize OutputQueue::xsputn(char const *text, std::streamsize size) {
    std::string_view rest(text, static_cast<std::size_t>(size));
    for (std::size_t end = 0; (end = rest.find('\n')) != std::string_view::npos;) {
        line_ += rest.substr(0, end + 1);
        rest.remove_prefix(end + 1);
        lineEnds();
    }
    line_ += rest;
    return size;
}

int OutputQueue::sync() {
    send();
    return error_ == 0 ? 0 : -1;
}

void OutputQueue::finish() {
    if (!line_.empty()) {
        lineEnds();
    }
    tellDropped();
    send();
    lost_ = lost_ || queued() != 0;
    queue_.clear();
    sent_ = 0;
    watchIfQueued();
}

std::string OutputQueue::loss() const {
    if (error_ != 0) {
        return "cannot be written: " + std::generic_category().message(error_);
    }
    return lost_ ? "nobody read all of it in time" : "";
}

void OutputQueue::lineEnds() {
    if (error_ != 0) {
        line_.clear();
        return;
    }
    if (!hasRoom()) {
        send();
    }
    if (!hasRoom()) {
        ++dropped_;
        lost_ = true;
    } else {
        tellDropped();
        queue_ += line_;
        if (queued() >= PIPE_BUF) {
            send();
        }
    }
    line_.clear();
}

void OutputQueue::tellDropped() {
    if (dropped_ != 0) {
        queue_ +=
            "(" + std::to_string(dropped_) + (dropped_ == 1 ? " line" : " lines") + " dropped)\n";
        dropped_ = 0;
    }
}

/// After dropping lines, half of the queue must be free before the next line is kept. So a slow
/// reader gets long pieces with few gaps, not a gap after each line.
bool OutputQueue::hasRoom() {
    std::size_t const most = dropped_ == 0 ? kMostQueued : kMostQueued / 2;
    return queued() == 0 || queued() + line_.size() <= most;
}

/// A pipe that is ready takes PIPE_BUF bytes without a wait.
void OutputQueue::send() {
    while (queued() != 0 && descriptorTakes()) {
        std::size_t const size = std::min<std::size_t>(queued(), PIPE_BUF);
        ssize_t const written = write(descriptor_, queue_.data() + sent_, size);
        if (written >= 0) {
            sent_ += static_cast<std::size_t>(written);
        } else if (errno != EINTR && errno != EAGAIN) {
            error_ = errno;
            sent_ = queue_.size();
        }
        if (queued() == 0 || sent_ >= kSentKept) {
            queue_.erase(0, sent_);
            sent_ = 0;
        }
    }
    watchIfQueued();
}

void OutputQueue::watchIfQueued() {
    bool const wanted = loop_ != nullptr && queued() != 0;
    if (wanted && !watching_) {
        loop_->watch(descriptor_, POLLOUT, [this](short) { send(); });
    } else if (watching_ && !wanted) {
        loop_->unwatch(descriptor_);
    }
    watching_ = wanted;
}

bool OutputQueue::descriptorTakes() {
    std::array<pollfd, 2> polled{
        {{descriptor_, POLLOUT, 0}, {patience_ ? -1 : interrupt_, POLLIN, 0}}};
    int const timeout = patience_ ? static_cast<int>(patience_->count()) : -1;
    while (poll(polled.data(), polled.size(), timeout) < 0 && errno == EINTR) {
    }
    bool const takes = polled[0].revents != 0; // or has an error, which writing reports
    if (!takes) {
        patience_ = std::chrono::milliseconds(0);
    }
    return takes;
}

} // namespace UmoAgent
