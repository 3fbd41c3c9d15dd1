#include "stand_in/tokens.h"

#include "stand_in/faults.h"
#include "stand_in/variables.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <optional>

// The files are read as they stand: the C library's look-ups load libraries, which a statically
// linked program can't rely on.

namespace {

constexpr DWORD consoleSession = 1;

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::vector<gid_t> groupsOf(const std::string &name, gid_t primary) {
    std::vector<gid_t> groups{primary};
    const File file(std::fopen("/etc/group", "re"));
    while (const group *entry = file ? ::fgetgrent(file.get()) : nullptr)
        for (char **member = entry->gr_mem; *member; ++member)
            if (name == *member && entry->gr_gid != primary)
                groups.push_back(entry->gr_gid);
    return groups;
}

std::optional<stand_in::User> findUser(const std::function<bool(const passwd &)> &isWanted) {
    const File file(std::fopen("/etc/passwd", "re"));
    while (const passwd *entry = file ? ::fgetpwent(file.get()) : nullptr) {
        if (!isWanted(*entry))
            continue;
        const std::string name = entry->pw_name;
        return stand_in::User{entry->pw_uid, entry->pw_gid, groupsOf(name, entry->pw_gid), name,
                              entry->pw_dir};
    }
    return std::nullopt;
}

stand_in::User ownUser() {
    const auto listed = findUser([](const passwd &entry) { return entry.pw_uid == ::geteuid(); });
    if (listed)
        return *listed;
    return {::geteuid(),
            ::getegid(),
            {},
            stand_in::variable("USER").value_or(""),
            stand_in::variable("HOME").value_or("/")};
}

std::optional<stand_in::User> consoleUser() {
    const auto path = stand_in::variable("ZQHOST_CONSOLE_USER");
    if (!path)
        return ownUser();
    std::string name;
    std::ifstream(*path) >> name;
    return findUser([&name](const passwd &entry) { return entry.pw_name == name; });
}

void setEntry(stand_in::EnvironmentBlock &block, const std::string &name,
              const std::string &value) {
    const std::string start = name + '=';
    std::erase_if(block, [&](const std::string &entry) {
        return entry.compare(0, start.size(), start) == 0;
    });
    block.push_back(start + value);
}

} // namespace

DWORD WTSGetActiveConsoleSessionId() {
    return stand_in::fails("WTSGetActiveConsoleSessionId") ? 0xFFFFFFFF : consoleSession;
}

BOOL WTSQueryUserToken(DWORD session, HANDLE *token) {
    if (stand_in::fails("WTSQueryUserToken"))
        return FALSE;
    if (session != consoleSession)
        return stand_in::outcome(ERROR_FILE_NOT_FOUND);
    auto user = consoleUser();
    if (!user)
        return stand_in::outcome(ERROR_NO_TOKEN);
    *token = stand_in::insert(std::make_shared<stand_in::Token>(std::move(*user)));
    return TRUE;
}

BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS informationClass, LPVOID information,
                         DWORD size, LPDWORD needed) {
    if (stand_in::fails("GetTokenInformation") || !stand_in::find<stand_in::Token>(token))
        return FALSE;
    if (informationClass != TokenLinkedToken)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    *needed = sizeof(TOKEN_LINKED_TOKEN);
    return stand_in::outcome(information && size >= *needed ? ERROR_NO_SUCH_LOGON_SESSION
                                                            : ERROR_INSUFFICIENT_BUFFER);
}

BOOL CreateEnvironmentBlock(LPVOID *block, HANDLE token, BOOL inherit) {
    if (stand_in::fails("CreateEnvironmentBlock"))
        return FALSE;
    if (!inherit)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    const auto found = stand_in::find<stand_in::Token>(token);
    if (!found)
        return FALSE;
    auto made = std::make_unique<stand_in::EnvironmentBlock>(stand_in::allVariables());
    setEntry(*made, "HOME", found->user().home);
    setEntry(*made, "USER", found->user().name);
    setEntry(*made, "LOGNAME", found->user().name);
    *block = made.release();
    return TRUE;
}

BOOL DestroyEnvironmentBlock(LPVOID block) {
    if (stand_in::fails("DestroyEnvironmentBlock"))
        return FALSE;
    delete static_cast<stand_in::EnvironmentBlock *>(block);
    return stand_in::outcome(block ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER);
}
