// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Catalogue.h"
#include "Device.h"
#include "DeviceFiles.h"
#include "GpioLines.h"
#include "LoadGenerator.h"
#include "PowerDaemonClient.h"
#include "SimulatedService.h"
#include "Timeline.h"

#include <QHash>
#include <QObject>
#include <QTimer>

/// The device around the power daemon: its state, its services on the session bus, and the power daemon as a client
/// sees it. Everything that happens is written to the timeline.
///
/// Lives on one thread with an event loop, which need not be the program's main thread.
class Simulator : public QObject
{
    Q_OBJECT

public:
    /// @param timeline where everything is written; must outlive the simulator
    /// @param root     folder of the device's files, see DeviceFiles
    /// @param gpioRoot folder of its lines, see GpioLines
    Simulator(Timeline& timeline, const QString& root, const QString& gpioRoot, QObject* parent = nullptr);
    ~Simulator() override;

    /// Makes the files and lines that a device has, and reads its configuration.
    /// @return whether that went well; *error says what did not
    [[nodiscard]] bool prepareFiles(QString* error);

    /// Puts all services but the named ones on the bus and begins to observe the power daemon.
    /// @return whether that went well; *error says what did not
    [[nodiscard]] bool start(const QStringList& without, QString* error);

    [[nodiscard]] const Catalogue& catalogue() const;
    [[nodiscard]] Device& device();
    [[nodiscard]] const DeviceFiles& files() const;
    [[nodiscard]] GpioLines& lines();
    [[nodiscard]] PowerDaemonClient& powerDaemon();
    /// The load on the machine's own CPU.
    [[nodiscard]] LoadGenerator& load();
    [[nodiscard]] Timeline& timeline();

    /// A service of the catalogue by its short name; null if there is none.
    [[nodiscard]] SimulatedService* service(const QString& name);

    /// Sets the fault of a member, "service.Member" of the catalogue.
    void setFault(const QString& member, const Fault& fault);
    /// Repairs every member of every service.
    void repairAll();

    /// Has a method, "service.Method" of the catalogue, answer as recorded: see SimulatedService::replay().
    void replay(const QString& method, const QList<Record::Reply>& replies);

    /// Sends the signals that changes of the device have called for.
    void sendNotifications();
    /// Sends a signal of a service, with its values by name.
    void send(const Device::Notification& notification);
    /// Sends a signal of a service, with all its values in order.
    void sendValues(const QString& signal, const QVariantList& values);
    /// Sends the status broadcast of the present state.
    void broadcastStatus();

    /// Ends the standby, if the device is in it: the frequency service answers.
    void wakeUp();
    /// The device starts anew; its services stay on the bus.
    void restartDevice();

Q_SIGNALS:
    /// The frequency service was asked to restart the device, or to power it off.
    void rebootRequested();
    void shutdownRequested();

private:
    Q_DISABLE_COPY_MOVE(Simulator)

    void onCalled(const QString& method);
    /// Continues the standby, or ends it if its time is over.
    void sleepOn();

    Timeline& m_timeline;
    Catalogue m_catalogue;
    Device m_device;
    DeviceFiles m_files;
    GpioLines m_lines;
    LoadGenerator m_load;
    QTimer m_wakeUpTimer;                         ///< runs while the device is in standby
    QHash<QString, SimulatedService*> m_services; ///< by short name; children
    PowerDaemonClient m_powerDaemon;
};
