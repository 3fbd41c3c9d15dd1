#pragma once

#include <cstddef>
#include <string>

// The entry `current` beside the version directories of a component: a link that selects the
// version in force. It is followed anew at each question and never written.

enum CurrentPointerState {
    CurrentValid = 0,              // a link to a directory
    CurrentTargetNotDirectory = 1, // a link to something else
    CurrentNotLink = 2,            // a plain directory or file
    CurrentMissing = 3,            // no entry, or it leads nowhere
};

// Classifies the entry at the path. The version, given empty, receives the target's last component
// if the state is CurrentValid, the resolved path if it is CurrentTargetNotDirectory.
CurrentPointerState readCurrentPointer(const std::string &path, std::string &version);

// Tells a pointer's state in one line on the standard output. A valid pointer with no version
// listed beside it also gets a warning on the standard error.
void reportCurrentPointer(CurrentPointerState state, const std::string &version,
                          std::size_t listedVersions);

// The tools' pointer itself; the platform follows it where the path is used.
std::string currentToolDirectory();

// The directory below the frameworks' root that has the target's name, wherever the link leads;
// the pointer's own path if it isn't valid.
std::string currentFrameworkDirectory();
