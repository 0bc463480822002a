#include "Base/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace Base {

void stop(char const *kind, std::string_view text, char const *file, int line) noexcept {
    std::fprintf(stderr, "%s: %.*s, file %s, line %d\n", kind, static_cast<int>(text.size()),
                 text.data(), file, line);
    std::fflush(stderr);
    std::abort();
}

void stopOnException(char const *file, int line) noexcept {
    try {
        throw;
    } catch (std::exception const &error) {
        stop("Uncaught exception in dispatch", error.what(), file, line);
    } catch (...) {
        stop("Uncaught exception in dispatch", "not a std::exception", file, line);
    }
}

} // namespace Base
