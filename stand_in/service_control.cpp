#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/handles.h"
#include "stand_in/paths.h"
#include "stand_in/variables.h"

#include <sys/socket.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <thread>

static_assert(sizeof(SERVICE_STATUS) == 28, "the record as the manager reads it");

namespace {

struct Service {
    stand_in::Descriptor manager;
    std::atomic<LPHANDLER_FUNCTION> handler{nullptr};
    std::atomic<bool> stopReported{false};
};

// The one service of this process. Never destroyed: its threads may outlive main.
Service &service() {
    static Service &instance = *new Service;
    return instance;
}

// False without a manager. Its socket isn't for the children of this process.
bool connectToManager() {
    const int descriptor =
        std::atoi(stand_in::variable("ZQHOST_SERVICE_MANAGER").value_or("").c_str());
    if (descriptor <= STDERR_FILENO || ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0)
        return false;
    service().manager = stand_in::Descriptor(descriptor);
    return true;
}

void runServiceMain(SERVICE_TABLE_ENTRYW entry) {
    LPWSTR arguments[] = {entry.lpServiceName, nullptr};
    entry.lpServiceProc(1, arguments);
    if (service().stopReported)
        ::shutdown(service().manager.get(), SHUT_RD); // ends the wait for controls
}

// Hands a control to the handler. False when the service has stopped or the manager has gone.
bool takeControl() {
    DWORD control = 0;
    const ssize_t size = ::recv(service().manager.get(), &control, sizeof control, 0);
    const LPHANDLER_FUNCTION handler = service().handler;
    if (size == sizeof control && !service().stopReported && handler)
        handler(control);
    return size > 0;
}

} // namespace

BOOL StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW *table) {
    if (stand_in::fails("StartServiceCtrlDispatcherW"))
        return FALSE;
    if (!connectToManager())
        return stand_in::resultOf(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    std::thread(runServiceMain, table[0]).detach();
    while (takeControl())
        continue;
#ifdef __SANITIZE_ADDRESS__
    __lsan_do_leak_check(); // a service ends abruptly after this call, without the usual check
#endif
    return TRUE;
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(LPCWSTR, LPHANDLER_FUNCTION handler) {
    if (stand_in::fails("RegisterServiceCtrlHandlerW"))
        return nullptr;
    service().handler = handler;
    return &service();
}

BOOL SetServiceStatus(SERVICE_STATUS_HANDLE, SERVICE_STATUS *status) {
    if (stand_in::fails("SetServiceStatus"))
        return FALSE;
    service().stopReported = status->dwCurrentState == SERVICE_STOPPED;
    const ssize_t sent = ::send(service().manager.get(), status, sizeof *status, MSG_NOSIGNAL);
    return stand_in::resultOf(sent == -1 ? stand_in::lastErrorOf(errno) : ERROR_SUCCESS);
}
