#pragma once

#include "Base/Export.h"
#include "Mox/Seconds.h"

#include <cstdint>
#include <vector>

namespace Mox {

/// The recommended action of an event that needs none.
inline constexpr char const *NoActionRequired = "No action is required.";

/// One event of a module's catalogue: what an operator finds on looking it up. Texts are string
/// literals; `message` is a printf format of the event's arguments.
struct LogEvent {
    char const *name;
    unsigned severity; // 0 (emergency) to 7 (debugging)
    char const *message;
    char const *explanation;
    char const *recommendedAction;
    Seconds minimumInterval; // between two messages of this event
    double factor;
    std::uint32_t firstLimit;
    std::uint32_t secondLimit;
};

/// Registers an event while the handle lives. Define handles at namespace scope, so that the
/// catalogue is complete once the library is loaded.
class PLATFORM_API LogHandle {
  public:
    explicit LogHandle(LogEvent const &event);
    ~LogHandle();
    LogHandle(LogHandle const &) = delete;
    LogHandle &operator=(LogHandle const &) = delete;

    [[nodiscard]] LogEvent const &event() const noexcept { return event_; }

  private:
    LogEvent event_;
};

/// The catalogue of the process: all registered events, in order of registration.
PLATFORM_API std::vector<LogHandle const *> const &logHandles();

} // namespace Mox
