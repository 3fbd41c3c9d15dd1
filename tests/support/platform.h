#pragma once

#include <gtest/gtest.h>

namespace testing_support {

// What a test may need and not every platform shows.
enum class Feature {
    CallsNoted,     // the calls of the launcher can be read, made to fail and made late
    ShortPauses,    // a pause of a millisecond takes about that long
    ShallowFolders, // a folder for tests is one or two levels below its drive
    EmptyPath,      // a process without a PATH
    PromptKept,     // the command interpreter keeps PROMPT
    LinksToFiles,   // a link to a file is shown as a link
    DirectoryLinks, // mklink /D makes a link of another kind
    LongTargets,    // a link can lead to a path of more than 259 characters
    Attributes,     // a directory can be hidden
    AllAttributes,  // it has the other attributes too
    WholeExitCodes, // all 32 bits of an exit code reach its parent
    Services,       // this process may register services
    UserTokens,     // the launcher may start programs as the user at the console
    Users,          // there is more than one session, user and kind of rights
};

// Null, or the reason why the platform that the tests run on doesn't show the feature.
const char *reasonWithout(Feature feature);

inline bool has(Feature feature) {
    return reasonWithout(feature) == nullptr;
}

} // namespace testing_support

// Skips the test, and says why, where the platform doesn't show the feature.
#define SKIP_WITHOUT(feature)                                                                      \
    if (const char *reason = testing_support::reasonWithout(feature))                              \
    GTEST_SKIP() << reason
