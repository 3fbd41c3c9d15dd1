#pragma once

#include <string>
#include <vector>

// The installation model's only way to the file system. Nothing here writes, keeps state or
// reports: a failure collapses to false, an empty string or an empty list.
//
// A path is a narrow string with `\` as separator, one byte a character; it is exact for the bytes
// 0x00 to 0x7F only, since no code page is consulted on the way to the platform and back.

bool isDirectory(const std::string &path);
bool fileExists(const std::string &path);

// Full path of the running executable, cut at 259 characters.
std::string ownModulePath();

// Whether the name ends in .exe or .bat, in any letter case; the file itself is not looked at.
bool isExecutableName(const std::string &path);

// Whether the path itself is a link. True for a path that does not exist or can't be examined.
bool hasReparseAttribute(const std::string &path);

// The path with all links followed, up to 507 characters, without the platform's prefix.
std::string resolveFinalPath(const std::string &path);

// Last component of the resolved path.
std::string linkTargetName(const std::string &path);

// Bare names of the plain subdirectories, in the platform's order: no attribute but the directory
// bit, no dot in front. Links are thereby left out, hidden directories too.
std::vector<std::string> listDirectories(const std::string &path);
