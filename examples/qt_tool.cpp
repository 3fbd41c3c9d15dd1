// A Qt tool that ends in order when the launcher asks it to: the callback makes the event loop
// quit. For Qt 5.10 and later; tried with Qt 5.15.

#include <QCoreApplication>

#include <iostream>

// Without these, <windows.h> would define min, max and interface, which are names in Qt.
#ifndef NOMINMAX // MinGW's C++ library defines it
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include "zq_orderly_stop.h"

namespace {

// Runs on a thread of its own. The queued call runs on the thread of the event loop.
void onStop(ZqStopEvent event, void *application) {
    if (event != ZqStopNoLauncher)
        QMetaObject::invokeMethod(static_cast<QCoreApplication *>(application),
                                  &QCoreApplication::quit, Qt::QueuedConnection);
}

// Without a console window, as with -o and in a service, Qt's own handler writes to the debug
// channel only.
void log(QtMsgType, const QMessageLogContext &, const QString &text) {
    std::cout << text.toLocal8Bit().constData() << std::endl;
}

} // namespace

int main(int argc, char **argv) {
    qInstallMessageHandler(log);
    // Never deleted: the callback may come at any time.
    auto *application = new QCoreApplication(argc, argv);
    QObject::connect(application, &QCoreApplication::aboutToQuit,
                     [] { qInfo("asked to end, all is saved"); });
    if (zqListenForStop(onStop, application) == FALSE)
        return 2; // not 1, which looks like a failure of the launcher
    qInfo("working");
    return application->exec(); // 0 after quit; the service reports a tool's exit code as its own
}
