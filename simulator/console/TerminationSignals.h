// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

/// SIGINT, SIGTERM and SIGHUP as an event of the loop.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    /// The first one is announced, further ones are not.
    explicit TerminationSignals(QObject* parent = nullptr);

    /// Keeps them from being delivered in the usual way. To be called before any thread starts.
    static void block();

Q_SIGNALS:
    void received();

private:
    Q_DISABLE_COPY_MOVE(TerminationSignals)

    QSocketNotifier m_notifier;
};
