#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <unistd.h>

namespace Bench {

/// A pipe with a thread that reads everything written into it.
class ReadPipe {
  public:
    ReadPipe() {
        if (pipe(ends_.data()) != 0) {
            std::perror("pipe");
            std::abort();
        }
        reader_ = std::thread([this] {
            std::array<char, 65536> block;
            for (ssize_t got; (got = read(ends_[0], block.data(), block.size())) > 0;) {
                text_.append(block.data(), static_cast<std::size_t>(got));
            }
        });
    }
    ~ReadPipe() { text(); }
    ReadPipe(ReadPipe const &) = delete;
    ReadPipe &operator=(ReadPipe const &) = delete;

    [[nodiscard]] int writeEnd() const { return ends_[1]; }

    /// Closes the pipe; returns everything that was written into it.
    std::string const &text() {
        if (reader_.joinable()) {
            close(ends_[1]);
            reader_.join();
            close(ends_[0]);
        }
        return text_;
    }

  private:
    std::array<int, 2> ends_{};
    std::string text_;
    std::thread reader_;
};

} // namespace Bench
