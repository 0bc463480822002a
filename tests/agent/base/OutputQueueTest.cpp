#include "agent/base/OutputQueue.h"
#include "agent/base/Descriptor.h"

#include <gmock/gmock.h>

#include <fcntl.h>

#include <array>
#include <csignal>
#include <ostream>
#include <sstream>

using namespace UmoAgent;
using std::chrono::milliseconds;

namespace {

/// A queue to a pipe whose reader reads on request.
struct OutputQueueTest : testing::Test {
    OutputQueueTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        reader = Descriptor(ends[0]);
        writer = Descriptor(ends[1]);
        queue.emplace(writer.number());
        out.rdbuf(&*queue);
    }

    /// Prints the next numbers, a line of 100 bytes each.
    void print(int count) {
        for (int i = 0; i < count; ++i, ++printed) {
            std::string const number = std::to_string(printed);
            out << number << std::string(99 - number.size(), '.') << std::endl;
        }
    }
    /// Everything received so far.
    std::string read() const {
        std::string text(4'000'000, '\0');
        std::size_t size = 0;
        for (ssize_t got = 0;
             (got = ::read(reader.number(), text.data() + size, text.size() - size)) > 0;) {
            size += static_cast<std::size_t>(got);
        }
        return text.substr(0, size);
    }

    Descriptor reader, writer;
    EventLoop loop;
    std::optional<OutputQueue> queue;
    std::ostream out{nullptr};
    int printed = 0;
};

} // namespace

TEST_F(OutputQueueTest, OnTheWallClockWholeLinesAreDroppedAndCountedWhereTheyAreMissing) {
    queue->attach(loop, -1);
    queue->patienceIs(milliseconds(0));
    out << "half";
    EXPECT_EQ((out.flush(), read()), "") << "a line is written when it has ended";
    out << " and half" << std::endl;
    EXPECT_EQ(read(), "half and half\n");

    print(15'000); // the pipe takes 64 KiB, the queue 1 MiB
    loop.wallTime();
    std::string text;
    for (std::string piece = read(); !piece.empty(); piece = read()) {
        text += piece;
        loop.runUntil(loop.now() + milliseconds(1));
        if (text.size() > 900'000 && printed == 15'000) {
            print(1); // there is room again
        }
    }
    int next = 0, gaps = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        int dropped = 0;
        if (std::sscanf(line.c_str(), "(%d lines dropped)", &dropped) == 1) {
            next += dropped;
            ++gaps;
        } else {
            EXPECT_EQ(line.size(), 99U);
            EXPECT_EQ(std::stoi(line), next);
            ++next;
        }
    }
    EXPECT_EQ(next, printed);
    EXPECT_EQ(printed, 15'001);
    EXPECT_EQ(gaps, 1);
    EXPECT_GT(text.size(), std::size_t{1} << 20U);
    EXPECT_FALSE(queue->loss().empty());
}

TEST_F(OutputQueueTest, ATerminalThatNobodyReadsHoldsUpNobody) {
    Descriptor const master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(grantpt(master.number()) + unlockpt(master.number()), 0);
    Descriptor const terminal(open(ptsname(master.number()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    out.rdbuf(&queue.emplace(terminal.number()));
    queue->patienceIs(milliseconds(0));
    print(15'000);
    EXPECT_FALSE(queue->loss().empty());
    EXPECT_EQ(fcntl(terminal.number(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(OutputQueueTest, ASignalEndsTheWaitForAReaderWhoMayStillReadTheRestInTheEnd) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    Descriptor const signal(ends[0]), sender(ends[1]);
    writeAll(sender.number(), "x");
    queue->attach(loop, signal.number());
    print(2'000);
    std::string text = read();
    queue->finish(); // writes as much as fits in the pipe
    text += read();
    EXPECT_GT(text.size(), 100'000U);
    EXPECT_LT(text.size(), 200'000U);
    EXPECT_EQ(queue->loss(), "nobody read all of it in time");
    queue->detach();

    out.rdbuf(&queue.emplace(writer.number()));
    queue->patienceIs(milliseconds(20));
    print(700);
    text = read();
    EXPECT_LT(text.size(), 70'000U);
    queue->patienceIs(milliseconds(20));
    queue->finish();
    EXPECT_EQ((text += read()).size(), 70'000U);
    EXPECT_EQ(queue->loss(), "");

    std::signal(SIGPIPE, SIG_IGN);
    reader = Descriptor();
    print(1);
    EXPECT_EQ(queue->loss(), "cannot be written: Broken pipe");
    std::signal(SIGPIPE, SIG_DFL);
}
