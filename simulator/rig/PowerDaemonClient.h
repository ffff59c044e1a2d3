// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"

#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariantList>

class Timeline;

/// The power daemon as its clients see it: its comings and goings on the bus, its signals, and the answers to the calls
/// made here. All of it goes to the timeline.
class PowerDaemonClient : public QObject
{
    Q_OBJECT

public:
    /// @param description the power daemon's interface; must outlive the client, as must the timeline
    PowerDaemonClient(const InterfaceDescription& description, Timeline& timeline, QObject* parent = nullptr);
    ~PowerDaemonClient() override;

    /// Begins to observe, on a bus connection of its own.
    /// @return whether that went well; *error says what did not
    [[nodiscard]] bool start(QString* error);

    /// Calls a method; does not wait for the answer.
    void call(const MemberDescription& method, const QVariantList& arguments);

Q_SIGNALS:
    /// The power daemon took its name on the bus.
    void up();

private Q_SLOTS:
    void onOwnerChanged(const QString& service, const QString& oldOwner, const QString& newOwner);
    void onSignal(const QDBusMessage& message);

private:
    Q_DISABLE_COPY_MOVE(PowerDaemonClient)

    const InterfaceDescription& m_description;
    Timeline& m_timeline;
    QString m_connectionName;
    QDBusServiceWatcher m_watcher;
};
