#pragma once

#include "Base/Export.h"

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Mox {

/// Receives every trace message that is on; see traceSinkIs.
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

    /// `name` must live as long as the process. The handle joins the process's list, and takes
    /// the levels that were set for its name before.
    explicit TraceHandle(char const *name);
    ~TraceHandle();
    TraceHandle(TraceHandle const &) = delete;
    TraceHandle &operator=(TraceHandle const &) = delete;

    [[nodiscard]] char const *name() const noexcept { return name_; }
    [[nodiscard]] bool on(int level) const noexcept { return ((levels_ >> level) & 1U) != 0; }

    /// Writes the pieces, each by its stream operator, as one message if `level` is on. An
    /// exception on the way ends the process: a trace must not change what the traced code does.
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
    mutable unsigned levels_ = 0; // bit n: level n; handles are const to those who trace
};

/// Sets the levels of trace handles, present and future, from a text such as
/// `UmoNat*/1-3,MyAgent/9`: handle names, `*` standing for any rest, with a level or a range. What
/// is not named is off; the empty text switches everything off. Throws std::invalid_argument with
/// the offending piece and what was expected, and then changes nothing. Returns those pieces
/// that name no handle of the process by now.
PLATFORM_API std::vector<std::string> traceLevelsIs(std::string_view setting);

/// All trace handles of the process, by name.
PLATFORM_API std::vector<TraceHandle const *> traceHandles();

/// Sends messages to `sink`, which must outlive its use; null restores standard error. Returns
/// the sink before.
PLATFORM_API TraceSink *traceSinkIs(TraceSink *sink) noexcept;

} // namespace Mox
