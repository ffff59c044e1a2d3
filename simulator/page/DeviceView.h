// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CpuLoad.h"
#include "DaemonWatch.h"
#include "NameOwners.h"
#include "Session.h"
#include "ZoneTable.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>

/// The device as the page shows it, a JSON object (docs/page.md). What only the timeline tells is noted as it comes;
/// everything else is looked up when somebody asks.
class DeviceView : public QObject
{
    Q_OBJECT

public:
    /// @param session must outlive the view
    explicit DeviceView(Session& session, QObject* parent = nullptr);

    /// The present state.
    [[nodiscard]] QJsonObject state() const;
    /// Looks up what nothing announces: the load since the last time, files. To be called once a second.
    void refresh();

    /// Zones as the page shows them.
    [[nodiscard]] static QJsonArray toJson(const ZoneTable& table);

private:
    Q_DISABLE_COPY_MOVE(DeviceView)

    void take(const Timeline::Entry& entry);
    void readZones();
    [[nodiscard]] QJsonObject daemon(qint64 msec) const;
    [[nodiscard]] QJsonObject services() const;
    [[nodiscard]] QJsonObject service(const InterfaceDescription& description) const;
    void insertParts(QJsonObject& state) const;
    void insertZones(QJsonObject& state) const;
    void insertLines(QJsonObject& state) const;

    Session& m_session;
    Simulator& m_simulator;
    NameOwners m_owners;
    DaemonWatch m_daemon;
    CpuLoad m_cpuLoad;
    double m_loadPercent = 0;
    int m_userData = 0;
    QString m_record;      ///< the reason record; null: there is none
    QJsonValue m_zoneFile; ///< its text, as the power daemon has read it; null: too long to be shown
    QJsonArray m_zones;
    QHash<QString, QJsonObject> m_zoneByName;
    int m_zoneFileReads = -1;                ///< of the daemon, when the zones were read here
    QHash<QString, events::Call> m_lastCall; ///< of each service
    QHash<QString, qint64> m_pressedMs;      ///< of each button that is down
};
