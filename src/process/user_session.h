#pragma once

#include "platform/windows_api.h"

namespace ProcessHandling {

// What a start in the session of the user at the console needs. releaseUserSession releases it.
struct UserSession {
    HANDLE userToken = nullptr;
    HANDLE linkedToken = nullptr; // null if it isn't asked for, or the user has none
    LPVOID environment = nullptr; // the launcher's environment with the user's variables added

    HANDLE tokenToUse() const { return linkedToken != nullptr ? linkedToken : userToken; }
};

// Waits without limit until a user is logged on at the console, and sets the tokens. Prints a line
// on the standard output for each try that leaves a last error, so usually for each refused one.
void waitForUserToken(UserSession &session, bool useLinkedToken);

// Sets the environment for the token to use. On failure returns false, the last error set.
bool makeUserEnvironment(UserSession &session);

void releaseUserSession(UserSession &session);

} // namespace ProcessHandling
