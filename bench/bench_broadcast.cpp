// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
// The benchmark library registers by global objects.
// clazy:excludeall=non-pod-global-static
#include "Catalogue.h"
#include "DBusValues.h"
#include "Names.h"
#include "Paths.h"
#include "PowerManager.h"
#include "StatusManagerProxy.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <chrono>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kCharges[] = {20, 80}; ///< in turn, so that each changes the zone

/// The status service, on a connection of its own.
class StatusService
{
public:
    StatusService()
    {
        m_isReady = m_bus.registerService(kStatusService.busName);
        const Catalogue catalogue;
        const InterfaceDescription& status = *catalogue.findService(u"statusmanager"_s);
        const MemberDescription& signal = *status.findSignal(u"SystemStatus"_s);
        for (const int charge : kCharges) {
            QDBusMessage broadcast = QDBusMessage::createSignal(status.objectPath, status.interfaceName, signal.name);
            broadcast.setArguments(dbusvalues::fill(signal.out, {{u"CBATT"_s, charge}}));
            m_broadcasts.append(broadcast);
        }
    }
    ~StatusService()
    {
        QDBusConnection::disconnectFromBus(m_bus.name());
    }

    [[nodiscard]] bool isReady() const
    {
        return m_isReady;
    }

    [[nodiscard]] bool send()
    {
        m_next = (m_next + 1) % m_broadcasts.size();
        return m_bus.send(m_broadcasts.at(m_next));
    }

private:
    Q_DISABLE_COPY_MOVE(StatusService)

    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"status"_s);
    bool m_isReady = false;
    QList<QDBusMessage> m_broadcasts;
    qsizetype m_next = 0;
};

/// Sends a broadcast and waits until it has been handled. @param arrived set by the receiver
void measure(benchmark::State& state, StatusService& service, bool& arrived)
{
    bool isLate = false;
    QTimer limit;
    limit.setSingleShot(true);
    limit.callOnTimeout([&isLate] { isLate = true; });
    limit.start(std::chrono::minutes(1));
    for (auto _ : state) {
        arrived = false;
        if (!service.isReady() || !service.send()) {
            state.SkipWithError("no status service on the bus");
            return;
        }
        while (!arrived && !isLate) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        if (isLate) {
            state.SkipWithError("a broadcast has had no effect");
            return;
        }
    }
}

/// From a status broadcast, sent over the bus, to the announcement of the other power zone. The zones have no ceilings,
/// so that the answers of the sound and light services do not count.
void broadcastToDecision(benchmark::State& state)
{
    QDir().mkpath(QFileInfo(paths::zoneFile()).path());
    QFile file(paths::zoneFile());
    if (!file.open(QIODevice::WriteOnly) ||
        file.write("[Low]\nhigh_treshold=40\n[High]\nlow_treshold=40\nhigh_treshold=100\n") < 0) {
        state.SkipWithError("the zone file can't be written");
        return;
    }
    file.close();
    bool arrived = false;
    PowerManager manager(kObjectPath);
    QObject::connect(&manager, &PowerManager::PowerZoneChanged, &manager, [&arrived] { arrived = true; });
    StatusService service;
    if (!manager.init()) {
        state.SkipWithError("the daemon can't start");
        return;
    }
    measure(state, service, arrived);
}
BENCHMARK(broadcastToDecision)->UseRealTime()->Unit(benchmark::kMicrosecond);

/// The same to a client of the status service that ignores it.
void broadcastToFloor(benchmark::State& state)
{
    bool arrived = false;
    StatusService service;
    StatusManagerProxy client(kStatusService.busName, kStatusService.objectPath, QDBusConnection::sessionBus());
    QObject::connect(&client, &StatusManagerProxy::SystemStatus, &client, [&arrived] { arrived = true; });
    measure(state, service, arrived);
}
BENCHMARK(broadcastToFloor)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace
