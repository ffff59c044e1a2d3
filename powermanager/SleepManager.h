// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTime>
#include <QTimer>

/// The daily sleep window: from a start to an end time of day, local time.
///
/// 1. setSleep() sets the window and arms a timer for the next start.
/// 2. The timer fires once: SleepTimeout() carries the time to wake up, which is the window's length from now.
/// 3. Nothing more happens until setSleep() is called again.
///
/// The window lives in memory only; after a start of the daemon there is none. Event-loop thread only.
class SleepManager : public QObject
{
    Q_OBJECT

public:
    explicit SleepManager(QObject* parent);

    /// Sets the window and arms the timer anew, or disables it.
    /// @param startTime "hh:mm:ss"; ignored when disabling
    /// @param endTime   "hh:mm:ss", before startTime if the window crosses midnight; equal: nothing is armed
    /// @return false if a time is missing or invalid: length and timer stay as they are, but the times that were parsed
    ///         until then are kept
    bool setSleep(bool enable, const QString& startTime, const QString& endTime);

    /// Whether a sleep is due at the next start of the window.
    [[nodiscard]] bool isArmed() const;
    /// Start and end as last set; null before that, invalid if the text was.
    [[nodiscard]] QTime startTime() const;
    [[nodiscard]] QTime endTime() const;

    /// Whole seconds from one time of day to the next occurrence of another: 0 to 86399.
    [[nodiscard]] static int secondsUntil(QTime from, QTime to);

Q_SIGNALS:
    /// The window begins. @param sleep_end when to wake up, local time, "yyyy-MM-dd hh:mm:ss"
    void SleepTimeout(const QString& sleep_end);

private Q_SLOTS:
    void onSleepTimeout();

private:
    Q_DISABLE_COPY_MOVE(SleepManager)

    void updateSleepTimer();

    QTimer m_timer; ///< single-shot, due at the next start
    QTime m_startTime;
    QTime m_endTime;
    int m_sleepLength = 0; ///< seconds; below 1: disabled
};
