// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QString>

#include <utility>

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
