#include "Ip/NatPortSets.h"

namespace Ip::Nat {

NatFlowPortSet::~NatFlowPortSet() = default;

Mox::Ptr<NatFlowVlanPortSets> natFlowVlanPortSetsFactory() {
    return Mox::make<NatFlowVlanPortSets>();
}

} // namespace Ip::Nat
