// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Catalogue.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QQueue>
#include <QThread>

/// All other services of the device on one connection. They answer the daemon's calls with whatever they were given.
/// They run on a thread of their own, because the daemon blocks its thread while it waits for answers.
class ArbitraryServices : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// The answer to a call.
    struct Answer
    {
        bool isError = false;
        QStringList words; ///< for messageValues()
    };

    /// Joins the bus. Ends the process if that fails.
    explicit ArbitraryServices(const Catalogue& catalogue);
    Q_DISABLE_COPY_MOVE(ArbitraryServices)

    /// Queues the answer to the next call that has none yet. A call without one is answered with status 0 and zero
    /// values.
    void addAnswer(const Answer& answer);

    /// The connection, which others may use to send, too.
    [[nodiscard]] QDBusConnection& connection();

    /// Waits until every call received so far is answered, and drops the answers left over.
    void finish();

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    const Catalogue& m_catalogue;
    QDBusConnection m_connection;
    QThread m_thread;
    QMutex m_mutex; ///< guards the answers
    QQueue<Answer> m_answers;
};
