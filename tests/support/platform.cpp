#include "support/platform.h"

#include "support/host.h"

#include <algorithm>
#include <iterator>

namespace testing_support {
namespace {

struct Lack {
    Feature feature;
    Platform platform;
    const char *reason;
};

constexpr Lack lacks[] = {
    {Feature::CallsNoted, Platform::Windows, "no call fails at will on Windows"},
    {Feature::CallsNoted, Platform::Wine, "no call fails at will under Wine"},
    {Feature::EmptyConsole, Platform::Windows, "somebody may be at the console"},
    {Feature::EmptyConsole, Platform::Wine, "somebody is always at Wine's console"},
    {Feature::ShortPauses, Platform::Windows, "a pause takes a tick of the system's timer"},
    {Feature::ShortPauses, Platform::Wine, "a pause takes a tick of the system's timer"},
    {Feature::ManagerThatGoes, Platform::Windows, "the system's manager stays"},
    {Feature::ManagerThatGoes, Platform::Wine, "the system's manager stays"},
    {Feature::ShallowFolders, Platform::Windows, "the temporary folder is deep"},
    {Feature::ShallowFolders, Platform::Wine, "the temporary folder is deep"},
    {Feature::EmptyPath, Platform::Wine, "Wine gives a process without a PATH the system's"},
    {Feature::PromptKept, Platform::Wine, "Wine's interpreter sets PROMPT anew"},
    {Feature::LinksToFiles, Platform::Wine, "Wine shows a link to a file as that file"},
    {Feature::LongTargets, Platform::Wine, "Wine follows no link to so long a path"},
    {Feature::Attributes, Platform::StandIn, "the stand-in has no attributes to set"},
    {Feature::WholeExitCodes, Platform::StandIn, "the host passes on 8 bits of an exit code"},
};

} // namespace

const char *reasonWithout(Feature feature) {
    if (feature == Feature::Services && !mayRegisterServices())
        return "only an administrator may register services";
    if (feature == Feature::LinksToFiles && platform() == Platform::Windows && !mayLinkFiles())
        return "this account may make no links to files";
    const auto *found = std::find_if(std::begin(lacks), std::end(lacks), [&](const Lack &lack) {
        return lack.feature == feature && lack.platform == platform();
    });
    return found != std::end(lacks) ? found->reason : nullptr;
}

} // namespace testing_support
