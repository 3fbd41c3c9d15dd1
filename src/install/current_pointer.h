#pragma once

#include <cstddef>
#include <string>

// The entry `current` beside the version directories of a component: a link that selects the
// version in force. Every call follows it anew; nothing writes it.

enum CurrentPointerState {
    CurrentValid = 0,              // a link to a directory
    CurrentTargetNotDirectory = 1, // a link to something else
    CurrentNotLink = 2,            // a plain directory or file
    CurrentMissing = 3,            // no entry, or one that can't be followed
};

// The name of the entry. Given as a version, it stands for the version that the entry selects.
inline constexpr char currentName[] = "current";

// Classifies the entry at the path. Sets versionOrPath to the last component of the target if the
// state is CurrentValid, to the resolved path if it is CurrentTargetNotDirectory, and else leaves
// it as it is.
CurrentPointerState readCurrentPointer(const std::string &path, std::string &versionOrPath);

// Prints the state in one line on the standard output, and on the standard error a warning about a
// valid pointer with no version listed beside it. The texts are contract (docs/compatibility.md),
// even where one is wrong: of a target that is a file it says that it doesn't exist.
void reportCurrentPointer(CurrentPointerState state, const std::string &versionOrPath,
                          std::size_t listedVersions);

// The path of the tools' pointer. The platform follows it wherever the path is used.
std::string currentToolDirectory();

// The directory below the frameworks root that has the name of the target, wherever the link leads.
// The path of the pointer if the pointer isn't valid.
std::string currentFrameworkDirectory();
