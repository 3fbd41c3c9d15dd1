#include "stand_in/tokens.h"

#include "stand_in/faults.h"
#include "stand_in/variables.h"

#include <fstream>
#include <vector>

namespace {

constexpr DWORD consoleSession = 1;
constexpr char unlinkedUser[] = "unlinked"; // has a linked token that is null

// Empty if there is none.
std::string consoleUser() {
    const auto path = stand_in::variable("ZQHOST_CONSOLE_USER");
    if (!path)
        return stand_in::variable("USER").value_or("user");
    std::string name;
    std::ifstream(*path) >> name;
    return name;
}

} // namespace

DWORD WTSGetActiveConsoleSessionId() {
    return stand_in::fails("WTSGetActiveConsoleSessionId") ? 0xFFFFFFFF : consoleSession;
}

BOOL WTSQueryUserToken(DWORD session, HANDLE *token) {
    if (stand_in::fails("WTSQueryUserToken"))
        return FALSE;
    if (session != consoleSession)
        return stand_in::resultOf(ERROR_FILE_NOT_FOUND);
    const std::string user = consoleUser();
    if (user.empty())
        return stand_in::resultOf(ERROR_NO_TOKEN);
    *token = stand_in::insert(std::make_shared<stand_in::Token>(user));
    return TRUE;
}

BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS, LPVOID information, DWORD size,
                         LPDWORD needed) {
    if (stand_in::fails("GetTokenInformation"))
        return FALSE;
    const auto found = stand_in::find<stand_in::Token>(token);
    if (!found)
        return FALSE;
    *needed = sizeof(TOKEN_LINKED_TOKEN);
    if (size < *needed)
        return stand_in::resultOf(ERROR_INSUFFICIENT_BUFFER);
    static_cast<TOKEN_LINKED_TOKEN *>(information)->LinkedToken =
        found->user == unlinkedUser
            ? nullptr
            : stand_in::insert(std::make_shared<stand_in::Token>(found->user, /*linked=*/true));
    return TRUE;
}

BOOL CreateEnvironmentBlock(LPVOID *block, HANDLE token, BOOL inherit) {
    if (stand_in::fails("CreateEnvironmentBlock", !inherit))
        return FALSE;
    const auto found = stand_in::find<stand_in::Token>(token);
    if (!found)
        return FALSE;
    if (found->isLinked)
        stand_in::note("of a linked token");
    auto *variables = new stand_in::EnvironmentBlock(stand_in::allVariables());
    std::erase_if(*variables, [](const std::string &entry) { return entry.starts_with("USER="); });
    variables->push_back("USER=" + found->user);
    *block = variables;
    return TRUE;
}

BOOL DestroyEnvironmentBlock(LPVOID block) {
    if (stand_in::fails("DestroyEnvironmentBlock"))
        return FALSE;
    delete static_cast<stand_in::EnvironmentBlock *>(block);
    return TRUE;
}
