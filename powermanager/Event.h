// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>
#include <QMetaType>
#include <QString>

#include <utility>

/// The low-power line of the power microcontroller.
inline constexpr QLatin1StringView kLowPowerEvent("power|atmega_low_power");
/// The reset button and the seek-down button: together they make the gesture of a factory reset.
inline constexpr QLatin1StringView kResetEvent("reset_factory");
inline constexpr QLatin1StringView kSeekEvent("seek-");

/// The events that the daemon acts on.
inline constexpr QLatin1StringView kEventNames[] = {kLowPowerEvent, kResetEvent, kSeekEvent};

/// A hardware event: a button, or a line of the power microcontroller.
class Event
{
public:
    Event() = default;
    Event(QString eventName, bool eventValue) : name(std::move(eventName)), value(eventValue) {}
    Event(const Event&) = default;
    Event(Event&&) = default;
    Event& operator=(const Event&) = default;
    Event& operator=(Event&&) = default;
    virtual ~Event() = default;

    QString name;       ///< exactly as the event service sent it
    bool value = false; ///< true: pressed, or the condition is present
};

Q_DECLARE_METATYPE(Event)
