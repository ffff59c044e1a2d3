// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "WireMessage.h"

#include <QObject>
#include <QSocketNotifier>
#include <QStringList>

#include <memory>

/// A connection to the bus that sees the messages of others. It is one of its own, and sends nothing once it watches.
class BusMonitor : public QObject
{
    Q_OBJECT

public:
    BusMonitor();
    ~BusMonitor() override;

    /// Connects and asks the bus for the messages that match a rule. Blocks for two seconds at most.
    /// @return whether it succeeded; *fault says why not
    [[nodiscard]] bool start(const QString& address, const QStringList& rules, QString* fault);

Q_SIGNALS:
    void received(const WireMessage& message);
    /// The bus ended the connection, or sent what is no message.
    void ended(const QString& reason);

private:
    Q_DISABLE_COPY_MOVE(BusMonitor)

    [[nodiscard]] bool connectTo(const QString& address, QString* fault);
    /// Waits until there is something to read, and reads it. @return whether it came in time
    [[nodiscard]] bool readMore();
    [[nodiscard]] bool readLine(QByteArray* line);
    /// Waits for the answer to a call of the bus. @return whether it is no error; *fault has it
    [[nodiscard]] bool waitForAnswer(quint32 serial, QString* fault);
    [[nodiscard]] bool send(const QByteArray& bytes) const;
    void onReadable();

    int m_socket = -1;
    QByteArray m_buffer;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
