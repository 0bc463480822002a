#include "agent/console/DryRun.h"

#include "agent/base/BoundedText.h"
#include "agent/scenario/Limits.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <ostream>
#include <utility>
#include <vector>

namespace UmoAgent {

namespace {

/// Behind the text, so that a copy that died on the way is recognised.
constexpr char kEnd = '\0';

constexpr std::chrono::milliseconds kPatience{60'000}; // for the whole run

} // namespace

void DryRun::start(Work const &work, Done done) {
    copy_ = ProcessCopy::start("a copy of the agent", [&work](int channel) {
        BoundedText text(2 * Limits::kAnswerBytes); // of an answer with what follows it
        std::ostream out(&text);
        work(out);
        writeAll(channel, text.text() + kEnd);
    });
    text_.clear();
    done_ = std::move(done);
    loop_.watch(
        copy_.channel.number(), POLLIN, [this](short events) { receive(events); }, kPatience);
}

void DryRun::receive(short events) {
    if (events == 0) {
        finish("it takes too long");
        return;
    }
    std::vector<char> bytes(std::size_t{1} << 20U);
    ssize_t const got = recv(copy_.channel.number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (got > 0) {
        text_.append(bytes.data(), static_cast<std::size_t>(got));
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        bool const whole = !text_.empty() && text_.back() == kEnd;
        text_.resize(text_.size() - (whole ? 1 : 0));
        finish(whole ? "" : "the copy of the agent that tried it has died");
    }
}

void DryRun::finish(std::string const &error) {
    end();
    Done const done = std::move(done_);
    done(std::exchange(text_, {}), error);
}

/// A killed copy ends at once: it waits for nothing but the channel.
void DryRun::end() {
    if (running()) {
        loop_.unwatch(copy_.channel.number());
        kill(copy_.number, SIGKILL);
        waitpid(copy_.number, nullptr, 0);
        copy_ = {};
    }
}

} // namespace UmoAgent
