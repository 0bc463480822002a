#pragma once

#include "Agent/AgentCommandCallback.h"
#include "Base/Export.h"
#include "Mox/Ptr.h"
#include "Pelo/String.h"

#include <cstdint>
#include <map>

namespace Agent {

/// The commands that an agent answers, with their callbacks.
class PLATFORM_API AgentCommands {
  public:
    using ByName = std::map<Pelo::String, Mox::Ptr<AgentCommandCallback>>;

    /// Adds the callback under its name, and replaces any other callback of that name.
    void commandIs(Mox::Ptr<AgentCommandCallback> const &callback);

    /// In order of name.
    [[nodiscard]] ByName const &commands() const noexcept { return commands_; }

    /// The command name in `text`: its first word, delimited by blanks. Empty if there is none.
    [[nodiscard]] static Pelo::String nameOf(Pelo::String const &text);

    /// Calls the callback for the command name in `text`, with all of the text. The callback
    /// answers to the descriptor `socket`. Returns false, and writes nothing, if there is no such
    /// command.
    [[nodiscard]] bool handleCommand(std::uint32_t socket, Pelo::String const &text) const;

  private:
    ByName commands_;
};

} // namespace Agent
