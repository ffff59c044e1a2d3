// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "MonitorCommand.h"

#include "BusMonitor.h"
#include "EventStream.h"
#include "EventText.h"
#include "SessionBus.h"
#include "SignalListener.h"
#include "Terminal.h"

#include <QEventLoop>
#include <QJsonDocument>

using namespace Qt::Literals::StringLiterals;

CommandDescription MonitorCommand::describe() const
{
    return {
        u"monitor"_s,
        u"write a line for each call, answer and signal as it happens, and who asked"_s,
        u"Writes a line for each call of the power daemon with who asked, for its answer with the status in words and "
        "the time it took, for each of its signals, and for its coming and going. Ends with Ctrl-C.\n\n"
        "It watches by a monitor connection of the bus. If the bus does not allow one, it says so, and writes the "
        "signals alone."_s,
        {},
        {{{u"all"_s}, u"also the calls to, and the signals of, the other services of the device"_s},
         {{u"json"_s}, u"one JSON object a line, as docs/events.md describes them"_s},
         {{u"signals-only"_s}, u"do not ask the bus for a monitor connection"_s}},
        {{u"monitor"_s, u"who asks the power daemon for what"_s},
         {u"monitor --all --json > day.jsonl"_s, u"a record, which device-simulator --replay plays"_s}},
        {{ExitStatus::NoDaemon, u"no session bus, or it went away"_s}}};
}

ExitStatus MonitorCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    const bool isAll = arguments.isSet(u"all"_s);
    const bool isJson = arguments.isSet(u"json"_s);
    SessionBus bus;
    QString fault;
    if (!bus.open(&fault)) {
        terminal.complain(fault);
        return ExitStatus::NoDaemon;
    }
    QEventLoop loop;
    EventStream stream(bus, isAll);
    QObject::connect(&stream, &EventStream::happened, &loop, [isJson, &terminal](const QJsonObject& event) {
        if (isJson) {
            terminal.write(QJsonDocument(event).toJson(QJsonDocument::Compact) + '\n');
        } else {
            terminal.print(eventText(event, terminal));
        }
    });
    const auto end = [&loop, &fault](const QString& reason) {
        fault = reason;
        loop.quit();
    };
    BusMonitor monitor;
    SignalListener listener(bus);
    const bool isMonitor =
        !arguments.isSet(u"signals-only"_s) && monitor.start(SessionBus::address(), stream.rules(), &fault);
    if (isMonitor) {
        QObject::connect(&monitor, &BusMonitor::received, &stream, &EventStream::receive);
        QObject::connect(&monitor, &BusMonitor::ended, &loop, end);
    } else {
        QObject::connect(&listener, &SignalListener::received, &stream, &EventStream::receive);
        QObject::connect(&listener, &SignalListener::busGone, &loop, [&end] { end(u"the session bus went away"_s); });
        listener.start(isAll);
    }
    if (!stream.start()) {
        terminal.complain(u"the session bus does not answer"_s);
        return ExitStatus::NoDaemon;
    }
    if (!isMonitor) {
        const QString reason = arguments.isSet(u"signals-only"_s) ? u"as asked"_s : printable(fault);
        stream.note(u"signals alone, no calls and answers (%1)"_s.arg(reason));
    }
    loop.exec();
    terminal.complain(fault);
    return ExitStatus::NoDaemon;
}
