#pragma once

#include <string>
#include <vector>

// What the launcher asks the file system about paths. Nothing here writes, keeps state or reports:
// a failure becomes false, an empty string or an empty list. A path is a narrow string with `\` as
// separator, and only its ASCII characters reach the platform unchanged (wide_text.h).

bool isDirectory(const std::string &path);
bool fileExists(const std::string &path);

// The full path of the running executable, cut after 259 characters.
std::string ownModulePath();

// Whether the name ends in .exe or .bat, in any letter case. Doesn't look at the file.
bool isExecutableName(const std::string &path);

// Whether the path itself is a link. True for a path that does not exist or can't be examined.
bool hasReparseAttribute(const std::string &path);

// The path with all links followed, up to 507 characters, without the platform's prefix.
std::string resolveFinalPath(const std::string &path);

// The last component of the resolved path.
std::string linkTargetName(const std::string &path);

// The names of the subdirectories that have no attribute but the directory bit and no leading dot,
// in the platform's order. So links and hidden directories are left out.
std::vector<std::string> listDirectories(const std::string &path);
