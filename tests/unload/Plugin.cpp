#include "UmoNat/UmoNatFlowMcastSm.h"

/// Loads the library, lets it follow a policy that comes and goes, and ends it.
extern "C" [[gnu::visibility("default")]] void useTheLibrary() {
    auto const nat = Mox::make<Ip::Nat::Status>();
    auto const root = umoNatFlowMcastSmFactory(
        nat, Mox::make<Ip::Nat::HwNatFlowStatus>(), nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, Mox::make<UmoHelper::UmoNatFlowMcastHelper>("no hardware"));
    nat->natFlowIs("feed")->matchIs("gold")->actionIs("customer")->versionIs(1);
    nat->natFlowDel("feed");
}
