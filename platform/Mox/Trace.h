#pragma once

#include "Base/Export.h"

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Mox {

/// Receives every trace message whose level is on; see traceSinkIs.
class PLATFORM_API TraceSink {
  public:
    virtual ~TraceSink();
    virtual void message(std::string_view handle, int level, std::string_view text) = 0;
};

/// A named source of trace messages with the levels 0 to 9, one per source file or subject,
/// defined at namespace scope. A message whose level is off costs one test:
///
///     trace.at(2, "UmoNatFlowMatchSm::", "deleteNatFlowGroups", ", policy: ", policy_);
class PLATFORM_API TraceHandle {
  public:
    static constexpr int kMaxLevel = 9;

    /// `name` must outlive the handle. The handle joins the process's list, and gets the levels
    /// already set for its name.
    explicit TraceHandle(char const *name);
    ~TraceHandle();
    TraceHandle(TraceHandle const &) = delete;
    TraceHandle &operator=(TraceHandle const &) = delete;

    [[nodiscard]] char const *name() const noexcept { return name_; }
    [[nodiscard]] bool on(int level) const noexcept { return ((levels_ >> level) & 1U) != 0; }

    /// Writes the pieces, each with its stream operator, as one message if `level` is on. An
    /// exception ends the process: a trace must not change what the traced code does.
    template <class... Pieces>
    void at(int level, Pieces const &...pieces) const noexcept {
        if (on(level)) [[unlikely]] {
            std::ostringstream text;
            text << std::boolalpha;
            (text << ... << pieces);
            write(level, text.str());
        }
    }

  private:
    friend class TraceRegistry;
    void write(int level, std::string const &text) const;

    char const *name_;
    mutable unsigned levels_ = 0; // bit n: level n; users hold const handles
};

/// Sets the levels of trace handles, present and future, from a text such as
/// `UmoNat*/1-3,MyAgent/9`: handle names, each with a level or a range; a final `*` matches any
/// rest. Handles not named are off; the empty text switches everything off. Returns the pieces that
/// match no handle yet. If `setting` is malformed, changes nothing and throws std::invalid_argument
/// with the bad piece and what was expected.
PLATFORM_API std::vector<std::string> traceLevelsIs(std::string_view setting);

/// All trace handles of the process, in order of name.
PLATFORM_API std::vector<TraceHandle const *> traceHandles();

/// Sends messages to `sink`, which must live until it is replaced; null restores standard error.
/// Returns the previous sink, null for standard error.
PLATFORM_API TraceSink *traceSinkIs(TraceSink *sink) noexcept;

} // namespace Mox
