#pragma once

// What --list prints on the standard output: the installed versions of the components. The word of
// --list chooses the mode.

enum class ListMode { None = 0, All = 1, Tools = 2, Addons = 3, Frameworks = 4 };

// Prints the listings of the mode; None prints nothing.
void listInstalled(ListMode mode);

// The state of `current`, then one line per version, in the platform's order.
void listTools();
void listFrameworks();

// The same for each package of each addon.
void listAddons();
