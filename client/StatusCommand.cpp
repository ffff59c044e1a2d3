// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "StatusCommand.h"

#include "DeviceState.h"
#include "SessionBus.h"
#include "SignalListener.h"
#include "Terminal.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

#include <chrono>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// What one event changes is drawn together.
constexpr auto kTogether = 30ms;

void show(const DeviceState& state, bool isJson, bool isWatch, Terminal& terminal)
{
    if (isJson) {
        terminal.write(QJsonDocument(state.toJson()).toJson(QJsonDocument::Compact) + '\n');
    } else if (isWatch) {
        terminal.drawScreen(state.toLines(terminal) +
                            QStringList{QString(), terminal.styled(state.time.toString(u"HH:mm:ss"_s) +
                                                                       u", drawn again with every change"_s,
                                                                   Terminal::Style::Dim)});
    } else {
        terminal.print(state.toLines(terminal).join(u'\n'));
    }
}

} // namespace

CommandDescription StatusCommand::describe() const
{
    return {
        u"status"_s,
        u"show zone, charge, volume, light, frequency, settings, last action and services"_s,
        u"Asks the power daemon and the services of the device, all at a time, and shows what they tell. One that "
        "is missing or mute costs a second at most, all of them together."_s,
        {},
        {{{u"json"_s}, u"one JSON object; with --watch, one a line with every change"_s},
         {{u"watch"_s}, u"draw it again with every change, until Ctrl-C"_s}},
        {{u"status"_s, u"everything on one screen"_s}, {u"status --json | jq .charge"_s, u"one value for a script"_s}},
        {{ExitStatus::Done, u"the power daemon answered"_s},
         {ExitStatus::NoDaemon, u"no power daemon, or no session bus"_s},
         {ExitStatus::NoAnswer, u"the power daemon did not answer within a second, as during a power action"_s}}};
}

ExitStatus StatusCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    SessionBus bus;
    QString fault;
    if (!bus.open(&fault)) {
        terminal.complain(fault);
        return ExitStatus::NoDaemon;
    }
    const bool isJson = arguments.isSet(u"json"_s);
    if (!arguments.isSet(u"watch"_s)) {
        const DeviceState state = DeviceState::query(bus);
        show(state, isJson, false, terminal);
        return !state.daemon.isPresent          ? ExitStatus::NoDaemon
               : state.daemon.problem.isEmpty() ? ExitStatus::Done
                                                : ExitStatus::NoAnswer;
    }
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, &loop,
                     [&bus, isJson, &terminal] { show(DeviceState::query(bus), isJson, true, terminal); });
    SignalListener listener(bus);
    QObject::connect(&listener, &SignalListener::received, &timer, [&timer] {
        if (!timer.isActive()) {
            timer.start(kTogether);
        }
    });
    QObject::connect(&listener, &SignalListener::busGone, &loop, &QEventLoop::quit);
    listener.start(true);
    timer.start(0ms);
    loop.exec();
    terminal.leaveScreen();
    terminal.complain(u"the session bus went away"_s);
    return ExitStatus::NoDaemon;
}
