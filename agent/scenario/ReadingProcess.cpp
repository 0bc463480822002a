#include "agent/scenario/ReadingProcess.h"

#include "agent/base/ProcessCopy.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace UmoAgent {

namespace {

/// The most bytes received before the loop continues.
constexpr std::size_t kPortion = std::size_t{1} << 20U;

} // namespace

ReadingProcess::ReadingProcess(EventLoop &loop, Patience patience)
    : loop_(loop), patience_(patience) {
    start();
}

/// A killed child ends at once, unless it hangs in a system call.
ReadingProcess::~ReadingProcess() {
    constexpr int kTries = 100;
    kill();
    reap();
    for (int tries = 0; !killed_.empty() && tries < kTries; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        reap();
    }
}

void ReadingProcess::read(std::string path, Done done) {
    requests_.push_back({std::move(path), std::move(done)});
    if (requests_.size() == 1) {
        ask();
    }
}

void ReadingProcess::start() {
    ProcessCopy copy = ProcessCopy::start("a process that reads", &answerReadRequests);
    child_ = copy.number;
    channel_ = std::move(copy.channel);
}

/// A child that hangs in a system call ends later; nobody waits for it.
void ReadingProcess::kill() {
    if (child_ > 0) {
        loop_.unwatch(channel_.number());
        channel_ = Descriptor();
        ::kill(child_, SIGKILL);
        killed_.push_back(std::exchange(child_, -1));
    }
}

void ReadingProcess::reap() {
    std::erase_if(killed_, [](pid_t child) { return waitpid(child, nullptr, WNOHANG) != 0; });
}

/// Sends the first request to the child.
void ReadingProcess::ask() {
    reap();
    answer_ = AnswerReader();
    std::string const &path = requests_.front().path;
    auto const sent = [&] {
        return child_ > 0 && send(channel_.number(), path.c_str(), path.size() + 1, MSG_NOSIGNAL) ==
                                 static_cast<ssize_t>(path.size() + 1);
    };
    try {
        if (!sent()) { // no child, or it has ended
            kill();
            start();
            if (!sent()) {
                fail("the process that reads it has ended");
                return;
            }
        }
    } catch (std::system_error const &error) {
        fail(error.what());
        return;
    }
    await(patience_.read);
}

void ReadingProcess::await(std::chrono::milliseconds patience) {
    loop_.watch(
        channel_.number(), POLLIN, [this](short events) { receive(events); }, patience);
}

void ReadingProcess::receive(short events) {
    if (events == 0) {
        fail(answer_.textIsRead() ? "it takes too long to parse" : "it takes too long");
        return;
    }
    bool const wasRead = answer_.textIsRead();
    std::optional<std::variant<Document, ScenarioFaults>> answer;
    try {
        if (!take(answer)) {
            fail("the process that reads it has ended");
            return;
        }
    } catch (std::bad_alloc const &) {
        fail("there is not enough memory");
        return;
    }
    if (answer) {
        finish(std::move(*answer));
    } else if (answer_.textIsRead() && !wasRead) {
        await(patience_.parse);
    }
}

/// Takes what has arrived, at most a portion; false if the child has ended.
bool ReadingProcess::take(std::optional<std::variant<Document, ScenarioFaults>> &answer) {
    for (std::size_t left = kPortion; left > 0 && !answer;) {
        auto const [begin, size] = answer_.room();
        ssize_t const got = recv(channel_.number(), begin, std::min(size, left), MSG_DONTWAIT);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
            return true;
        }
        if (got <= 0) {
            return false;
        }
        answer_.filled(static_cast<std::size_t>(got));
        answer = answer_.answer();
        left -= static_cast<std::size_t>(got);
    }
    return true;
}

void ReadingProcess::finish(std::variant<Document, ScenarioFaults> read) {
    if (child_ > 0) {
        loop_.unwatch(channel_.number());
    }
    Request const request = std::move(requests_.front());
    request.done(std::move(read));
    requests_.pop_front();
    if (!requests_.empty()) {
        ask();
    }
}

/// Kills the child, because anything it still sends would be taken for the next answer.
void ReadingProcess::fail(std::string const &reason) {
    kill();
    finish(ScenarioFaults{requests_.front().path + ": cannot be read: " + reason});
}

} // namespace UmoAgent
