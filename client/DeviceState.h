// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ReasonRecord.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

class SessionBus;
class Terminal;

/// What can be learned about the device's power at one moment. What nobody told is absent.
struct DeviceState
{
    struct Service
    {
        QString name; ///< short
        bool isPresent = false;
        QString problem; ///< what came of the question, if that was no answer with status 0
    };

    QDateTime time;
    Service daemon;
    qint64 daemonPid = 0;
    std::optional<double> daemonSeconds; ///< since the daemon's process began
    std::optional<QString> zone;         ///< empty: none in force
    std::optional<int> volumeCeiling;    ///< of the zone, as its file has it now
    std::optional<int> lightCeiling;
    std::optional<int> chargePercent;
    std::optional<double> volume;
    std::optional<int> lightPercent;
    std::optional<bool> isLightOn;
    std::optional<int> frequencyMHz;
    std::optional<bool> isAutoscaling;
    std::optional<bool> hasActions;
    std::optional<bool> isSleepArmed;
    QString sleepStart;
    QString sleepEnd;
    std::optional<ReasonRecord> lastAction;
    QString recordFault; ///< why there is no last action
    QList<Service> services;

    /// Asks the daemon and the services, all at a time; blocks for about a second at most.
    [[nodiscard]] static DeviceState query(SessionBus& bus);

    /// When the armed sleep window opens next; invalid if none is armed.
    [[nodiscard]] QDateTime sleepsAt() const;

    /// As docs/zelt-power.md describes it: null for what is not known.
    [[nodiscard]] QJsonObject toJson() const;

    /// The lines for a person.
    [[nodiscard]] QStringList toLines(const Terminal& terminal) const;
};

/// Seconds since a process began; nothing if there is no such process.
[[nodiscard]] std::optional<double> secondsSinceStart(qint64 pid);
