#include "agent/base/FileText.h"

#include "agent/base/Descriptor.h"

#include <sys/stat.h>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

namespace UmoAgent {

namespace {

constexpr std::size_t kPortion = 65536;

Unreadable failed() {
    return {std::generic_category().message(errno)};
}

} // namespace

FileText readText(int descriptor, std::size_t most) {
    struct stat file {};
    if (fstat(descriptor, &file) != 0) {
        return failed();
    }
    if (S_ISDIR(file.st_mode)) {
        return Unreadable{"it is a directory"};
    }
    if (S_ISBLK(file.st_mode) || (S_ISCHR(file.st_mode) && isatty(descriptor) == 0)) {
        return Unreadable{"it is a device"};
    }
    // One byte more than the file has, to find its end there; and no more than one more than it may
    // have, which shows that it is too long. Files of the system may have a text and no size.
    std::size_t portion = S_ISREG(file.st_mode) && file.st_size > 0
                              ? static_cast<std::size_t>(file.st_size) + 1
                              : kPortion;
    std::string text;
    try {
        for (;;
             portion = text.capacity() > text.size() ? text.capacity() - text.size() : kPortion) {
            std::size_t const before = text.size();
            text.resize(before + std::min(portion, most - before + 1));
            ssize_t const got = read(descriptor, text.data() + before, text.size() - before);
            text.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
            if (got == 0) {
                return text;
            }
            if (got < 0 && errno != EINTR) {
                return failed();
            }
            if (text.size() > most) {
                return Unreadable{"it has more than " + std::to_string(most) + " bytes"};
            }
        }
    } catch (std::bad_alloc const &) {
        return Unreadable{"there is no memory for it"};
    }
}

FileText readFileText(std::string const &path, std::size_t most) {
    Descriptor const file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    return file ? readText(file.number(), most) : failed();
}

} // namespace UmoAgent
