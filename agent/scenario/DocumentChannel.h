#pragma once

#include "agent/scenario/Document.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// The messages from a process that reads files to the process that requested them, on a stream.
/// Both run the same program, so values are sent as they are in memory.
namespace UmoAgent {

/// The header of each part of an answer.
struct AnswerHeader {
    enum class Kind : std::uint64_t {
        textIsRead, // the text has been read and is being parsed
        document,
        errors,
    };

    Kind kind = Kind::textIsRead;
    std::uint64_t values = 0; // of a document
    std::uint64_t bytes = 0;  // of its texts, or of the lines of the errors
};

/// Answers requests from `channel`, each the path of a file with a trailing zero byte, until the
/// other side closes it.
void answerReadRequests(int channel);

/// Assembles an answer from its bytes.
class AnswerReader {
  public:
    /// Where the next bytes go, and how many fit; none when the answer is complete. May throw
    /// std::bad_alloc.
    struct Room {
        char *begin;
        std::size_t size;
    };
    [[nodiscard]] Room room();
    /// That many bytes have arrived. May throw std::bad_alloc.
    void filled(std::size_t size);

    /// Whether the text has been read.
    [[nodiscard]] bool textIsRead() const { return textIsRead_; }
    /// The complete answer, returned once.
    [[nodiscard]] std::optional<std::variant<Document, ScenarioFaults>> answer();

  private:
    AnswerHeader header_;
    std::size_t headerFilled_ = 0, valuesFilled_ = 0, textsFilled_ = 0;
    bool textIsRead_ = false;
    Document document_;
};

} // namespace UmoAgent
