// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Caller.h"
#include "SessionBus.h"
#include "WireMessage.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QObject>

/// Makes events of the messages on the bus, as docs/events.md has them: requests to the power daemon and its answers,
/// its signals, and, if wanted, the calls and signals of the other services. Keeps who owns which name.
class EventStream : public QObject
{
    Q_OBJECT

public:
    /// @param isAll also calls to, and signals of, the other services
    EventStream(SessionBus& bus, bool isAll);
    ~EventStream() override;

    /// Learns who is there. Blocks for a second at most. @return whether the bus answered
    [[nodiscard]] bool start();

    /// What a monitor has to ask the bus for.
    [[nodiscard]] QStringList rules() const;

    void receive(const WireMessage& message);
    void note(const QString& text);

Q_SIGNALS:
    /// @param event with time and clock
    void happened(const QJsonObject& event);

private:
    Q_DISABLE_COPY_MOVE(EventStream)

    /// A call that was not answered yet.
    struct OpenCall
    {
        QString id;
        const InterfaceDescription* service;
        QString member;
        qint64 msec;
    };

    void receiveCall(const WireMessage& message);
    void receiveAnswer(const WireMessage& message);
    void receiveSignal(const WireMessage& message);
    void receiveOwner(const QString& name, const QString& oldOwner, const QString& newOwner);
    /// The service whose interface it is; null if it is none of the device's, or not wanted.
    [[nodiscard]] const InterfaceDescription* findByInterface(const QString& interfaceName) const;
    [[nodiscard]] const InterfaceDescription* findByDestination(const QString& name) const;
    [[nodiscard]] bool isDaemon(const InterfaceDescription& description) const;
    void emitEvent(const QString& kind, QJsonObject members);

    SessionBus& m_bus;
    bool m_isAll;
    CallerTable m_callers;
    QList<const InterfaceDescription*> m_wanted;
    QHash<QString, QString> m_serviceByOwner; ///< short name by unique name
    QHash<QString, OpenCall> m_openCalls;     ///< by the caller's unique name and the call's serial
    QElapsedTimer m_clock;
    int m_lastId = 0;
};
