#include "Ip/NatFlow.h"

#include <ostream>
#include <sstream>

namespace Ip::Nat {

namespace {
std::ostream &operator<<(std::ostream &out, NatFlowEnd const &end) {
    return out << end.addr << '/' << end.prefixLength << ':' << end.port;
}
} // namespace

std::ostream &operator<<(std::ostream &out, NatFlow const &flow) {
    return out << flow.source << " -> " << flow.destination;
}

Pelo::String NatFlow::stringValue() const {
    std::ostringstream text;
    text << *this;
    return text.str();
}

} // namespace Ip::Nat
