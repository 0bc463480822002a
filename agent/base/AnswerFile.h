#pragma once

#include "agent/base/Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace UmoAgent {

/// An unnamed file in memory to which a command writes its answer. So a command never waits for its
/// client, and the answer is complete before any of it is sent.
class AnswerFile {
  public:
    /// Empty. Throws std::system_error if the system has no room for it.
    AnswerFile();

    /// The descriptor that a command writes to; writing appends.
    [[nodiscard]] std::uint32_t socket() const {
        return static_cast<std::uint32_t>(file_.number());
    }

    /// Adds `text`. Throws std::system_error if there is no room.
    void write(std::string_view text) const { writeAll(file_.number(), text); }

    /// At most `size` bytes of the answer from `offset` on; empty after its end.
    [[nodiscard]] std::string read(std::size_t offset, std::size_t size) const;

  private:
    Descriptor file_;
};

} // namespace UmoAgent
