#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/handles.h"
#include "stand_in/paths.h"
#include "stand_in/variables.h"

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <thread>

static_assert(sizeof(SERVICE_STATUS) == 28, "the record as the manager reads it");

namespace {

struct Service {
    stand_in::Descriptor manager;
    // Raised when one of the two flags below has been set.
    stand_in::Descriptor progress{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::atomic<LPHANDLER_FUNCTION> handler{nullptr};
    std::atomic<bool> stopReported{false};
    std::atomic<bool> mainReturned{false};
    // Orders what was done before a report with the control that the manager answers it with.
    std::atomic<unsigned> reports{0};

    void setFlag(std::atomic<bool> &flag) {
        flag = true;
        ::eventfd_write(progress.get(), 1);
    }
};

// The one service of this process. Never destroyed: its threads may outlive main.
Service &service() {
    static Service &instance = *new Service;
    return instance;
}

// False without a manager. Its socket isn't for the children of this process.
bool connectToManager() {
    const auto number = stand_in::variable("ZQHOST_SERVICE_MANAGER");
    if (!number)
        return false;
    const int descriptor = std::atoi(number->c_str());
    if (descriptor <= STDERR_FILENO || ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0)
        return false;
    service().manager = stand_in::Descriptor(descriptor);
    return true;
}

void runServiceMain(SERVICE_TABLE_ENTRYW entry) {
    LPWSTR arguments[] = {entry.lpServiceName, nullptr};
    entry.lpServiceProc(1, arguments);
    service().setFlag(service().mainReturned);
}

// Hands a control to the handler. False when the manager has gone.
bool takeControl() {
    DWORD control = 0;
    const ssize_t size = ::recv(service().manager.get(), &control, sizeof control, 0);
    if (size == -1 && errno == EINTR)
        return true;
    service().reports.load(std::memory_order_acquire);
    const LPHANDLER_FUNCTION handler = service().handler;
    if (size == sizeof control && handler)
        handler(control);
    return size > 0;
}

// True when the service has come to its end, false when the manager has gone before that.
bool serveControls() {
    for (;;) {
        if (service().stopReported && service().mainReturned)
            return true;
        pollfd polled[] = {{service().manager.get(), POLLIN, 0},
                           {service().progress.get(), POLLIN, 0}};
        if (::poll(polled, 2, -1) == -1)
            continue;
        eventfd_t count;
        ::eventfd_read(service().progress.get(), &count);
        if (polled[0].revents != 0 && !takeControl())
            return false;
    }
}

} // namespace

BOOL StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW *table) {
    if (stand_in::fails("StartServiceCtrlDispatcherW"))
        return FALSE;
    if (!connectToManager())
        return stand_in::outcome(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    std::thread serviceMain(runServiceMain, table[0]);
    if (serveControls())
        serviceMain.join();
    else
        serviceMain.detach();
    return TRUE;
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(LPCWSTR, LPHANDLER_FUNCTION handler) {
    if (stand_in::fails("RegisterServiceCtrlHandlerW"))
        return nullptr;
    if (!service().manager || !handler) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    service().handler = handler;
    return &service();
}

BOOL SetServiceStatus(SERVICE_STATUS_HANDLE registered, SERVICE_STATUS *status) {
    if (stand_in::fails("SetServiceStatus"))
        return FALSE;
    if (registered != &service())
        return stand_in::outcome(ERROR_INVALID_HANDLE);
    // A copy: the handler may change the record meanwhile.
    const SERVICE_STATUS report = *status;
    service().reports.fetch_add(1, std::memory_order_release);
    const ssize_t sent = ::send(service().manager.get(), &report, sizeof report, MSG_NOSIGNAL);
    const DWORD error = sent == -1 ? stand_in::lastErrorOf(errno) : ERROR_SUCCESS;
    if (report.dwCurrentState == SERVICE_STOPPED)
        service().setFlag(service().stopReported);
    return stand_in::outcome(error);
}
