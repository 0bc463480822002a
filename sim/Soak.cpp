#include "sim/Soak.h"

#include "Mox/Census.h"
#include "sim/Broken.h"
#include "sim/Generator.h"
#include "sim/Run.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Sim {

namespace {

constexpr unsigned kSecondsForAnEvent = 60;

/// Records of a kind and a text, which outlive the process that writes them.
enum Record : char {
    initial = 'i',
    event = 'e',
    fault = 'f',
    rejected = 'r',
    done = 'd', // with the number of calls and the hash
};

[[noreturn]] void fail(char const *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void record(int log, Record kind, std::string const &text) {
    std::string const bytes = std::string(1, kind) + text + '\0';
    if (write(log, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        fail("the log of a simulation");
    }
}

std::string play(Task const &task, int log) {
    Generator generator(task.seed, task.faults);
    std::string const initial = task.script ? task.script->initial : generator.initial();
    record(log, Record::initial, initial);
    Run run(initial);
    std::size_t const count = task.script ? task.script->events.size() : task.events;
    for (std::size_t i = 0; i < count; ++i) {
        alarm(kSecondsForAnEvent);
        std::string const text =
            task.script ? task.script->events[i] : generator.event(run.model());
        record(log, Record::event, text);
        run.event(text);
    }
    run.end();
    return std::to_string(run.calls()) + ' ' + std::to_string(run.hash());
}

void simulateHere(Task const &task, int log) {
    Mox::Census::activeIs(true);
    try {
        std::string const figures = play(task, log);
        for (auto const &entry : Mox::Census::live()) {
            require(false, entry.live, " objects of class ", entry.name, " are alive at the end");
        }
        record(log, Record::done, figures);
    } catch (Broken const &broken) {
        record(log, Record::fault, broken.what());
    } catch (Rejected const &text) {
        record(log, Record::rejected, text.what());
    }
}

} // namespace

Child::Child(Task const &task) : process_(-1), log_(memfd_create("umo-soak", 0)) {
    if (log_ < 0 || (process_ = fork()) < 0) {
        fail("a process to simulate in");
    }
    if (process_ == 0) {
        simulateHere(task, log_);
        std::exit(0); // not at once: leaks are looked for here
    }
}

Result Child::result(int status) const {
    std::string bytes(static_cast<std::size_t>(lseek(log_, 0, SEEK_END)), '\0');
    if (pread(log_, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        fail("the log of a simulation");
    }
    close(log_);
    Result result;
    bool ended = false;
    for (std::istringstream in(bytes); in.peek() != EOF;) {
        char const kind = static_cast<char>(in.get());
        std::string text;
        std::getline(in, text, '\0');
        if (kind == Record::initial) {
            result.script.initial = text;
        } else if (kind == Record::event) {
            result.script.events.push_back(text);
        } else if (kind == Record::done) {
            std::istringstream(text) >> result.calls >> result.hash;
            ended = true;
        } else {
            result.fault = text;
            result.rejected = kind == Record::rejected;
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
    Child const child(task);
    int status = 0;
    if (waitpid(child.process(), &status, 0) < 0) {
        fail("the end of a simulation");
    }
    return child.result(status);
}

/// By halves, quarters and so on, down to single events.
Script shrunk(Script script) {
    for (std::size_t size = script.events.size() / 2; size > 0; size /= 2) {
        for (std::size_t at = script.events.size(); at > 0;) {
            at -= std::min(size, at);
            Script shorter = script;
            auto const first = shorter.events.begin() + static_cast<std::ptrdiff_t>(at);
            auto const left = static_cast<std::size_t>(shorter.events.end() - first);
            shorter.events.erase(first, first + static_cast<std::ptrdiff_t>(std::min(size, left)));
            Result const result = simulate({.script = &shorter});
            if (!result.fault.empty() && !result.rejected) {
                script = result.script;
                at = std::min(at, script.events.size());
            }
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
