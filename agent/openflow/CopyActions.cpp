#include "agent/openflow/CopyActions.h"

#include "agent/openflow/OpenFlowTables.h"
#include "agent/packet/GroupMac.h"

#include <sstream>

namespace UmoAgent {

namespace {

using Translation = std::optional<UmoHelper::Translation>;

/// What a set_field needs to write a VLAN id also into an untagged packet.
constexpr unsigned kTagPresent = 0x1000;

bool translates(Translation const &translation) {
    return translation && !translation->nat.addr().isZero();
}

/// A switch sets the ports of the transport that the packet has, and ignores the others.
void translate(std::ostream &out, Translation const &translation, char const *side) {
    if (!translates(translation)) {
        return;
    }
    auto const &nat = translation->nat;
    out << "set_field:" << nat.addr() << "->ip_" << side << ',';
    if (nat.port() != 0) {
        for (char const *const transport : {"udp", "tcp"}) {
            out << "set_field:" << nat.port() << "->" << transport << '_' << side << ',';
        }
    }
}

void translate(std::ostream &out, UmoHelper::PortSet const &portSet) {
    translate(out, portSet.source, "src");
    translate(out, portSet.destination, "dst");
    out << "dec_ttl,";
}

void setDestinationMac(std::ostream &out, UmoHelper::PortSet const &portSet, Served served) {
    bool const translated = translates(portSet.destination);
    bool const multicast =
        translated ? portSet.destination->nat.addr().isMulticast() : served.multicast;
    if (multicast && !translated) { // the packet's own group
        out << "set_field:" << groupMac(Nexo::IpAddr(0))
            << "->eth_dst,move:NXM_OF_IP_DST[0..22]->NXM_OF_ETH_DST[0..22],";
    } else {
        out << "set_field:"
            << (multicast ? groupMac(portSet.destination->nat.addr()) : portSet.nextHopMac())
            << "->eth_dst,";
    }
}

} // namespace

bool fits(Fragments fragments, UmoHelper::PortSet const &portSet, Datapath datapath) {
    bool const spoilt = fragments == Fragments::later && datapath == Datapath::userspace;
    auto const fits = [&](Translation const &translation) {
        return !translates(translation) || (translation->nat.port() == 0 && !spoilt);
    };
    return fragments == Fragments::none || (fits(portSet.source) && fits(portSet.destination));
}

std::string copyActions(UmoHelper::PortSet const &portSet, Served served, Nexo::EthAddr bridgeMac,
                        Egress egress) {
    std::ostringstream out;
    translate(out, portSet);
    out << "set_field:" << bridgeMac << "->eth_src,";
    setDestinationMac(out, portSet, served);
    if (egress.tagged) {
        out << "set_field:" << (kTagPresent | portSet.vlan) << "->vlan_vid";
    } else {
        out << "pop_vlan";
    }
    out << ",output:" << egress.port;
    return out.str();
}

std::string recirculationActions(UmoHelper::PortSet const &portSet) {
    std::ostringstream out;
    translate(out, portSet);
    out << "set_field:0->" << kGroupRegister << ",resubmit(,"
        << static_cast<unsigned>(FlowTable::groups) << ')';
    return out.str();
}

} // namespace UmoAgent
