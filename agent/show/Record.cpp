#include "agent/show/Record.h"

#include <cstddef>
#include <utility>

namespace UmoAgent {

Json record(std::initializer_list<Member> members) {
    // Printouts add up to two to some objects. Members have const names, so growing copies them
    // all, with everything in them.
    constexpr std::size_t kMore = 2;
    Json::object_t object;
    object.reserve(members.size() + kMore);
    for (Member const &member : members) {
        object.Container::emplace_back(member.name, std::move(member.value));
    }
    return object;
}

} // namespace UmoAgent
