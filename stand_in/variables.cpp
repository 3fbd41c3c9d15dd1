#include "stand_in/variables.h"

#include "stand_in/faults.h"
#include "stand_in/tokens.h"

#include <cerrno>

int _putenv_s(const char *name, const char *value) {
    if (stand_in::fails("_putenv_s"))
        return EINVAL;
    // An empty value takes the variable away.
    return *value ? ::setenv(name, value, 1) : ::unsetenv(name);
}

BOOL CreateEnvironmentBlock(LPVOID *block, HANDLE token, BOOL inherit) {
    if (stand_in::fails("CreateEnvironmentBlock", !inherit))
        return FALSE;
    const auto found = stand_in::find<stand_in::Token>(token);
    if (!found)
        return FALSE;
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
