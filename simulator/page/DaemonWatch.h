// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

#include <QHash>
#include <QString>

#include <optional>

/// What the timeline tells of the power daemon: whether it is there, what blocks it, the zone in force, its sleep
/// window. A plain value that is told each entry.
class DaemonWatch
{
public:
    enum class State
    {
        None,     ///< nothing is known of one
        Starting, ///< its process has started and has not its name on the bus
        Up,
        Blocked,    ///< in an action, and answers nothing
        Restarting, ///< down, with the device that restarts
        Down,
    };

    struct SleepWindow
    {
        QString start; ///< time of day, as it was asked for
        QString end;
        qint64 lengthSeconds = 0;
        std::optional<qint64> opensMs; ///< on the timeline's clock; nothing: it is not armed
    };

    void take(const Timeline::Entry& entry);
    /// The device restarts.
    void restart();
    /// A daemon was found on the bus that was there before.
    void find(qint64 msec);

    /// @param msec the present, on the timeline's clock
    [[nodiscard]] State state(qint64 msec) const;
    /// Since when it has been in that state.
    [[nodiscard]] qint64 sinceMs(qint64 msec) const;
    /// What blocks it, e.g. "Reboot"; empty unless it is blocked.
    [[nodiscard]] QString action(qint64 msec) const;
    /// Nothing if no zone is in force.
    [[nodiscard]] std::optional<QString> zone() const;
    [[nodiscard]] std::optional<SleepWindow> sleepWindow() const;
    /// How often it has read its zone file.
    [[nodiscard]] int zoneFileReads() const;

private:
    struct Request
    {
        QString member;
        qint64 msec = 0;
    };

    void setState(State state, qint64 msec);
    void takeProcess(const events::Process& process, qint64 msec);
    void takeLog(const QString& message, qint64 msec);
    /// The oldest request that waits for its answer for longer than any answer takes; null if there is none.
    [[nodiscard]] const Request* stuckRequest(qint64 msec) const;

    State m_state = State::None;
    qint64 m_sinceMs = 0;
    QString m_action; ///< that its log has announced and not ended
    qint64 m_actionSinceMs = 0;
    QHash<QString, Request> m_requests; ///< not answered, by id
    std::optional<QString> m_zone;
    std::optional<SleepWindow> m_sleepWindow;
    int m_zoneFileReads = 0;
};
