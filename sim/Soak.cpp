#include "sim/Soak.h"

#include "Mox/Census.h"
#include "sim/Broken.h"
#include "sim/Generator.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <system_error>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Sim {

namespace {

constexpr unsigned kSecondsForAnEvent = 60;

[[noreturn]] void fail(char const *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Writes a record, which survives the process. Its kind is the initial state (i), an event (e), or
/// the end of the log: a fault (f), a rejected text (r), or calls, packets and hash (d).
void record(int log, char kind, std::string const &text) {
    std::string const bytes = std::string(1, kind) + text + '\0';
    if (write(log, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        fail("the log of a simulation");
    }
}

Figures play(Task const &task, int log) {
    Generator generator(task.seed, task.faults);
    Script const *const script = task.script;
    std::string const initial = script ? script->initial : generator.initial();
    record(log, 'i', initial);
    std::size_t const count = script ? script->events.size() : task.events;
    std::size_t played = 0;
    return run(
        initial,
        [&](UmoAgent::SwitchState const &mounted, PlainSwitch const &now) -> std::optional<Step> {
            alarm(kSecondsForAnEvent);
            if (played == count) {
                return std::nullopt;
            }
            Step step =
                script ? readStep(script->events[played], mounted) : generator.step(mounted, now);
            ++played;
            record(log, 'e', step.text);
            return step;
        });
}

void simulateHere(Task const &task, int log) {
    Mox::Census::activeIs(true);
    try {
        Figures const figures = play(task, log);
        for (auto const &entry : Mox::Census::live()) {
            require(false, entry.live, " objects of class ", entry.name, " are alive at the end");
        }
        record(log, 'd',
               std::to_string(figures.calls) + ' ' + std::to_string(figures.packets) + ' ' +
                   std::to_string(figures.hash));
    } catch (Broken const &broken) {
        record(log, 'f', broken.what());
    } catch (Rejected const &text) {
        record(log, 'r', text.what());
    }
}

} // namespace

Child start(Task const &task) {
    Child child{-1, memfd_create("umo-soak", 0)};
    if (child.log < 0 || (child.process = fork()) < 0) {
        fail("a process to simulate in");
    }
    if (child.process == 0) {
        simulateHere(task, child.log);
        std::exit(0); // not _exit: this is where leaks are detected
    }
    return child;
}

Result resultOf(Child const &child, int status) {
    std::string bytes(static_cast<std::size_t>(lseek(child.log, 0, SEEK_END)), '\0');
    if (pread(child.log, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        fail("the log of a simulation");
    }
    close(child.log);
    Result result;
    bool ended = false;
    for (std::istringstream in(bytes); in.peek() != EOF;) {
        char const kind = static_cast<char>(in.get());
        std::string text;
        std::getline(in, text, '\0');
        if (kind == 'i') {
            result.script.initial = text;
        } else if (kind == 'e') {
            result.script.events.push_back(text);
        } else if (kind == 'd') {
            std::istringstream(text) >> result.calls >> result.packets >> result.hash;
            ended = true;
        } else {
            result.fault = text;
            result.rejected = kind == 'r';
        }
    }
    if (WIFSIGNALED(status)) {
        result.fault = "the process was stopped: " + std::string(strsignal(WTERMSIG(status)));
    } else if (result.fault.empty() && (!ended || status != 0)) {
        result.fault = "the process ended with status " + std::to_string(WEXITSTATUS(status));
    }
    return result;
}

Result simulate(Task const &task) {
    Child const child = start(task);
    int status = 0;
    if (waitpid(child.process, &status, 0) < 0) {
        fail("the end of a simulation");
    }
    return resultOf(child, status);
}

/// Removes halves, quarters and so on, down to single events.
Script shrunk(Script script) {
    for (auto size = std::ssize(script.events) / 2; size > 0; size /= 2) {
        for (auto end = std::ssize(script.events); end > 0;) {
            auto const begin = std::max(end - size, std::ptrdiff_t{0});
            Script shorter = script;
            auto const first = shorter.events.begin();
            shorter.events.erase(first + begin, first + end);
            Result const result = simulate({.script = &shorter});
            if (!result.fault.empty() && !result.rejected) {
                script = result.script;
            }
            end = std::min(begin, std::ssize(script.events));
        }
    }
    return script;
}

std::string scenario(Script const &script, std::string const &fault) {
    std::string note = fault;
    std::replace(note.begin(), note.end(), '\'', '"');
    std::string text = script.initial + "events:\n";
    for (std::string const &event : script.events) {
        text += "  - " + event + '\n';
    }
    std::string const last = script.events.empty() ? "{at: 0}" : script.events.back();
    std::string const at = last.substr(1, last.find_first_of(",}") - 1);
    return text + "  - {" + at + ", note: '" + note + "', print: [groups, tree, chip]}\n";
}

} // namespace Sim
