// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// One step of what the power daemon does for an operation: a pause, or a call of a service.
struct SequenceStep
{
    QString text;         ///< what happens
    QString service = {}; ///< short name; empty: a step without a call
    QString member = {};
    double seconds = 0;      ///< how long it takes by itself
    double limitSeconds = 0; ///< how long a service that is there but mute holds it up
    QString condition = {};  ///< when it is done at all; empty: always
    /// Whether the operation ends here if the service is missing or refuses; a mute service ends it, too.
    bool isDecisive = false;
    /// Whether a mute service before it leaves it out, so that its time limit does not add to the worst case.
    bool needsEarlier = false;
};

/// The steps of each operation, in order, as powermanager/ has them. A test compares them with the daemon.
namespace sequence {

[[nodiscard]] QList<SequenceStep> reboot();
[[nodiscard]] QList<SequenceStep> shutdown();
/// Up to the standby, which lasts until the wake-up; the restoring and the reboot that follow it.
[[nodiscard]] QList<SequenceStep> suspend();
[[nodiscard]] QList<SequenceStep> setFreq();
[[nodiscard]] QList<SequenceStep> setActionsEnabled(bool isEnabled);
/// Settings that the daemon keeps to itself.
[[nodiscard]] QList<SequenceStep> setting(const QString& text);

/// How long the steps take if every service answers at once.
[[nodiscard]] double usualSeconds(const QList<SequenceStep>& steps);

/// How long they take at most: every service is there, and as many as the sequence allows are mute. If a decisive one
/// is mute, the operation ends there, so its worst case is the longer of the two.
[[nodiscard]] double worstSeconds(const QList<SequenceStep>& steps);

/// The services that the steps call, each once, in order.
[[nodiscard]] QStringList services(const QList<SequenceStep>& steps);

} // namespace sequence
