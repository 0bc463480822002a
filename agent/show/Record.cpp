#include "agent/show/Record.h"

#include <cstddef>
#include <utility>

namespace UmoAgent {

Json record(std::initializer_list<Member> members) {
    // Some objects get more members. Their names are const, so growing copies all members, with
    // everything in them.
    constexpr std::size_t kMore = 4;
    Json::object_t object;
    object.reserve(members.size() + kMore);
    for (Member const &member : members) {
        object.Container::emplace_back(member.name, std::move(member.value));
    }
    return object;
}

} // namespace UmoAgent
