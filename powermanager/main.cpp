// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Log.h"
#include "PowerManager.h"
#include "PowerManagerAdaptor.h"
#include "SessionBusWatch.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdint>

#include <sys/eventfd.h>
#include <unistd.h>

namespace {

/// Lives until the process exits.
QCoreApplication* application = nullptr;

/// Readable after a termination signal. Never read, so that neither a signal before the event loop nor a nested loop
/// can lose the request.
int terminationEvent = -1;

/// Runs in signal context: does nothing but make the descriptor readable.
void handleTermination(int signalNumber)
{
    if (signalNumber != SIGINT && signalNumber != SIGTERM) {
        return;
    }
    const int savedErrno = errno;
    const std::uint64_t one = 1;
    const ssize_t written = write(terminationEvent, &one, sizeof one);
    static_cast<void>(written); // a full counter is readable, which is all that matters
    errno = savedErrno;
}

bool installTerminationHandler(int signalNumber)
{
    if (terminationEvent < 0) {
        return false;
    }
    struct sigaction action = {};
    action.sa_handler = handleTermination;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(signalNumber, &action, nullptr) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    application = new QCoreApplication(argc, argv);
    _logInterface = new LogInterface(QString::fromLatin1(kLogObjectPath));

    terminationEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (!installTerminationHandler(SIGINT)) {
        POWER_LOG(LogLevel::Warning, "Can't catch SIGINT");
    }
    if (!installTerminationHandler(SIGTERM)) {
        POWER_LOG(LogLevel::Warning, "Can't catch SIGTERM");
    }
    // If the reader of the log ends, the power daemon must not.
    (void)std::signal(SIGPIPE, SIG_IGN);
    QSocketNotifier terminationNotifier(terminationEvent, QSocketNotifier::Read);
    QObject::connect(&terminationNotifier, &QSocketNotifier::activated, application, [] { application->exit(0); });

    // The one line under the logging client's own path.
    COMMON_LOG(LogLevel::Info, kLogObjectPath, "Starting Power Manager...");

    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        POWER_LOG(LogLevel::Error, "DBUS: Can't connect to dbus session. Exiting... ");
        return -1;
    }
    const SessionBusWatch busWatch(bus);
    // Until Qt has served an event that it posted itself, it holds back the messages of a new connection: signals would
    // arrive out of order, and a call that waits while the bus goes away would wait for ever.
    QCoreApplication::sendPostedEvents();

    // Not deleted if start-up fails: the process is about to end, and its clients with it.
    auto* powerManager = new PowerManager(kObjectPath);
    if (!powerManager->init()) {
        POWER_LOG(LogLevel::Error, "Powermanager init failed");
        return -1;
    }
    auto* adaptor = new PowerManagerAdaptor(powerManager);
    // The object is registered before the name, so that a call that arrives with the name is served. If both fail, the
    // name is still reported first.
    const bool isServed =
        bus.registerObject(QString::fromLatin1(kObjectPath), powerManager, QDBusConnection::ExportAdaptors);
    if (!bus.registerService(QString::fromLatin1(kServiceName))) {
        POWER_LOG(LogLevel::Error, "DBUS: Can't register service on session bus [%s]", kServiceName);
        return -1;
    }
    if (!isServed) {
        POWER_LOG(LogLevel::Error, "DBUS: Can't register object on session bus [%s]", kObjectPath);
        return -1;
    }

    // 0 after a termination signal, -1 after the loss of the bus.
    const int status = application->exec();

    delete adaptor;
    delete powerManager;
    POWER_LOG(LogLevel::Info, "Succesfully terminated");
    return status;
}
