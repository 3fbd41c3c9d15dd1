#include "process/user_session.h"

#include "primitives/handle.h"

#include <cstddef>
#include <iostream>
#include <vector>

namespace ProcessHandling {

namespace {

constexpr DWORD retryPauseMs = 1;

bool queryUserToken(HANDLE &token) {
    const DWORD sessionId = ::WTSGetActiveConsoleSessionId();
    token = nullptr;
    const BOOL granted = ::WTSQueryUserToken(sessionId, &token);
    const DWORD error = ::GetLastError();
    // The last error decides on the line, not the result: a granted query prints one too if an
    // older error is still set. Contract: docs/compatibility.md.
    if (error != ERROR_SUCCESS)
        std::cout << "WTSQueryUserToken" << granted << error << std::endl;
    return granted != 0;
}

// Returns false if the token has no linked one.
bool queryLinkedToken(HANDLE userToken, HANDLE &linkedToken) {
    DWORD size = 0;
    ::GetTokenInformation(userToken, TokenLinkedToken, nullptr, 0, &size);
    std::vector<std::byte> buffer(size);
    if (::GetTokenInformation(userToken, TokenLinkedToken, buffer.data(), size, &size) == 0)
        return false;
    linkedToken = reinterpret_cast<const TOKEN_LINKED_TOKEN *>(buffer.data())->LinkedToken;
    return true;
}

} // namespace

void waitForUserToken(UserSession &session, bool useLinkedToken) {
    for (;;) {
        if (queryUserToken(session.userToken)) {
            // A linked token that is null counts as no user yet: it is asked for again, and the
            // user's own token doesn't take its place.
            const bool linked =
                useLinkedToken && queryLinkedToken(session.userToken, session.linkedToken);
            if ((linked ? session.linkedToken : session.userToken) != nullptr)
                return;
            closeAndClear(session.userToken);
        }
        ::Sleep(retryPauseMs);
    }
}

bool makeUserEnvironment(UserSession &session) {
    return ::CreateEnvironmentBlock(&session.environment, session.tokenToUse(), TRUE) == TRUE;
}

void releaseUserSession(UserSession &session) {
    if (session.environment != nullptr)
        ::DestroyEnvironmentBlock(session.environment);
    closeAndClear(session.linkedToken);
    closeAndClear(session.userToken);
}

} // namespace ProcessHandling
