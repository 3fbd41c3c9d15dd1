#include "support/service_manager.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace testing_support {

struct ServiceManager::Host {
    int socket = -1;
    std::unique_ptr<LauncherRun> launcher{};
    std::string reports{};
};

ServiceManager::ServiceManager(const TemporaryFolder &folder, const LauncherStart &start)
    : host(std::make_unique<Host>()) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error("no socket for the service manager");
    ::fcntl(ends[1], F_SETFD, 0);
    LauncherStart service = start;
    service.environment["ZQHOST_SERVICE_MANAGER"] = std::to_string(ends[1]);
    host->socket = ends[0];
    host->launcher = std::make_unique<LauncherRun>(folder, service);
    ::close(ends[1]);
}

ServiceManager::~ServiceManager() {
    leave();
}

std::string ServiceManager::reports() {
    for (SERVICE_STATUS status;
         ::recv(host->socket, &status, sizeof status, MSG_DONTWAIT) == sizeof status;)
        host->reports += lineOf(status);
    return host->reports;
}

void ServiceManager::control(DWORD code) {
    ::send(host->socket, &code, sizeof code, MSG_NOSIGNAL | MSG_DONTWAIT);
    waitUntil([this] {
        int unread = 0;
        return ::ioctl(host->socket, SIOCOUTQ, &unread) != 0 || unread == 0;
    });
}

void ServiceManager::leave() {
    reports();
    ::close(std::exchange(host->socket, -1));
}

std::uint32_t ServiceManager::wait() {
    return host->launcher->wait();
}

LauncherRun *ServiceManager::launcher() {
    return host->launcher.get();
}

} // namespace testing_support
