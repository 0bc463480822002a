#include "agent/base/CommandLine.h"
#include "agent/base/Descriptor.h"
#include "agent/base/FileText.h"
#include "agent/base/Text.h"
#include "agent/cli/Diff.h"
#include "agent/cli/Question.h"
#include "agent/console/CommandSocket.h"
#include "agent/console/CommandTable.h"
#include "agent/console/LineReader.h"
#include "agent/console/TextCommand.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

/// umo-cli: sends one command to a running umo-agent, and prints the answer.
namespace {

constexpr char const *kFooter =
    "Examples:\n"
    "  umo-cli --socket /tmp/umo.sock showNatFlowActionHw\n"
    "  umo-cli help                     # the commands\n"
    "  umo-cli --json showNatFlowGroup  # for a program\n"
    "  umo-cli watch showChip           # again whenever the answer changes\n"
    "  umo-cli events                   # what happens, as it happens\n"
    "  umo-cli --json showChip >then; umo-cli diff then showChip\n"
    "  umo-cli apply changes.yaml\n"
    "  umo-cli trace 'UmoNat*/1-3'      # the agent traces on its own standard error\n"
    "\n"
    "Exit status:\n"
    "  0  the agent carried the command out\n"
    "  1  it did not: the answer, on standard error, says why; or diff found differences\n"
    "  2  bad command line, no agent is answering in time, or the answer broke off\n";

enum class ExitStatus { good = 0, notDone = 1, notAsked = 2 };

struct CommandLine {
    std::string socket = UmoAgent::kDefaultSocketPath;
    int timeout = 10; // in seconds
    bool json = false;
    std::vector<std::string> words;
};

/// The line to send for these words. A file to apply is named by its absolute path, because the
/// agent may run in another folder. Throws std::invalid_argument.
std::string lineOf(std::vector<std::string> const &words) {
    std::string line;
    for (std::string const &word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    std::string const apply = "apply ";
    std::size_t const file = line.find_first_not_of(' ', apply.size());
    if (line.rfind(apply, 0) == 0 && file != std::string::npos) {
        line = apply + std::filesystem::absolute(line.substr(file)).string();
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

/// Prints whole lines as they come.
ExitStatus followEvents(std::string const &socket, std::string const &line) {
    std::string rest;
    bool refused = false;
    UmoAgent::follow(socket, line, [&](std::string_view piece) {
        rest += piece;
        std::size_t const end = rest.rfind('\n') + 1; // 0 if there is none
        refused = refused || rest.rfind(UmoAgent::kErrorMark, 0) == 0;
        (refused ? std::cerr : std::cout)
            << UmoAgent::printable(rest.substr(0, end), "\n\t") << std::flush;
        rest.erase(0, end);
        if (!std::cout) {
            throw std::runtime_error("cannot write to standard output");
        }
    });
    return refused ? ExitStatus::notDone : ExitStatus::good;
}

/// Asks again each second, and prints the answer whenever it is another.
[[noreturn]] void watch(CommandLine const &commandLine, std::string const &line) {
    std::string before;
    for (std::size_t seconds = 0;; ++seconds) {
        std::string const answer =
            UmoAgent::ask(commandLine.socket, line, std::chrono::seconds(commandLine.timeout));
        if (answer != before || seconds == 0) {
            std::cout << "-- after " << seconds << " s\n"
                      << UmoAgent::printable(answer, "\n\t") << std::flush;
        }
        before = answer;
        if (!std::cout) {
            throw std::runtime_error("cannot write to standard output");
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

/// `diff FILE COMMAND`: compares a saved answer in JSON with the answer now.
ExitStatus diff(CommandLine const &commandLine) {
    if (commandLine.words.size() < 3) {
        throw std::runtime_error("diff: a file and a command are expected");
    }
    std::string const &file = commandLine.words[1];
    auto const saved = UmoAgent::readFileText(file, UmoAgent::kMaxAnswer);
    if (auto const *const unreadable = std::get_if<UmoAgent::Unreadable>(&saved)) {
        throw std::runtime_error(file + ": " + unreadable->reason);
    }
    std::string const line =
        lineOf({commandLine.words.begin() + 2, commandLine.words.end()}) + ' ' + UmoAgent::kJsonWord;
    std::string const now =
        UmoAgent::ask(commandLine.socket, line, std::chrono::seconds(commandLine.timeout));
    if (now.rfind(UmoAgent::kErrorMark, 0) == 0) {
        std::cerr << UmoAgent::printable(now, "\n\t");
        return ExitStatus::notDone;
    }
    auto const lines = UmoAgent::differences(std::get<std::string>(saved), now);
    for (std::string const &difference : lines) {
        std::cout << UmoAgent::printable(difference) << '\n';
    }
    return lines.empty() ? ExitStatus::good : ExitStatus::notDone;
}

/// Throws std::runtime_error.
ExitStatus run(CommandLine const &commandLine) {
    std::string const command = lineOf(commandLine.words);
    std::string const line = commandLine.json ? command + ' ' + UmoAgent::kJsonWord : command;
    std::string const watched = "watch";
    if (commandLine.words.front() == "diff") {
        return diff(commandLine);
    }
    if (command == "events") {
        return followEvents(commandLine.socket, line);
    }
    if (command == watched || command.rfind(watched + ' ', 0) == 0) {
        watch(commandLine,
              command == watched ? "showNatFlowGroup" : line.substr(watched.size() + 1));
    }
    ExitStatus status = ExitStatus::good;
    try {
        std::string const answer =
            UmoAgent::ask(commandLine.socket, line, std::chrono::seconds(commandLine.timeout));
        bool const done = answer.rfind(UmoAgent::kErrorMark, 0) != 0;
        (done ? std::cout : std::cerr) << UmoAgent::printable(answer, "\n\t") << std::flush;
        status = done ? ExitStatus::good : ExitStatus::notDone;
    } catch (UmoAgent::NobodyAnswers const &error) {
        if (command != "help") {
            throw;
        }
        UmoAgent::printCommands({std::cout, commandLine.json});
        std::cerr << "umo-cli: " << UmoAgent::printable(error.what()) << '\n';
    }
    if (!std::cout.flush()) {
        throw std::runtime_error("cannot write to standard output");
    }
    return status;
}

void declare(CLI::App &app, CommandLine &line) {
    app.footer(kFooter);
    app.set_version_flag("--version", "umo-cli " UMO_VERSION, "Print the version");
    app.add_option("--socket", line.socket, "The Unix socket at which the agent answers")
        ->type_name("PATH")
        ->envname("UMO_SOCKET")
        ->capture_default_str();
    app.add_option("--timeout", line.timeout, "How long to wait for the answer in all")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_flag("--json", line.json, "Print the answer as JSON");
    app.allow_extras(); // the words to send to the agent
}

/// The words of the command: everything that is not an option of this program. After `--` they may
/// look like options.
std::vector<std::string> wordsOf(CLI::App const &app) {
    std::vector<std::string> words = app.remaining();
    auto const mark = std::find(words.begin(), words.end(), "--");
    auto const option = std::find_if(words.begin(), mark, [](std::string const &word) {
        return word.size() > 1 && word.front() == '-';
    });
    if (option != mark) {
        throw CLI::ExtrasError({*option});
    }
    if (mark != words.end()) {
        words.erase(mark);
    }
    if (words.empty()) {
        throw CLI::RequiredError("COMMAND");
    }
    return words;
}

} // namespace

int main(int argc, char **argv) {
    UmoAgent::openStandardDescriptors();
    CLI::App app("umo-cli [OPTIONS] COMMAND [ARGUMENT]\n"
                 "Sends one command to a running umo-agent, and prints the answer. Arguments that\n"
                 "look like options and are for the agent follow --.",
                 "umo-cli");
    CommandLine line;
    declare(app, line);
    try {
        app.parse(argc, argv);
        line.words = wordsOf(app);
    } catch (CLI::ParseError const &error) {
        bool const asked = UmoAgent::explain(app, error);
        return static_cast<int>(asked ? ExitStatus::good : ExitStatus::notAsked);
    }
    try {
        return static_cast<int>(run(line));
    } catch (std::exception const &error) {
        std::cerr << "umo-cli: " << UmoAgent::printable(error.what()) << '\n';
        return static_cast<int>(ExitStatus::notAsked);
    }
}
