#pragma once

#include "Base/Export.h"

#include <string_view>

namespace Base {

/// Prints `kind: text, file FILE, line LINE` on standard error and aborts the process. For states
/// from which the process cannot continue.
[[noreturn]] PLATFORM_API void stop(char const *kind, std::string_view text, char const *file,
                                    int line) noexcept;

/// Stops the process if `holds` is false, and prints `text` (the asserted expression, to grep for)
/// and the place of the call. Active in every build. Do not pass the last two arguments: they
/// default to the place of the call.
inline void assertThat(bool holds, char const *text, char const *file = __builtin_FILE(),
                       int line = __builtin_LINE()) {
    if (!holds) [[unlikely]] {
        stop("Assertion failed", text, file, line);
    }
}

/// Stops the process with the text of the current exception. Called from a catch block, for an
/// exception that leaves a notification, a task's run or a cleanup.
[[noreturn]] PLATFORM_API void stopOnException(char const *file = __builtin_FILE(),
                                               int line = __builtin_LINE()) noexcept;

} // namespace Base
