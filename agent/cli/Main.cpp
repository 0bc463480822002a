#include "agent/console/CommandSocket.h"
#include "agent/console/LineReader.h"
#include "agent/console/TextCommand.h"

#include <CLI/CLI.hpp>

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

/// umo-cli: sends one command to a running umo-agent, and prints the answer.
namespace {

constexpr char const *kFooter =
    "Examples:\n"
    "  umo-cli --socket /tmp/umo.sock showNatFlowActionHw\n"
    "  umo-cli help                     # what the agent answers\n"
    "  umo-cli apply changes.yaml\n"
    "  umo-cli trace 'UmoNat*/1-3'      # the agent traces on its own standard error\n"
    "\n"
    "Exit status:\n"
    "  0  the agent carried the command out\n"
    "  1  it did not: the answer, on standard error, says why\n"
    "  2  bad command line, or no agent is answering\n";

enum class ExitStatus { good = 0, notDone = 1, notAsked = 2 };

struct CommandLine {
    std::string socket = UmoAgent::kDefaultSocketPath;
    std::vector<std::string> command;
};

/// The words as the line that the agent is sent. A file to apply is named as the agent, which may
/// run in another folder, finds it. Throws std::invalid_argument.
std::string lineOf(std::vector<std::string> words) {
    if (words.front() == "apply" && words.size() == 2) {
        words[1] = std::filesystem::absolute(words[1]).string();
    }
    std::string line;
    for (std::string const &word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    if (line.find('\n') != std::string::npos) {
        throw std::invalid_argument("a command is one line");
    }
    if (line.size() > UmoAgent::LineReader::kMaxLength) {
        throw std::invalid_argument("a command has at most " +
                                    std::to_string(UmoAgent::LineReader::kMaxLength) + " bytes");
    }
    return line;
}

void send(int socket, std::string_view text) {
    while (!text.empty()) {
        ssize_t const sent = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "the agent does not listen");
        }
        text.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
}

/// All of it before any is printed: the agent does not wait for a reader who pages through it.
std::string receive(int socket) {
    std::string text;
    std::array<char, 65536> bytes{};
    for (;;) {
        ssize_t const got = recv(socket, bytes.data(), bytes.size(), 0);
        if (got == 0) {
            return text;
        }
        if (got < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "the agent broke off");
        }
        text.append(bytes.data(), got < 0 ? 0 : static_cast<std::size_t>(got));
    }
}

ExitStatus run(CommandLine const &line) {
    std::string const command = lineOf(line.command);
    UmoAgent::Descriptor const socket = UmoAgent::connectTo(line.socket);
    send(socket.number(), command + '\n');
    std::string const answer = receive(socket.number());
    bool const done = answer.rfind(UmoAgent::kErrorMark, 0) != 0;
    (done ? std::cout : std::cerr) << answer << std::flush;
    if (!std::cout) {
        throw std::runtime_error("cannot write to standard output");
    }
    return done ? ExitStatus::good : ExitStatus::notDone;
}

} // namespace

int main(int argc, char **argv) {
    CLI::App app("Sends one command to a running umo-agent, and prints the answer.", "umo-cli");
    CommandLine line;
    app.footer(kFooter);
    app.add_option("--socket", line.socket, "The Unix socket at which the agent answers")
        ->type_name("PATH")
        ->envname("UMO_SOCKET")
        ->capture_default_str();
    app.add_option("COMMAND", line.command, "The command, and what belongs to it")->required();
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const &error) {
        bool const asked = app.exit(error) == 0; // prints the help, or what is wrong
        return static_cast<int>(asked ? ExitStatus::good : ExitStatus::notAsked);
    }
    try {
        return static_cast<int>(run(line));
    } catch (std::exception const &error) {
        std::cerr << "umo-cli: " << error.what() << '\n';
        return static_cast<int>(ExitStatus::notAsked);
    }
}
