#include "Ip/NatPortSets.h"

namespace Ip::Nat {

Mox::Ptr<NatFlowVlanPortSets> natFlowVlanPortSetsFactory() {
    return Mox::make<NatFlowVlanPortSets>();
}

} // namespace Ip::Nat
