#include "agent/console/CommandServer.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

using namespace UmoAgent;

namespace {

/// More than the system buffers for a client that does not read.
std::string const kMuch(std::size_t{1} << 20U, 'x');

/// A server that answers each line with the line in brackets, and `much` with a large answer; and
/// clients that never block.
struct CommandServerTest : testing::Test {
    CommandServerTest() { std::filesystem::create_directory(folder); }
    ~CommandServerTest() override { std::filesystem::remove_all(folder); }

    void serve(std::chrono::milliseconds patience = CommandServer::kPatience) {
        auto const answer = [](std::uint32_t socket, std::string const &line,
                               CommandServer::Done const &done) {
            writeAll(static_cast<int>(socket), line == "much" ? kMuch : "[" + line + "]");
            done(true);
        };
        server = std::make_unique<CommandServer>(loop, path, answer, patience);
    }
    /// Runs the server until it has to wait.
    void turn() {
        for (int i = 0; i < 200; ++i) {
            loop.runUntil(loop.now());
        }
    }
    Descriptor client(std::string const &text) const {
        Descriptor connected = connectTo(path);
        writeAll(connected.number(), text);
        return connected;
    }
    /// What was received so far, with `~` if the connection ended, `!` if it broke off.
    static std::string received(Descriptor const &client) {
        std::string text;
        char bytes[65536];
        ssize_t got = 0;
        while ((got = recv(client.number(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0) {
            text.append(bytes, static_cast<std::size_t>(got));
        }
        return text + (got == 0 ? "~" : errno == ECONNRESET ? "!" : "");
    }
    std::string answer(std::string const &text) {
        Descriptor const asking = client(text);
        turn();
        return received(asking);
    }

    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("umo-server-" + std::to_string(getpid()));
    std::string path = folder / "socket";
    EventLoop loop;
    std::unique_ptr<CommandServer> server;
};

} // namespace

TEST_F(CommandServerTest, AnswersOneLineOfBoundedLengthAndCloses) {
    serve();
    EXPECT_EQ(answer("a b \n"), "[a b ]~");
    EXPECT_EQ(answer("a\r\n\nignored\n"), "[a]~");
    EXPECT_EQ(answer("\n"), "[]~");
    std::string const longest(4096, 'x');
    EXPECT_EQ(answer(longest + "\r\n"), "[" + longest + "]~");
    EXPECT_EQ(answer(longest + "y\n"), "% a line of more than 4096 bytes\n~");
    EXPECT_EQ(answer(longest + "yy"), "% a line of more than 4096 bytes\n~");

    Descriptor const halves = client("first ");
    turn();
    Descriptor const cutOff = client("apply /half/of/a/na");
    shutdown(cutOff.number(), SHUT_WR);
    EXPECT_EQ(answer("between\n"), "[between]~");
    writeAll(halves.number(), "second\n");
    turn();
    EXPECT_EQ(received(halves), "[first second]~");
    EXPECT_EQ(received(cutOff), "~") << "half of a command is no command";
}

TEST_F(CommandServerTest, ClientsThatAreSilentSlowOrGoneHoldUpNobody) {
    serve();
    std::vector<Descriptor> silent;
    for (std::size_t i = 0; i < CommandServer::kMaxClients - 1; ++i) {
        silent.push_back(client(""));
    }
    client("gone\n"); // before it is answered
    {
        Descriptor const half = client("much\n");
        turn();
        EXPECT_EQ(recv(half.number(), std::string(100, ' ').data(), 100, 0), 100);
    }
    EXPECT_EQ(answer("a\n"), "[a]~");
    silent.push_back(client(""));
    turn();
    Descriptor const waiting = client("b\n");
    turn();
    EXPECT_EQ(received(waiting), "") << "as many clients as there may be";
    silent.pop_back();
    turn();
    EXPECT_EQ(received(waiting), "[b]~");
}

TEST_F(CommandServerTest, LosesPatienceWithWhoSendsNoLineOrTakesNoAnswer) {
    serve(std::chrono::milliseconds(0));
    Descriptor const silent = client("no end");
    turn();
    EXPECT_EQ(received(silent), "~");

    server.reset();
    serve(std::chrono::milliseconds(20));
    Descriptor const slow = client("much\n\n");
    loop.wallTime();
    loop.runUntil(loop.now() + std::chrono::milliseconds(60));
    std::string const part = received(slow);
    EXPECT_GT(part.size(), 1U);
    EXPECT_LT(part.size(), kMuch.size());
    EXPECT_EQ(part.back(), '!') << "it cannot take the part for the whole";
}

TEST_F(CommandServerTest, SocketIsItsOwnersAndReplacesOnlyWhatNobodyAnswers) {
    auto const refused = [](std::string const &where, char const *why) {
        EXPECT_THAT([&] { ListeningSocket{where}; },
                    testing::ThrowsMessage<SocketError>(testing::HasSubstr(why)));
    };
    {
        ListeningSocket const crashed(path);
        std::filesystem::create_hard_link(path, path + ".left");
    }
    std::filesystem::rename(path + ".left", path); // a socket file left by an earlier run
    serve();
    struct stat file {};
    EXPECT_EQ(stat(path.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777U, 0600U);
    refused(path, "another agent is answering there");
    EXPECT_EQ(answer("still here\n"), "[still here]~");
    server.reset();
    EXPECT_FALSE(std::filesystem::exists(path));

    std::ofstream(path) << "a file";
    refused(path, "there is another file of that name");
    EXPECT_TRUE(std::filesystem::exists(path));
    refused(std::string(108, 'x'), "a path of 1 to 107 bytes");
    refused(folder / "none/socket", "No such file or directory");
}
