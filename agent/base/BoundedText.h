#pragma once

#include <cstddef>
#include <streambuf>
#include <string>

namespace UmoAgent {

/// What is behind a stream that prints into memory: takes so many bytes, or as many as there is
/// memory for, and leaves out what comes behind.
class BoundedText final : public std::streambuf {
  public:
    explicit BoundedText(std::size_t most) : most_(most) {}

    /// The text, with a last line that says so if something was left out.
    [[nodiscard]] std::string text() const;

  protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const *text, std::streamsize size) override;

  private:
    std::size_t most_;
    std::string text_;
    bool full_ = false;
};

} // namespace UmoAgent
