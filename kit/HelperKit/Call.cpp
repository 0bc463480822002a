#include "HelperKit/Call.h"

#include <sstream>

namespace UmoHelper {

std::array<std::string_view, kOperations> const &operationNames() {
    static constexpr std::array<std::string_view, kOperations> kNames{
        "createNatFlowGroup",          "deleteNatFlowGroup",          "updateNatFlowVlanPortSet",
        "deleteNatFlowVlanPortSet",    "updateNatFlowSrcTranslation", "deleteNatFlowSrcTranslation",
        "updateNatFlowDstTranslation", "deleteNatFlowDstTranslation",
    };
    return kNames;
}

Call::Result Call::on(UmoNatFlowMcastHelper &helper) const {
    switch (operation) {
    case Operation::createGroup:
        return helper.createNatFlowGroup(policy, match, unicast);
    case Operation::deleteGroup:
        helper.deleteNatFlowGroup(policy, match, group);
        break;
    case Operation::updatePortSet:
        return helper.updateNatFlowVlanPortSet(group, portSet, ps);
    case Operation::deletePortSet:
        helper.deleteNatFlowVlanPortSet(group, portSet);
        break;
    case Operation::updateSource:
        return helper.updateNatFlowSrcTranslation(group, portSet, vlan, nat, flow, prefixLength);
    case Operation::deleteSource:
        helper.deleteNatFlowSrcTranslation(group, portSet);
        break;
    case Operation::updateDestination:
        return helper.updateNatFlowDstTranslation(group, portSet, vlan, nat, flow, prefixLength,
                                                  dmac);
    case Operation::deleteDestination:
        helper.deleteNatFlowDstTranslation(group, portSet);
        break;
    }
    return {};
}

std::string Call::text() const {
    std::ostringstream out;
    out << operationNames().at(static_cast<std::size_t>(operation)) << '(';
    bool const ofGroup = operation == Operation::createGroup || operation == Operation::deleteGroup;
    if (ofGroup) {
        out << "policy " << policy << ", match " << match;
    }
    if (operation == Operation::createGroup) {
        out << ", unicast " << std::boolalpha << unicast;
    } else {
        out << (ofGroup ? ", group " : "group ") << group;
    }
    if (!ofGroup) {
        out << ", port set " << portSet;
    }
    if (operation == Operation::updatePortSet && ps) {
        out << ", VLAN " << ps->vlan() << ", dmac " << ps->dmac() << ", interfaces";
        for (Nexo::IntfId const intf : ps->intf()) {
            out << ' ';
            if (intf.empty()) {
                out << "recirculation";
            } else {
                out << intf;
            }
        }
    }
    if (operation == Operation::updateSource || operation == Operation::updateDestination) {
        out << ", VLAN " << vlan
            << (operation == Operation::updateSource ? ", source " : ", destination ") << flow
            << " within " << prefixLength << " bits becomes " << nat;
    }
    if (operation == Operation::updateDestination) {
        out << ", dmac " << dmac;
    }
    out << ')';
    return out.str();
}

std::string textOf(Call::Result const &result) {
    if (auto const *const id = std::get_if<std::uint32_t>(&result)) {
        return " -> " + std::to_string(*id);
    }
    if (auto const *const success = std::get_if<bool>(&result)) {
        return *success ? " -> true" : " -> false";
    }
    return "";
}

} // namespace UmoHelper
