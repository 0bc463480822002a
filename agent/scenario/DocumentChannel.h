#pragma once

#include "agent/scenario/Document.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// What a process that reads files for another one tells it, on a stream between the two. Both are
/// of one program, so values travel as they lie in memory.
namespace UmoAgent {

/// Begins each part of an answer.
struct AnswerHeader {
    enum class Kind : std::uint64_t {
        textIsRead, // the text is there and is being parsed
        document,
        errors,
    };

    Kind kind = Kind::textIsRead;
    std::uint64_t values = 0; // of a document
    std::uint64_t bytes = 0;  // of its texts, or of the lines of the errors
};

/// Answers requests from `channel`, each the path of a file with a zero byte behind it, until the
/// other side closes it.
void answerReadRequests(int channel);

/// Puts an answer together as its bytes come.
class AnswerReader {
  public:
    /// Where the next bytes go, and how many there may be; none when the answer is whole. May throw
    /// std::bad_alloc.
    struct Room {
        char *begin;
        std::size_t size;
    };
    [[nodiscard]] Room room();
    /// That many have come. May throw std::bad_alloc.
    void filled(std::size_t size);

    /// Whether the text has been read.
    [[nodiscard]] bool textIsRead() const { return textIsRead_; }
    /// The whole answer, once.
    [[nodiscard]] std::optional<std::variant<Document, ScenarioFaults>> answer();

  private:
    AnswerHeader header_;
    std::size_t headerFilled_ = 0, valuesFilled_ = 0, textsFilled_ = 0;
    bool textIsRead_ = false;
    Document document_;
};

} // namespace UmoAgent
