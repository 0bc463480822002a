#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace UmoAgent {

/// Takes the bytes of a client, as they come, up to the end of the first line: "\n" or "\r\n".
class LineReader {
  public:
    /// The most bytes a line may have, without its end.
    static constexpr std::size_t kMaxLength = 4096;

    enum class State {
        reading, // the line goes on
        whole,
        tooLong,
    };

    /// Takes `bytes`; those behind the line's end are dropped.
    State add(std::string_view bytes);

    [[nodiscard]] State state() const { return state_; }

    /// The line without its end, when it is whole.
    [[nodiscard]] std::string const &line() const { return line_; }

  private:
    State state_ = State::reading;
    std::string line_;
};

} // namespace UmoAgent
