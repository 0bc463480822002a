#pragma once

#include "Vyr/Clock.h"
#include "agent/base/ChildProcess.h"
#include "agent/base/EventLoop.h"
#include "agent/base/Timer.h"
#include "agent/openflow/GroupIds.h"
#include "agent/openflow/OpenFlowRenderer.h"
#include "agent/openflow/OpenFlowTables.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace UmoAgent {

/// Keeps the agent's part of a switch's OpenFlow tables as the renderer has it. All changes since
/// the last time are sent as one atomic bundle, and the next bundle waits for its end. The tools
/// of Open vSwitch do the talking, as child processes, so the loop never waits.
///
/// Nothing that is in the switch is taken for granted: its tables are read when it comes, after a
/// refused bundle, and for each audit; then it is sent what differs.
class SwitchProgrammer {
  public:
    struct Options {
        std::string target; // the bridge, as ovs-ofctl takes it: `unix:/run/openvswitch/br0.mgmt`
        GroupRange range{};
        Vyr::Time audit = std::chrono::seconds(10); // between two audits; 0: none
    };
    struct Counters {
        std::uint64_t bundles = 0;           // that the switch has taken
        std::uint64_t groups = 0, flows = 0; // changed by them
        std::uint64_t refused = 0;
        std::string refusal; // the switch's words, the last time; empty: never
        std::uint64_t audits = 0;
        std::uint64_t mended = 0; // groups and flows that audits found to be wrong
    };

    /// Receives a line for the user.
    using Log = std::function<void(std::string const &line)>;
    struct AuditAnswer {
        bool done = false; // else the only line is the reason
        std::vector<std::string> lines;
    };
    /// Called once, when what the audit found has been mended.
    using Audited = std::function<void(AuditAnswer const &answer)>;

    /// `loop` and `renderer` outlive it.
    SwitchProgrammer(EventLoop &loop, OpenFlowRenderer &renderer, Options options, Log log);
    SwitchProgrammer(SwitchProgrammer const &) = delete;
    SwitchProgrammer &operator=(SwitchProgrammer const &) = delete;

    /// Sends nothing before this is called: what an earlier agent left in the switch is replaced
    /// in one step, when the new state is complete.
    void begin();
    [[nodiscard]] bool begun() const { return begun_; }

    /// The switch is there; it may be another one than before.
    void switchCame();
    void switchWent();

    /// Sends what was changed, unless something is in progress, which is followed by the changes
    /// since. To be called when the loop has nothing else to do.
    void send();

    /// Compares the switch with what it should have, now or after what is in progress. `audited`
    /// may be null; else somebody waits, and after failures the next try is made at once.
    void audit(Audited audited);

    /// What made a try fail may be over. The next one is made soon, but not within a second of the
    /// last one.
    void tryAgain();

    /// Takes everything of the agent out of the switch, and waits for that. Afterwards nothing
    /// more is sent. Returns whether nothing of this agent is left there.
    bool removeAll();

    /// Why the switch is not programmed: it is away, or has failed three times in a row. Empty if
    /// all is well.
    [[nodiscard]] std::string trouble() const;

    /// Whether the switch has all that `send` knows of.
    [[nodiscard]] bool inStep() const {
        return begun_ && known_ && child_ == nullptr && pending_.groups.empty() &&
               pending_.flows.empty();
    }

    [[nodiscard]] Counters const &counters() const { return counters_; }

  private:
    void run(std::vector<std::string> arguments, std::string const &input, ChildProcess::Done done);
    void read();
    void dump(std::function<void(OpenFlowTables const &there)> done);
    bool renderedMore();
    void settled();
    void find(OpenFlowTables const &there);
    static void answer(std::vector<Audited> const &audits, AuditAnswer const &answer);
    void auditsFail();
    void failed(std::string const &problem);

    EventLoop &loop_;
    OpenFlowRenderer &renderer_;
    Options options_;
    Log log_;
    std::unique_ptr<ChildProcess> child_; // what is in progress
    bool begun_ = false;
    bool switchThere_ = false;
    bool everRead_ = false;
    bool known_ = false;                // what the switch has
    bool comparable_ = false;           // there_ is of this switch
    OpenFlowTables there_;              // it has this, or had it after the last success
    OpenFlowRenderer::Touched unsure_;  // except where a bundle has failed since
    OpenFlowRenderer::Touched pending_; // where it may differ from what it should have
    unsigned failures_ = 0;             // in a row
    Vyr::Time failedAt_{};              // the last time
    std::string problem_;               // then
    Counters counters_;
    bool auditWanted_ = false;
    std::vector<Audited> asked_; // for one that has not begun yet
    bool auditing_ = false;      // or what was found is being mended
    std::vector<Audited> answering_;
    std::vector<std::string> findings_; // since nothing was left to be sent
    Timer retry_;
    Timer nextAudit_;
};

} // namespace UmoAgent
