#include "agent/base/AnswerFile.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace UmoAgent {

namespace {
[[noreturn]] void fail() {
    throw std::system_error(errno, std::generic_category(), "answer in memory");
}
} // namespace

AnswerFile::AnswerFile() : file_(memfd_create("umo-answer", MFD_CLOEXEC)) {
    if (!file_) {
        fail();
    }
}

std::string AnswerFile::read(std::size_t offset, std::size_t size) const {
    struct stat file {};
    if (fstat(file_.number(), &file) != 0) {
        fail();
    }
    auto const end = static_cast<std::size_t>(file.st_size);
    std::string text(std::min(size, end - std::min(offset, end)), '\0');
    ssize_t const got = pread(file_.number(), text.data(), text.size(), static_cast<off_t>(offset));
    if (got < 0) {
        fail();
    }
    text.resize(static_cast<std::size_t>(got));
    return text;
}

} // namespace UmoAgent
