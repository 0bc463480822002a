#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "tests/unload/Host.h"

namespace {

/// Has groups and port sets without end, and keeps what it is given.
class Chip final : public UmoHelper::UmoNatFlowMcastHelper {
  public:
    explicit Chip(Host &host) : UmoNatFlowMcastHelper("chip"), host_(host) {}

    std::uint32_t createNatFlowGroup(Pelo::String const &, Pelo::String const &, bool) override {
        return ++lastId_;
    }
    std::uint32_t
    updateNatFlowVlanPortSet(std::uint32_t, std::uint32_t portSetId,
                             Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) override {
        host_.portSets.push_back(ps);
        return portSetId == 0 ? ++lastId_ : portSetId;
    }

  private:
    Host &host_;
    std::uint32_t lastId_ = 0;
};

} // namespace

extern "C" [[gnu::visibility("default")]] void start(Host &host) {
    host.root = umoNatFlowMcastSmFactory(host.nat, host.hw, host.config, host.status, host.vlans,
                                         host.topologies, host.l3, host.ip, Mox::make<Chip>(host));
    host.show = umoNatFlowMcastSmCliCallbackFactory("showNatFlowActionHw", "", host.hw);
}
