#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace UmoAgent {

/// Splits a stream of JSON objects, which follow each other without separators, into their texts.
/// It looks only for the end of each object; what is between its braces is for the parser.
class JsonSplitter {
  public:
    /// The longest text of an object, in bytes.
    static constexpr std::size_t kLongest = std::size_t{256} << 20U;

    /// Adds what has arrived next, cut anywhere.
    void add(std::string_view bytes) { text_ += bytes; }

    /// The text of the next object; none before it has arrived whole.
    std::optional<std::string> next();

    /// Whether the stream is something else than JSON objects, or an object is too long. Then
    /// nothing follows.
    [[nodiscard]] bool broken() const { return broken_; }

  private:
    bool endsWith(char c);

    std::string text_;
    std::size_t looked_ = 0; // bytes of the text
    std::size_t depth_ = 0;  // of braces and brackets
    bool inString_ = false;
    bool escaped_ = false;
    bool broken_ = false;
};

} // namespace UmoAgent
