// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Record.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class Simulator;

/// Plays a record: the services answer as they did, and their signals come in their time. Methods that the record does
/// not have answer as usual.
class Replay : public QObject
{
    Q_OBJECT

public:
    /// @param speed how many times faster than it was recorded
    Replay(Simulator& simulator, const Record& record, double speed, QObject* parent = nullptr);

    /// Begins with the signals.
    void start();

    /// Whether the time of the record's last event has not come yet.
    [[nodiscard]] bool isRunning() const;

Q_SIGNALS:
    void finished();

private:
    Q_DISABLE_COPY_MOVE(Replay)

    void sendDue();
    [[nodiscard]] std::chrono::milliseconds scaled(std::chrono::milliseconds recorded) const;

    Simulator& m_simulator;
    Record m_record;
    double m_speed;
    qsizetype m_next = 0; ///< signal to be sent
    bool m_isRunning = true;
    QElapsedTimer m_clock;
    QTimer m_timer;
};
