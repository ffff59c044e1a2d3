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

/// All other services of the device on one connection: they answer the daemon whatever they were told to. They run on a
/// thread of their own, since the daemon waits for their answers on its own.
class ArbitraryServices : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// What a call is answered with.
    struct Answer
    {
        bool isError = false;
        QStringList words; ///< for messageValues()
    };

    /// Joins the bus. Ends the process where that fails.
    explicit ArbitraryServices(const Catalogue& catalogue);
    Q_DISABLE_COPY_MOVE(ArbitraryServices)

    /// For the next call that has no answer yet. Without one, a call is answered with status 0 and zero values.
    void addAnswer(const Answer& answer);

    /// The connection, by which others may send, too.
    [[nodiscard]] QDBusConnection& connection();

    /// Waits until every call that has come is answered, and forgets the answers that are left.
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
