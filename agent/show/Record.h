#pragma once

#include "agent/show/Reply.h"

#include <nlohmann/json.hpp>

#include <initializer_list>

namespace UmoAgent {

/// A member of an object that record() makes.
struct Member {
    char const *name;
    mutable Json value; // record() takes it
};

/// The object of these members, whose names differ. Json's own list makes an array of each first,
/// which takes several times as long.
Json record(std::initializer_list<Member> members);

} // namespace UmoAgent
