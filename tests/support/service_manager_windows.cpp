#include "support/service_manager.h"

#include <future>
#include <stdexcept>

namespace testing_support {
namespace {

// The number of the service that was started last stands in a key of Wine's, and a program that
// offers itself to the dispatcher waits for that service. No service has this one.
void forgetLatestService() {
    const DWORD none = 1000000;
    ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, "System\\CurrentControlSet\\Control\\ServiceCurrent",
                      nullptr, REG_DWORD, &none, sizeof none);
}

} // namespace

struct ServiceManager::Host {
    SC_HANDLE manager = ::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    SC_HANDLE service = nullptr;
    HANDLE process = nullptr;
    std::vector<SERVICE_STATUS> reports{};

    ~Host() {
        ::TerminateProcess(process, 137);
        ::CloseHandle(process);
        ::DeleteService(service);
        ::CloseServiceHandle(service);
        ::CloseServiceHandle(manager);
        forgetLatestService();
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
    auto started = std::async([this] {
        return ::StartServiceA(host->service, 0, nullptr) ? ERROR_SUCCESS : ::GetLastError();
    });
    while (started.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        reports();
    if (const DWORD error = started.get(); error != ERROR_SUCCESS)
        throw std::runtime_error("can't start service " + line + ": error " +
                                 std::to_string(error));
    SERVICE_STATUS_PROCESS status{};
    DWORD size = 0;
    ::QueryServiceStatusEx(host->service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE *>(&status),
                           sizeof status, &size);
    host->process = ::OpenProcess(PROCESS_ALL_ACCESS, FALSE, status.dwProcessId);
}

ServiceManager::~ServiceManager() = default;

const std::vector<SERVICE_STATUS> &ServiceManager::reports() {
    SERVICE_STATUS status{};
    ::QueryServiceStatus(host->service, &status);
    const DWORD latest =
        host->reports.empty() ? SERVICE_STOPPED : host->reports.back().dwCurrentState;
    if (status.dwCurrentState != latest)
        host->reports.push_back(status);
    return host->reports;
}

void ServiceManager::control(DWORD code) {
    SERVICE_STATUS status{};
    ::ControlService(host->service, code, &status);
    reports();
}

void ServiceManager::leave() {}

std::uint32_t ServiceManager::wait() {
    // A short run can be over before its process could be opened; its last report tells the code.
    if (host->process == nullptr)
        return awaitState(SERVICE_STOPPED) ? host->reports.back().dwWin32ExitCode : STILL_ACTIVE;
    DWORD exitCode = STILL_ACTIVE;
    waitUntil([&] {
        reports();
        return ::GetExitCodeProcess(host->process, &exitCode) && exitCode != STILL_ACTIVE;
    });
    return exitCode;
}

LauncherRun *ServiceManager::launcher() {
    return nullptr;
}

} // namespace testing_support
