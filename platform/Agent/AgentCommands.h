#pragma once

#include "Agent/AgentCommandCallback.h"
#include "Base/Export.h"
#include "Mox/Ptr.h"
#include "Pelo/String.h"

#include <cstdint>
#include <map>

namespace Agent {

/// The commands that an agent answers, each by the callback of its name.
class PLATFORM_API AgentCommands {
  public:
    using ByName = std::map<Pelo::String, Mox::Ptr<AgentCommandCallback>>;

    /// Routes the callback's name to it; instead of another callback that had the name.
    void commandIs(Mox::Ptr<AgentCommandCallback> const &callback);

    /// In the order of names.
    [[nodiscard]] ByName const &commands() const noexcept { return commands_; }

    /// The name of the command that `text` is for: its first word, set off by blanks.
    [[nodiscard]] static Pelo::String nameOf(Pelo::String const &text);

    /// Has the callback of the name in `text` answer to the descriptor `socket`; the callback is
    /// given all of the text. Returns false, and writes nothing, if there is no such command.
    [[nodiscard]] bool handleCommand(std::uint32_t socket, Pelo::String const &text) const;

  private:
    ByName commands_;
};

} // namespace Agent
