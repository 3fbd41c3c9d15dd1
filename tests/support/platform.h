#pragma once

#include <gtest/gtest.h>

namespace testing_support {

// What a test may need and not every platform shows; platform.cpp says why.
// clang-format off
enum class Feature {
    CallsNoted, ShortPauses, ShallowFolders, EmptyPath, PromptKept, LinksToFiles, DirectoryLinks,
    LongTargets, DriveD, Attributes, AllAttributes, WholeExitCodes, Services, UserTokens, Users
};
// clang-format on

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
