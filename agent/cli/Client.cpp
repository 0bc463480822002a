#include "agent/cli/Client.h"

#include "agent/base/FileText.h"
#include "agent/base/Text.h"
#include "agent/cli/Diff.h"
#include "agent/cli/Question.h"
#include "agent/console/CommandSocket.h"
#include "agent/console/CommandTable.h"
#include "agent/console/LineReader.h"
#include "agent/console/TextCommand.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <variant>

namespace UmoAgent {

namespace {

/// The line to send for these words. A file to apply is named by its absolute path, because the
/// agent may run in another folder. Throws std::invalid_argument.
std::string lineOf(std::vector<std::string> const &words) {
    std::string line;
    for (std::string const &word : words) {
        line.append(line.empty() ? "" : " ").append(word);
    }
    std::string const dryRun = "apply --dry-run";
    for (std::string const &command : {dryRun + ' ', std::string("apply ")}) {
        std::size_t const file = line.find_first_not_of(' ', command.size());
        if (line.rfind(command, 0) == 0 && file != std::string::npos && line != dryRun) {
            line = command + std::filesystem::absolute(line.substr(file)).string();
            break;
        }
    }
    if (line.find('\n') != std::string::npos) {
        throw std::invalid_argument("a command is one line");
    }
    if (line.size() > LineReader::kMaxLength) {
        throw std::invalid_argument("a command has at most " +
                                    std::to_string(LineReader::kMaxLength) + " bytes");
    }
    return line;
}

/// Prints whole lines as they come.
ClientStatus followEvents(std::string const &socket, std::string const &line) {
    std::string rest;
    bool refused = false;
    follow(socket, line, [&](std::string_view piece) {
        rest += piece;
        std::size_t const end = rest.rfind('\n') + 1; // 0 if there is none
        refused = refused || rest.rfind(kErrorMark, 0) == 0;
        (refused ? std::cerr : std::cout) << printable(rest.substr(0, end), "\n\t") << std::flush;
        rest.erase(0, end);
        if (!std::cout) {
            throw std::runtime_error("cannot write to standard output");
        }
    });
    return refused ? ClientStatus::notDone : ClientStatus::good;
}

/// Asks again each second, and prints the answer whenever it is another.
[[noreturn]] void watch(Request const &request, std::string const &line) {
    std::string before;
    for (std::size_t seconds = 0;; ++seconds) {
        std::string const answer = ask(request.socket, line, std::chrono::seconds(request.timeout));
        if (answer != before || seconds == 0) {
            std::cout << "-- after " << seconds << " s\n"
                      << printable(answer, "\n\t") << std::flush;
        }
        before = answer;
        if (!std::cout) {
            throw std::runtime_error("cannot write to standard output");
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

/// `diff FILE COMMAND`: compares a saved answer in JSON with the answer now.
ClientStatus diff(Request const &request) {
    if (request.words.size() < 3) {
        throw std::runtime_error("diff: a file and a command are expected");
    }
    std::string const &file = request.words[1];
    auto const saved = readFileText(file, kMaxAnswer);
    if (auto const *const unreadable = std::get_if<Unreadable>(&saved)) {
        throw std::runtime_error(file + ": " + unreadable->reason);
    }
    std::string const line =
        lineOf({request.words.begin() + 2, request.words.end()}) + ' ' + kJsonWord;
    std::string const now = ask(request.socket, line, std::chrono::seconds(request.timeout));
    if (now.rfind(kErrorMark, 0) == 0) {
        std::cerr << printable(now, "\n\t");
        return ClientStatus::notDone;
    }
    auto const lines = differences(std::get<std::string>(saved), now);
    for (std::string const &difference : lines) {
        std::cout << printable(difference) << '\n';
    }
    return lines.empty() ? ClientStatus::good : ClientStatus::notDone;
}

} // namespace

ClientStatus carryOut(Request const &request) {
    std::vector<std::string> words = request.words;
    bool const watched = words.front() == "watch";
    if (words.front() == "diff") {
        return diff(request);
    }
    if (watched) {
        words.erase(words.begin());
        if (words.empty()) {
            words = {"showNatFlowGroup"};
        }
    }
    std::string const command = lineOf(words);
    std::string const line = request.json ? command + ' ' + kJsonWord : command;
    if (watched) {
        watch(request, line);
    }
    if (command == "events") {
        return followEvents(request.socket, line);
    }
    ClientStatus status = ClientStatus::good;
    try {
        std::string const answer = ask(request.socket, line, std::chrono::seconds(request.timeout));
        bool const done = answer.rfind(kErrorMark, 0) != 0;
        (done ? std::cout : std::cerr) << printable(answer, "\n\t") << std::flush;
        status = done ? ClientStatus::good : ClientStatus::notDone;
    } catch (NobodyAnswers const &error) {
        if (command != "help") {
            throw;
        }
        printCommands({std::cout, request.json});
        std::cerr << "umo-cli: " << printable(error.what()) << '\n';
    }
    if (!std::cout.flush()) {
        throw std::runtime_error("cannot write to standard output");
    }
    return status;
}

} // namespace UmoAgent
