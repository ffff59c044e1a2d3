// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "DeviceHistory.h"

#include <QJsonObject>
#include <QString>

/// Writes a scenario of what happened: the commands in their time, and after each what must come of it. Played again it
/// passes, on this device or on a new one, because it first puts the device and the power daemon into the state in
/// which it all began.
///
/// Expected is what the power daemon does: its signals and answers, the calls by which it changes something, its ends
/// and starts, its warnings, and the indicator's patterns. Not expected is what depends on the time of day, on this
/// machine's load or on who else is on the bus.
class ScenarioWriter
{
public:
    /// @param begin     the state before the first command
    /// @param hasDaemon whether the power daemon is the simulator's own, and can be started anew
    ScenarioWriter(const DeviceHistory::Moment& begin, bool hasDaemon);

    /// The next event, an object as docs/events.md describes it.
    void take(const QJsonObject& event);

    /// Whether a command was among the events.
    [[nodiscard]] bool hasCommands() const;

    /// The scenario. @param now the present state: a service that is down by now is started first
    [[nodiscard]] QString text(const DeviceHistory::Moment& now) const;

private:
    void takeCommand(const QJsonObject& event, double seconds);
    void expect(const QString& what, double seconds);

    DeviceHistory::Moment m_begin;
    bool m_hasDaemon;
    QStringList m_lines;
    bool m_hasCommands = false;
    double m_lastSeconds = 0; ///< when the last line was carried out, or came true
};
