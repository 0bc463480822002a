#include "agent/base/Descriptor.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace UmoAgent {

void openStandardDescriptors() {
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO) {
        opened = open("/dev/null", O_RDWR);
    }
    if (opened >= 0) {
        close(opened);
    }
}

void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        ssize_t const written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot write");
        }
    }
}

} // namespace UmoAgent
