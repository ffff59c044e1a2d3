// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ChildProcess.h"

#include <QDateTime>
#include <QTemporaryDir>

/// The power daemon's executable with a clock that stands still until the test sets it.
class ClockedDaemon : public ChildProcess
{
    Q_OBJECT

public:
    enum class Timers
    {
        FollowTheClock, ///< setting the clock is time that passes
        RunOn,          ///< time passes by itself; the clock that is set is only what the time is said to be
    };

    /// Not started yet.
    ClockedDaemon(const QString& zone, const QDateTime& time, Timers timers);

    void setClock(const QDateTime& time);

    /// What it has written to standard error.
    [[nodiscard]] QString log();

private:
    Q_DISABLE_COPY_MOVE(ClockedDaemon)

    QTemporaryDir m_folder;
    QByteArray m_log;
};
