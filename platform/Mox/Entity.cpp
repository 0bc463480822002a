#include "Mox/Entity.h"

namespace Mox {

Entity::~Entity() = default;

Pelo::String Entity::nameString() const {
    return {};
}

} // namespace Mox
