#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace UmoAgent {

/// Collects a client's bytes up to the end of the first line: "\n" or "\r\n".
class LineReader {
  public:
    /// The most bytes in a line, without its end.
    static constexpr std::size_t kMaxLength = 4096;

    enum class State {
        reading, // the line is not complete
        whole,
        tooLong,
    };

    /// Takes `bytes`; those after the line's end are dropped.
    State add(std::string_view bytes);

    [[nodiscard]] State state() const { return state_; }

    /// The complete line, without its end.
    [[nodiscard]] std::string const &line() const { return line_; }

  private:
    State state_ = State::reading;
    std::string line_;
};

} // namespace UmoAgent
