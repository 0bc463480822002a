#pragma once

#include <unistd.h>

#include <string_view>
#include <utility>

namespace UmoAgent {

/// Owns a file descriptor, or none.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (number_ >= 0) {
            close(number_);
        }
    }

    /// Negative if there is none.
    [[nodiscard]] int number() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

  private:
    int number_ = -1;
};

/// Opens /dev/null for each standard descriptor that is closed, so that no other file gets its
/// number and receives printed output. Called first in every program.
void openStandardDescriptors();

/// Writes all of `text` to `descriptor`. Throws std::system_error if the system refuses.
void writeAll(int descriptor, std::string_view text);

} // namespace UmoAgent
