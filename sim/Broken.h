#pragma once

#include <sstream>
#include <stdexcept>
#include <string>

namespace Sim {

/// An invariant is broken; the text says which, and where.
class Broken : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

template <class... Parts>
void require(bool holds, Parts const &...parts) {
    if (!holds) {
        std::ostringstream text;
        (text << ... << parts);
        throw Broken(text.str());
    }
}

} // namespace Sim
