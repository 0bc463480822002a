#pragma once

#include "Base/Export.h"

#include <string_view>

namespace Base {

/// Prints `kind: text, file FILE, line LINE` on standard error and aborts the process. For
/// states from which no work can go on; bad input is never a reason to come here.
[[noreturn]] PLATFORM_API void stop(char const *kind, std::string_view text, char const *file,
                                    int line) noexcept;

/// Stops the process when a broken invariant shows, with `text` (the asserted expression as a
/// maintainer would grep for it) and the place of the call. Active in every build. The last two
/// arguments are the caller's place and are not meant to be passed.
inline void assertThat(bool holds, char const *text, char const *file = __builtin_FILE(),
                       int line = __builtin_LINE()) {
    if (!holds) [[unlikely]] {
        stop("Assertion failed", text, file, line);
    }
}

/// The end of the way for an exception that reaches a dispatch of the event loop. Called from a
/// catch block: stops the process with the text of the exception in flight.
[[noreturn]] PLATFORM_API void stopOnException(char const *file = __builtin_FILE(),
                                               int line = __builtin_LINE()) noexcept;

} // namespace Base
