#include "support/platform.h"

#include "support/host.h"

#include <set>

namespace testing_support {
namespace {

using enum Platform;

struct Lack {
    Feature feature;
    std::set<Platform> platforms;
    const char *reason;
};

const Lack lacks[] = {
    {Feature::CallsNoted, {Windows, Wine}, "only the stand-in notes calls and lets them fail"},
    {Feature::ShortPauses, {Windows, Wine}, "a pause takes a tick of the system's timer"},
    {Feature::ShallowFolders, {Windows, Wine}, "the temporary folder is deep"},
    {Feature::EmptyPath, {Wine}, "Wine passes the system's PATH to a process without one"},
    {Feature::PromptKept, {Wine}, "Wine's interpreter sets PROMPT anew"},
    {Feature::LinksToFiles, {Wine}, "Wine shows a link to a file as that file"},
    {Feature::DirectoryLinks, {StandIn, Wine}, "there is one kind of link only"},
    {Feature::LongTargets, {Windows, Wine}, "the tests can make no directory with so long a path"},
    {Feature::DriveD, {StandIn}, "the stand-in has no drive D"},
    {Feature::Attributes, {StandIn}, "the stand-in has no attributes to set"},
    {Feature::AllAttributes, {StandIn, Wine}, "a directory can only be hidden here"},
    {Feature::UserTokens, {Windows}, "only a service of LocalSystem can do this: see ServiceUser"},
    {Feature::Users, {StandIn, Wine}, "there is one user only, and one session"},
    {Feature::WholeExitCodes, {StandIn}, "the host passes on 8 bits of an exit code"},
};

} // namespace

const char *reasonWithout(Feature feature) {
#ifdef _WIN32
    if (feature == Feature::Services && !mayRegisterServices())
        return "only an administrator may register services";
    if (feature == Feature::DriveD && !hasDriveD())
        return "there is no local drive D to make folders on";
    const bool needsRights = feature == Feature::LinksToFiles || feature == Feature::DirectoryLinks;
    if (needsRights && platform() == Platform::Windows && !maySymbolicLink())
        return "this account may make no symbolic links";
#endif
    for (const Lack &lack : lacks)
        if (lack.feature == feature && lack.platforms.contains(platform()))
            return lack.reason;
    return nullptr;
}

} // namespace testing_support
