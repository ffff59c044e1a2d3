// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FloorLoad.h"
#include "Names.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QMetaMethod>
#include <QTimer>

#include <chrono>

namespace {

/// The least that a program with the daemon's standing duties has to do: one method on the bus, one subscription, one
/// reading a second. It answers at the daemon's path and interface, so that callers send it the same bytes.
class Floor : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillmark.zelt.powerinterface")

public:
    Q_DISABLE_COPY_MOVE(Floor)

    Floor()
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { (void)m_load.sample(); });
        m_timer.start(std::chrono::seconds(1));
    }

    /// Registers object and name on the bus. @return whether that succeeded
    [[nodiscard]] bool serve(QDBusConnection bus, const QString& busName)
    {
        // The first method is the broadcast's slot; its long list of types need not be repeated here.
        const QByteArray slot = '1' + staticMetaObject.method(staticMetaObject.methodOffset()).methodSignature();
        return bus.connect(kStatusService.busName, kStatusService.objectPath,
                           QStringLiteral("com.quillmark.zelt.statusinterface"), QStringLiteral("SystemStatus"), this,
                           slot.constData()) &&
               bus.registerObject(QString::fromLatin1(kObjectPath), this, QDBusConnection::ExportScriptableSlots) &&
               bus.registerService(busName);
    }

public Q_SLOTS:
    void receiveSystemStatus(const QString&, bool, bool, int, int, int, const QString&, double, double, double, bool,
                             bool, int, int, int, int, int, int, int, int, int, int, int, int, int, int, int, int, int,
                             int, int, int, int, int, int, int, int, int, int, int, int, int, bool, bool,
                             const QString&, const QString&, const QString&, const QString&, const QString&,
                             const QString&)
    {
    }

    Q_SCRIPTABLE int IsActionsEnabled(bool& enabled)
    {
        enabled = true;
        return 0;
    }

private:
    QTimer m_timer;
    FloorLoad m_load;
};

} // namespace

/// floor NAME: serves on the session bus under that name, until it is killed.
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    Floor floor;
    if (argc != 2 || !floor.serve(QDBusConnection::sessionBus(), QString::fromLocal8Bit(argv[1]))) {
        return 1;
    }
    return QCoreApplication::exec();
}

#include "floor.moc"
