#include "stand_in/variables.h"

#include "stand_in/faults.h"

#include <cerrno>

int _putenv_s(const char *name, const char *value) {
    if (stand_in::fails("_putenv_s"))
        return EINVAL;
    // An empty value takes the variable away.
    return *value ? ::setenv(name, value, 1) : ::unsetenv(name);
}
