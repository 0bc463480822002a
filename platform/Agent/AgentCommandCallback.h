#pragma once

#include "Base/Export.h"
#include "Mox/Entity.h"
#include "Pelo/String.h"

#include <cstdint>

namespace Agent {

/// Answers one command of the agent. The agent calls it on the event loop's thread, between
/// notifications and tasks.
class PLATFORM_API AgentCommandCallback : public Mox::Entity {
  public:
    /// `name` is the name of the command, `help` one line of help.
    AgentCommandCallback(Pelo::String name, Pelo::String help);

    [[nodiscard]] Pelo::String nameString() const override { return name_; }
    [[nodiscard]] Pelo::String const &help() const noexcept { return help_; }

    /// Answers `command`, the whole text that the client sent, by writing to the descriptor
    /// `socket`. The caller owns and closes the descriptor.
    virtual void handleCommand(std::uint32_t socket, Pelo::String const &command) = 0;

  protected:
    ~AgentCommandCallback() override;

  private:
    Pelo::String name_;
    Pelo::String help_;
};

} // namespace Agent
