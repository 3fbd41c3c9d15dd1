#pragma once

#include "stand_in/handles.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace stand_in {

// A user of the host, as programs are started for one.
struct User {
    uid_t id;
    gid_t group;
    std::vector<gid_t> groups;
    std::string name;
    std::string home;
};

class Token final : public Object {
public:
    explicit Token(User user) : m_user(std::move(user)) {}
    const User &user() const { return m_user; }

private:
    User m_user;
};

// What CreateEnvironmentBlock's block points to: "name=value" entries.
using EnvironmentBlock = std::vector<std::string>;

} // namespace stand_in
