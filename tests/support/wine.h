#pragma once

#include <filesystem>
#include <string>

// What Wine lacks, with the programs of the Linux below it.
namespace testing_support::wine {

bool isHere();

// The target as the link is to hold it.
bool makeLink(const std::filesystem::path &link, const std::filesystem::path &target);
// Runs a command of cmd.exe that makes or removes a junction; false if it is another one, or fails.
bool typeLinkCommand(const std::string &command);
// Follows no link.
void removeTree(const std::filesystem::path &folder);

// To be called after a service has run. Wine keeps the number of the service that was started last,
// and a program that offers itself to the dispatcher waits ten seconds for that service.
void forgetLatestService();

} // namespace testing_support::wine
