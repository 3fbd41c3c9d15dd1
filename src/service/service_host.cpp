#include "service/service_host.h"

#include "frontend/launcher.h"
#include "platform/windows_api.h"
#include "primitives/scope_guard.h"
#include "primitives/wide_text.h"
#include "process/process_handling.h"

namespace {

constexpr char serviceName[] = "Larkstone Launcher (Service Mode)";

constexpr DWORD pollPauseMs = 1;
// The worker has no message queue until waitForProcess looks at it, a second after the tool's
// start, and a request that is posted before is lost. As this pause is longer, that happens only if
// the watcher's very first check finds the stop, or if a start-up tool makes the tool's own start
// late.
constexpr DWORD stopPollPauseMs = 1500;
constexpr DWORD stopGraceMs = 5000;

ServiceContext *g_ServiceContext = nullptr;
SERVICE_STATUS_HANDLE g_ServiceStatusHandle = nullptr;
HANDLE g_ServiceStopEvent = INVALID_HANDLE_VALUE;

// The one status record. Only one thread uses it at a time, so that no stop is reported after the
// end. ServiceMain uses it until it reports running, and sets g_StatusIsFree right before. From
// then on a user must clear that flag first: the handler does so for each stop, and sets it again;
// ServiceMain does so once, before its last report.
SERVICE_STATUS g_ServiceStatus = {};
std::atomic<bool> g_StatusIsFree = false;

struct Report {
    DWORD state;
    DWORD controlsAccepted;
    DWORD checkPoint; // a fixed value. Contract: docs/compatibility.md
};

constexpr Report starting{SERVICE_START_PENDING, 0, 0};
constexpr Report eventFailed{SERVICE_STOPPED, 0, 1};
constexpr Report running{SERVICE_RUNNING, SERVICE_ACCEPT_STOP, 0};
constexpr Report stopping{SERVICE_STOP_PENDING, 0, 4};
constexpr Report stopped{SERVICE_STOPPED, 0, 3};

void debugMessage(const std::string &routine, const std::string &text) {
    ::OutputDebugStringW(widen(serviceName + (": " + routine) + ": " + text).c_str());
}

void makeReport(const Report &report, const std::string &routine) {
    g_ServiceStatus.dwCurrentState = report.state;
    g_ServiceStatus.dwControlsAccepted = report.controlsAccepted;
    g_ServiceStatus.dwWin32ExitCode = g_ServiceContext->exitCode;
    g_ServiceStatus.dwCheckPoint = report.checkPoint;
    // A copy, as a stop may come, and its handler change the record, before the call returns.
    SERVICE_STATUS status = g_ServiceStatus;
    g_StatusIsFree = report.state == SERVICE_RUNNING;
    if (::SetServiceStatus(g_ServiceStatusHandle, &status) == 0)
        debugMessage(routine, "SetServiceStatus returned error");
}

void makeReport(const Report &report) {
    makeReport(report, "ServiceMain");
}

void logEarlyExit() {
    debugMessage("ServiceMain", "Exit");
}

void WINAPI ServiceCtrlHandler(DWORD control) {
    if (control != SERVICE_CONTROL_STOP || !g_StatusIsFree.exchange(false))
        return;
    if (g_ServiceStatus.dwCurrentState == SERVICE_RUNNING) {
        makeReport(stopping, "ServiceCtrlHandler");
        ::SetEvent(g_ServiceStopEvent);
    }
    g_StatusIsFree = true;
}

DWORD WINAPI ServiceWorkerThread(LPVOID argument) {
    auto *context = static_cast<ServiceContext *>(argument);
    const std::int32_t status =
        runLauncher(context->name, context->version, context->argc, context->argv);
    context->exitCode = static_cast<std::uint32_t>(status);
    context->done.exchange(true);
    return 0;
}

// Ends when the run has ended or a stop was requested.
DWORD WINAPI ServiceStopWatchThread(LPVOID argument) {
    const auto *context = static_cast<const ServiceContext *>(argument);
    while (!context->done && ::WaitForSingleObject(g_ServiceStopEvent, 0) != WAIT_OBJECT_0)
        ::Sleep(stopPollPauseMs);
    return 0;
}

// Waits for the first creation attempt of the run. Returns false if the run has ended without one.
bool waitForLaunch() {
    while (!ProcessHandling::isLaunchDone()) {
        if (g_ServiceContext->done)
            return ProcessHandling::isLaunchDone(); // made since the last look
        ::Sleep(pollPauseMs);
    }
    return true;
}

void watchForStop() {
    const HANDLE watcher =
        ::CreateThread(nullptr, 0, ServiceStopWatchThread, g_ServiceContext, 0, nullptr);
    if (watcher == nullptr) {
        ServiceStopWatchThread(g_ServiceContext);
        return;
    }
    ::WaitForSingleObject(watcher, INFINITE);
    ::CloseHandle(watcher);
}

// From here on the handler ignores every control; one that it is just dealing with ends first.
void takeStatusForGood() {
    while (!g_StatusIsFree.exchange(false))
        ::Sleep(pollPauseMs);
}

// The service runs until the worker ends or a stop is requested.
void serveUntilStopped(HANDLE worker, DWORD workerId) {
    g_ServiceStopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (g_ServiceStopEvent == nullptr) {
        debugMessage("ServiceMain", "CreateEvent(g_ServiceStopEvent) returned error");
        makeReport(eventFailed);
        logEarlyExit();
        return;
    }
    makeReport(running);
    watchForStop();
    ::PostThreadMessageW(workerId, WM_CLOSE, 0, 0);
    ::WaitForSingleObject(worker, stopGraceMs);
    takeStatusForGood(); // so that the handler doesn't raise a closed event
    ::CloseHandle(g_ServiceStopEvent);
    makeReport(stopped);
    debugMessage("ServiceMain", "Done");
}

void WINAPI ServiceMain(DWORD, LPWSTR *) {
    g_ServiceStatusHandle =
        ::RegisterServiceCtrlHandlerW(widen(serviceName).c_str(), ServiceCtrlHandler);
    if (g_ServiceStatusHandle == nullptr) {
        debugMessage("ServiceMain", "RegisterServiceCtrlHandler returned error");
        logEarlyExit();
        return;
    }
    g_ServiceStatus = {};
    g_ServiceStatus.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    makeReport(starting);
    ProcessHandling::isLaunchDone(); // from now on, launches wait for the poll below to see them
    DWORD workerId = 0;
    const HANDLE worker =
        ::CreateThread(nullptr, 0, ServiceWorkerThread, g_ServiceContext, 0, &workerId);
    if (worker == nullptr) {
        g_ServiceContext->exitCode = 1;
        logEarlyExit();
        makeReport(stopped);
        return;
    }
    const ScopeGuard closeWorker([worker] { ::CloseHandle(worker); });
    if (!waitForLaunch()) {
        logEarlyExit(); // before the report: after it the process may end at any moment
        makeReport(stopped);
    } else if (ProcessHandling::isLaunchFailed()) {
        logEarlyExit();
        // The tool may run all the same: the failed launch can be that of the start-up tool.
        ::WaitForSingleObject(worker, INFINITE);
        makeReport(stopped);
    } else {
        serveUntilStopped(worker, workerId);
    }
}

} // namespace

bool runAsService(ServiceContext &context) {
    g_ServiceContext = &context;
    std::basic_string<WCHAR> name = widen(serviceName);
    const SERVICE_TABLE_ENTRYW table[] = {{name.data(), ServiceMain}, {nullptr, nullptr}};
    return ::StartServiceCtrlDispatcherW(table) == TRUE;
}
