#pragma once

#include "stand_in/handles.h"

#include <string>
#include <utility>

namespace stand_in {

// The user at the console. A program that is started with the token finds the name in its
// variables; it runs as the same user of the host as its creator.
struct Token final : Object {
    explicit Token(std::string name, bool linked = false)
        : user(std::move(name)), isLinked(linked) {}
    const std::string user;
    const bool isLinked;
};

} // namespace stand_in
