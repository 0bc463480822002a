#include "UmoNat/UmoNatFlowMcastSm.h"

#include <iostream>

int main() {
    auto const helper = Mox::make<UmoHelper::UmoNatFlowMcastHelper>("no hardware");
    auto const root = umoNatFlowMcastSmFactory(Mox::make<Ip::Nat::Status>(),
                                               Mox::make<Ip::Nat::HwNatFlowStatus>(), nullptr,
                                               nullptr, nullptr, nullptr, nullptr, nullptr, helper);
    std::cout << helper->nameString() << ": " << root->policySm().size() << " policies\n";
}
