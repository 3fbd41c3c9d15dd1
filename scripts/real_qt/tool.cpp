// A tool that does what its first argument says, and ends with 0 if that worked:
//   version          prints the version of the Qt that it runs with
//   plugin           loads the plugin zq/plugin from Qt's plugin path
//   own              takes a name on the bus, prints a line and stays
//   ask              looks for that name

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QPluginLoader>
#include <QThread>

#include <cstdio>

namespace {

const char *const busName = "zq.Sample";

bool say(const char *text) {
    return std::puts(text) >= 0 && std::fflush(stdout) == 0;
}

int own(QDBusConnection bus) {
    if (!bus.registerService(busName) || !say("owns the name"))
        return 3;
    return QCoreApplication::exec();
}

int obey(const QString &order) {
    if (order == "version")
        return say(qVersion()) ? 0 : 3;
    if (order == "plugin")
        return QPluginLoader("zq/plugin").load() ? 0 : 3;
    if (order == "own")
        return own(QDBusConnection::sessionBus());
    if (order == "ask")
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(busName) ? 0 : 3;
    return 2;
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const int result = obey(application.arguments().value(1));
    QThread::msleep(50); // a tool must live a few milliseconds
    return result;
}
