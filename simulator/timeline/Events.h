// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"
#include "LogLine.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <chrono>
#include <optional>
#include <variant>

/// What can happen on the device, whole: whoever shows an event decides what of it to leave out.
namespace events {

/// The values of a member, in the order of the bus, with their description.
struct Values
{
    QVariantList values;
    QList<ArgumentDescription> arguments; ///< as the interface describes them; a fault may leave more or fewer values

    /// The value of that name, as text; nothing if there is none.
    [[nodiscard]] std::optional<QString> find(const QString& name) const;
};

/// A D-Bus error.
struct Error
{
    QString name;
    QString message;
};

/// What a call came to; monostate: not answered, or not yet.
using Outcome = std::variant<std::monostate, Values, Error>;

/// The values or "error", name and message as texts; empty without an answer.
[[nodiscard]] QStringList toTexts(const Outcome& outcome);

/// A line of the command language was carried out.
struct Command
{
    QString text;
};

/// A service of the device was called.
struct Call
{
    QString service; ///< short name
    QString member;
    Values arguments;
    Outcome outcome; ///< as far as it was known at once
    QString fault;   ///< that the simulator applied; empty: none
    QString id;      ///< of the answer to come; empty: there is none
};

/// A service of the device, or the power daemon, sent a signal.
struct Signal
{
    QString service;
    QString member;
    Values arguments;
};

/// The power daemon was called.
struct Request
{
    QString member;
    Values arguments;
    QString id;
};

/// A request, or a call whose answer was held back, was answered.
struct Answer
{
    QString service;
    QString member;
    Outcome outcome;
    double seconds = 0; ///< since the call
    QString id;         ///< of the call
};

/// A GPIO line changed.
struct Line
{
    int number = 0;
    std::optional<bool> isOn; ///< nothing: the power daemon read it (recorded by tests only)
};

/// A GPIO line came to rest after a whole pattern.
struct Pattern
{
    int line = 0;
    QList<std::chrono::milliseconds> lengths; ///< on, off, on ...
    bool staysOn = false;                     ///< at the end, after the lengths

    /// "on", "0.5", "off", "0.5", "on": levels and seconds; a line that stays on ends with "on".
    [[nodiscard]] QStringList words() const;
};

/// A blocking pause of the power daemon (recorded by tests only).
struct Pause
{
    std::chrono::microseconds length{0};
    bool isCutBySignals = false; ///< a termination signal could end it early
};

/// The power daemon's process.
struct Process
{
    enum class State
    {
        Started, ///< text: the program
        Up,      ///< has its name on the bus
        Down,    ///< has it no longer
        Ended,   ///< text: the exit status
    };
    State state = State::Started;
    QString text;
};

/// The power daemon printed something that is no log line.
struct Output
{
    QString text;
};

/// A remark of the simulator.
struct Note
{
    QString text;
};

using Event =
    std::variant<Command, Call, Signal, Request, Answer, LogLine, Line, Pattern, Pause, Process, Output, Note>;

/// Short name of the power daemon, as a service.
constexpr QLatin1StringView kPowerDaemon("powermanager");

/// "service.member" of a call, signal, request or answer; empty for anything else.
[[nodiscard]] QString memberName(const Event& event);

/// The event as one line: kind and content, e.g. "call soundmanager.SetMasterVolume(80)",
/// "signal powermanager.PowerZoneChanged(Low)", "answer powermanager.Reboot -50", "log 4 Setting zone Low params",
/// "line 24 on", "line 24 pattern on 0.5 off 0.5 on 2".
[[nodiscard]] QString toString(const Event& event);

/// "started", "up", "down" or "ended".
[[nodiscard]] QString toString(Process::State state);

} // namespace events
