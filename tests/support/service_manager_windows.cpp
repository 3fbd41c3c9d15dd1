#include "support/service_manager.h"
#include "support/wine.h"

#include <future>

namespace testing_support {

struct ServiceManager::Host {
    SC_HANDLE manager = ::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    SC_HANDLE service = nullptr;
    SERVICE_STATUS status{};
    std::string reports{};

    ~Host() {
        ::DeleteService(service);
        ::CloseServiceHandle(service);
        ::CloseServiceHandle(manager);
        if (wine::isHere())
            wine::forgetLatestService();
    }
};

ServiceManager::ServiceManager(const TemporaryFolder &folder, const LauncherStart &start)
    : host(std::make_unique<Host>()) {
    static int count = 0;
    const std::string name =
        folder.path().filename().string() + "_" + std::to_string(++count); // one for each test
    std::string line = "\"" + start.program.string() + "\"";
    for (const std::string &argument : start.arguments)
        line += " \"" + argument + "\"";
    host->service =
        ::CreateServiceA(host->manager, name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                         SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                         line.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
    // Sampled from the start: a short run has stopped when this call returns.
    auto started = std::async([this] { return ::StartServiceA(host->service, 0, nullptr); });
    while (started.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        reports();
    EXPECT_TRUE(started.get()) << "can't start service " << line;
}

ServiceManager::~ServiceManager() {
    control(SERVICE_CONTROL_STOP); // if it still runs
    wait();
}

std::string ServiceManager::reports() {
    const DWORD before = host->status.dwCurrentState;
    ::QueryServiceStatus(host->service, &host->status);
    if (host->status.dwCurrentState == SERVICE_START_PENDING)
        host->status.dwWaitHint = 0; // the manager's own, until the service's first report
    // A service that hasn't begun is shown as stopped.
    if (host->status.dwCurrentState != (before == 0 ? SERVICE_STOPPED : before))
        host->reports += lineOf(host->status);
    return host->reports;
}

void ServiceManager::control(DWORD code) {
    SERVICE_STATUS status{};
    ::ControlService(host->service, code, &status);
    reports();
}

void ServiceManager::leave() {}

std::uint32_t ServiceManager::wait() {
    EXPECT_TRUE(waitUntil(
        [this] { return !reports().empty() && host->status.dwCurrentState == SERVICE_STOPPED; }));
    return host->status.dwWin32ExitCode;
}

LauncherRun *ServiceManager::launcher() {
    return nullptr;
}

} // namespace testing_support
