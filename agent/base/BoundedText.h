#pragma once

#include <cstddef>
#include <streambuf>
#include <string>

namespace UmoAgent {

/// A stream buffer in memory with a limit: keeps a number of bytes, or fewer if memory runs out,
/// and drops the rest.
class BoundedText final : public std::streambuf {
  public:
    explicit BoundedText(std::size_t most) : most_(most) {}

    /// The text, with a last line that says if anything was dropped.
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
