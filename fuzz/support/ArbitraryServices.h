// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Catalogue.h"

#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QQueue>

/// All other services of the device. They answer the daemon's calls with whatever they were given.
///
/// They share the daemon's connection and thread: Qt hands a call to a name of the same connection over directly, so
/// that neither the bus nor another thread is waited for. Qt still packs and unpacks what is more than a basic type.
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

    /// Joins the session bus. Ends the process if that fails.
    explicit ArbitraryServices(const Catalogue& catalogue);
    Q_DISABLE_COPY_MOVE(ArbitraryServices)

    /// Queues the answer to the next call that has none yet. A call without one is answered with status 0 and zero
    /// values.
    void addAnswer(const Answer& answer);

    /// Drops the answers left over.
    void dropAnswers();

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    const Catalogue& m_catalogue;
    QQueue<Answer> m_answers;
};
