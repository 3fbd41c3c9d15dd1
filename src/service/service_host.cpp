#include "service/service_host.h"

#include "frontend/launcher.h"
#include "install/file_system.h"
#include "platform/scope_guard.h"
#include "platform/windows_api.h"
#include "process/process_handling.h"

namespace {

constexpr char serviceName[] = "Larkstone Launcher (Service Mode)";

constexpr DWORD launchPollPauseMs = 1;
constexpr DWORD stopPollPauseMs = 1500;
constexpr DWORD stopGraceMs = 5000;

ServiceContext *g_ServiceContext = nullptr;
SERVICE_STATUS_HANDLE g_ServiceStatusHandle = nullptr;
HANDLE g_ServiceStopEvent = INVALID_HANDLE_VALUE;

// The state of the latest report, the only part of it that two threads share. The manager's thread
// reports only if it has taken the state away from running first.
std::atomic<DWORD> g_ServiceState = 0;

// Takes the state from running to the given one; false if it has left running already.
bool leaveRunning(DWORD state) {
    DWORD expected = SERVICE_RUNNING;
    return g_ServiceState.compare_exchange_strong(expected, state);
}

struct Report {
    DWORD state;
    DWORD controlsAccepted;
    DWORD checkPoint; // fixed values, no counter
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
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = report.state;
    status.dwControlsAccepted = report.controlsAccepted;
    status.dwWin32ExitCode = g_ServiceContext->exitCode;
    status.dwCheckPoint = report.checkPoint;
    g_ServiceState = report.state;
    if (::SetServiceStatus(g_ServiceStatusHandle, &status) == 0)
        debugMessage(routine, "SetServiceStatus returned error");
}

void makeReport(const Report &report) {
    makeReport(report, "ServiceMain");
}

void earlyExit() {
    debugMessage("ServiceMain", "Exit");
}

void WINAPI ServiceCtrlHandler(DWORD control) {
    if (control == SERVICE_CONTROL_STOP && leaveRunning(SERVICE_STOP_PENDING)) {
        makeReport(stopping, "ServiceCtrlHandler");
        ::SetEvent(g_ServiceStopEvent);
    }
}

DWORD WINAPI ServiceWorkerThread(LPVOID argument) {
    auto *context = static_cast<ServiceContext *>(argument);
    const std::int32_t status =
        runLauncher(context->name, context->version, context->argc, context->argv);
    context->exitCode = static_cast<std::uint32_t>(status);
    context->done = true;
    return 0;
}

// Ends when the run is over or a stop was asked for.
DWORD WINAPI ServiceStopWatchThread(LPVOID argument) {
    const auto *context = static_cast<const ServiceContext *>(argument);
    while (!context->done && ::WaitForSingleObject(g_ServiceStopEvent, 0) != WAIT_OBJECT_0)
        ::Sleep(stopPollPauseMs);
    return 0;
}

// Waits for the first creation attempt of the run. False if the run has ended without one.
bool waitForLaunch() {
    while (!ProcessHandling::isLaunchDone()) {
        if (g_ServiceContext->done)
            return ProcessHandling::isLaunchDone(); // made since it was last asked for
        ::Sleep(launchPollPauseMs);
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

// The event is closed when no handler can reach it any more: either none can begin from here on,
// or the one that has begun is given the time to raise it.
void closeStopEvent() {
    if (!leaveRunning(SERVICE_STOPPED))
        ::WaitForSingleObject(g_ServiceStopEvent, stopPollPauseMs);
    ::CloseHandle(g_ServiceStopEvent);
}

// From the launch on: the service runs until the worker ends or a stop is asked for.
void serveUntilStopped(HANDLE worker, DWORD workerId) {
    g_ServiceStopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (g_ServiceStopEvent == nullptr) {
        debugMessage("ServiceMain", "CreateEvent(g_ServiceStopEvent) returned error");
        makeReport(eventFailed);
        earlyExit();
        return;
    }
    makeReport(running);
    watchForStop();
    ::PostThreadMessageW(workerId, WM_CLOSE, 0, 0);
    ::WaitForSingleObject(worker, stopGraceMs);
    closeStopEvent();
    makeReport(stopped);
    debugMessage("ServiceMain", "Done");
}

void WINAPI ServiceMain(DWORD, LPWSTR *) {
    g_ServiceStatusHandle =
        ::RegisterServiceCtrlHandlerW(widen(serviceName).c_str(), ServiceCtrlHandler);
    if (g_ServiceStatusHandle == nullptr) {
        debugMessage("ServiceMain", "RegisterServiceCtrlHandler returned error");
        earlyExit();
        return;
    }
    makeReport(starting);
    DWORD workerId = 0;
    const HANDLE worker =
        ::CreateThread(nullptr, 0, ServiceWorkerThread, g_ServiceContext, 0, &workerId);
    if (worker == nullptr) {
        g_ServiceContext->exitCode = 1;
        earlyExit();
        makeReport(stopped);
        return;
    }
    const ScopeGuard closeWorker([worker] { ::CloseHandle(worker); });
    if (!waitForLaunch()) {
        makeReport(stopped);
        earlyExit();
    } else if (ProcessHandling::isLaunchFailed()) {
        earlyExit();
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
