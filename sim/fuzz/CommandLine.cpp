#include "agent/base/AnswerFile.h"
#include "agent/console/Console.h"
#include "agent/console/LineReader.h"
#include "sim/fuzz/FuzzedAgent.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// Input from a client gives the same line whole or in pieces, and the console answers it. The
/// first byte is the size of the pieces.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *bytes, std::size_t size) {
    static Sim::FuzzedAgent fuzzed;
    static UmoAgent::Console console(fuzzed.agent, fuzzed.loop, UmoAgent::Scope::wholeSwitch);
    std::string_view const text(reinterpret_cast<char const *>(bytes), size);
    std::size_t const piece = size == 0 ? 1 : bytes[0] % 64 + 1U;
    UmoAgent::LineReader whole;
    UmoAgent::LineReader pieced;
    whole.add(text);
    for (std::size_t at = 0; at < size && pieced.state() == UmoAgent::LineReader::State::reading;
         at += piece) {
        pieced.add(text.substr(at, piece));
    }
    bool const isWhole = whole.state() == UmoAgent::LineReader::State::whole;
    if (whole.state() != pieced.state() || (isWhole && whole.line() != pieced.line())) {
        std::abort();
    }
    if (isWhole) {
        UmoAgent::AnswerFile const answer;
        bool answered = false;
        console.answer(answer.socket(), whole.line(), [&](bool) { answered = true; });
        while (!answered) {
            fuzzed.loop.runUntil(fuzzed.loop.now());
        }
    }
    return 0;
}
