// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "EventMonitor.h"
#include "FactoryRestoreManager.h"
#include "Log.h"
#include "PowerManager.h"
#include "PowerManagerAdaptor.h"

#include <QCoreApplication>
#include <QDBusConnection>

#include <unistd.h>

/// Starts factory resets, whose countdowns take 5 s of real time, as if the countdown were over.
class Resets : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillmark.zelt.endure")

public:
    explicit Resets(PowerManager& manager) : m_manager(manager) {}

public Q_SLOTS:
    void soft()
    {
        QMetaObject::invokeMethod(m_manager.findChild<FactoryRestoreManager*>(), "SoftResetTimer_Elapsed");
    }

    /// By an object of its own: after a hard reset, the daemon's refuses all others until the process ends.
    void hard()
    {
        FactoryRestoreManager resets(nullptr);
        connect(&resets, &FactoryRestoreManager::ResetCompleted, &m_manager, &PowerManager::PostRestoreReboot);
        QMetaObject::invokeMethod(&resets, "HardResetTimer_Elapsed");
    }

private:
    Q_DISABLE_COPY_MOVE(Resets)

    PowerManager& m_manager;
};

// In place of the C library's, for the whole program: the daemon's pauses do not wait.

unsigned int sleep(unsigned int)
{
    return 0;
}

int usleep(useconds_t)
{
    return 0;
}

/// The power daemon's classes and the host platform in a process of their own, with pauses that do not wait.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    _logInterface = new LogInterface(QString()); // for the rest of the process
    QDBusConnection bus = QDBusConnection::sessionBus();
    QCoreApplication::sendPostedEvents();
    PowerManager manager(kObjectPath);
    Resets resets(manager);
    if (!manager.init()) {
        return 1;
    }
    new PowerManagerAdaptor(&manager); // a child
    const bool isServed =
        bus.registerObject(QString::fromLatin1(kObjectPath), &manager, QDBusConnection::ExportAdaptors) &&
        bus.registerObject(QStringLiteral("/endure"), &resets, QDBusConnection::ExportAllSlots) &&
        bus.registerService(QString::fromLatin1(kServiceName));
    return isServed ? QCoreApplication::exec() : 1;
}

#include "endured.moc"
