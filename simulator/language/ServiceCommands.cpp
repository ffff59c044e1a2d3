// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandForm.h"
#include "CommandGroups.h"
#include "DBusValues.h"
#include "DaemonProcess.h"
#include "ScenarioRunner.h"
#include "Simulator.h"

#include <limits>

using namespace Qt::Literals::StringLiterals;
using namespace parameters;

namespace {

/// Turns words of a line into the values of a member's arguments.
/// @return the values; on failure *error says what is wrong
QVariantList convertArguments(const QStringList& words, const QList<ArgumentDescription>& arguments,
                              std::optional<LineError>* error)
{
    QVariantList values;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const ArgumentDescription& argument = arguments.at(i);
        const QVariant value = i < words.size() ? dbusvalues::convert(words.at(i), argument.type) : QVariant();
        if (!value.isValid()) {
            const QString name = argument.name.isEmpty() ? u"argument "_s + QString::number(i + 1) : argument.name;
            *error = LineError{i < words.size() ? u'"' + words.at(i) + u'"' : u"nothing"_s,
                               dbusvalues::typeName(argument.type) + u" for "_s + name};
            return {};
        }
        values.append(value);
    }
    if (words.size() > arguments.size()) {
        *error = LineError{u'"' + words.at(arguments.size()) + u'"',
                           u"no more than "_s + QString::number(arguments.size()) + u" arguments"_s};
    }
    return values;
}

/// The same for words that have been checked.
QVariantList convertArguments(const QStringList& words, const QList<ArgumentDescription>& arguments)
{
    std::optional<LineError> error;
    return convertArguments(words, arguments, &error);
}

void startService(ScenarioRunner& runner, const QString& service)
{
    QString error;
    if (!runner.simulator().service(service)->start(&error)) {
        runner.fail(error);
    }
}

void stopService(ScenarioRunner& runner, const QString& service)
{
    runner.simulator().service(service)->stop();
}

QList<Command> busCommands()
{
    return {
        form("send", Member{Member::Kind::Signal}, Words{"VALUE"})
            .checked([](const MemberReference& signal, const QStringList& words) {
                std::optional<LineError> error;
                (void)convertArguments(words, signal.member->out, &error);
                return error;
            })
            .acts("sends any signal of a service, with all its values in order",
                  "send gpeventmanager.GpEvent seek- true",
                  [](ScenarioRunner& runner, const MemberReference& signal, const QStringList& words) {
                      runner.simulator().sendValues(signal.name(), convertArguments(words, signal.member->out));
                  }),
        form("call", Member{Member::Kind::Operation}, Words{"VALUE"})
            .checked([](const MemberReference& method, const QStringList& words) {
                std::optional<LineError> error;
                (void)convertArguments(words, method.member->in, &error);
                return error;
            })
            .acts("calls a method of the power daemon; its answer comes later (see \"expect answer\")",
                  "call Reboot user_gui",
                  [](ScenarioRunner& runner, const MemberReference& method, const QStringList& words) {
                      runner.simulator().powerDaemon().call(*method.member, convertArguments(words, method.member->in));
                  }),
        form("stop", Service{})
            .acts("takes a service off the bus, as if its process died", "stop soundmanager", &stopService),
        form("start", Service{}).acts("puts a service back on the bus", "start soundmanager", &startService),
        form("restart", Service{})
            .acts("stop and start", "restart soundmanager",
                  [](ScenarioRunner& runner, const QString& service) {
                      stopService(runner, service);
                      startService(runner, service);
                  }),
    };
}

void setFault(ScenarioRunner& runner, const MemberReference& member, const Fault& fault)
{
    runner.simulator().setFault(member.name(), fault);
}

/// A fault that has no value of its own.
Command faultCommand(Member::Kind memberKind, const char* word, Fault::Kind kind, const char* help, const char* example)
{
    return form("fail", Member{memberKind}, word)
        .acts(help, example, [kind](ScenarioRunner& runner, const MemberReference& member) {
            setFault(runner, member, {kind, 0, 0, {}});
        });
}

QList<Command> faultCommands()
{
    constexpr Member kMethod{Member::Kind::Method};
    return {
        form("fail", kMethod, "error", optional(nullptr, Text{"TEXT"}))
            .acts("from now on the method answers with a D-Bus error (default: \"simulated failure\")",
                  "fail lightmanager.GetSwitch error \"no light\"",
                  [](ScenarioRunner& runner, const MemberReference& member, const std::optional<QString>& text) {
                      setFault(runner, member, {Fault::Kind::Error, 0, 0, text.value_or(u"simulated failure"_s)});
                  }),
        form("fail", kMethod, "status",
             Whole{"STATUS", std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
            .acts("from now on the method answers with that status", "fail freqmanager.Reboot status -3",
                  [](ScenarioRunner& runner, const MemberReference& member, int status) {
                      setFault(runner, member, {Fault::Kind::Status, status, 0, {}});
                  }),
        form("fail", kMethod, "late", Number{"SECONDS", 0, 3600})
            .acts("from now on the method answers that much later", "fail soundmanager.GetStatus late 0.5",
                  [](ScenarioRunner& runner, const MemberReference& member, double delay) {
                      setFault(runner, member, {Fault::Kind::Late, 0, qRound(delay * 1000), {}});
                  }),
        faultCommand(Member::Kind::Method, "mute", Fault::Kind::Mute, "from now on the method never answers",
                     "fail phonemanager.ForcePhoneOff mute"),
        faultCommand(Member::Kind::Method, "dies", Fault::Kind::Dies,
                     "the service leaves the bus on the next call of the method, before it answers",
                     "fail configmanager.Save dies"),
        faultCommand(Member::Kind::Any, "few", Fault::Kind::Few,
                     "from now on the last value is missing, in a reply or in a signal",
                     "fail statusmanager.SystemStatus few"),
        faultCommand(Member::Kind::Any, "many", Fault::Kind::Many, "from now on there is a value too many",
                     "fail statusmanager.GetStatus many"),
        faultCommand(Member::Kind::Any, "types", Fault::Kind::Types, "from now on every value is of another type",
                     "fail freqmanager.GetFreq types"),
        faultCommand(Member::Kind::Any, "arrays", Fault::Kind::Arrays, "from now on every value is an array",
                     "fail freqmanager.GetFreq arrays"),
        faultCommand(Member::Kind::Method, "floods", Fault::Kind::Floods,
                     "from now on thousands of the service's signals come before the answer",
                     "fail lightmanager.GetIntensity floods"),
        form("repair", "all")
            .acts("ends all faults; services that left the bus stay away", "repair all",
                  [](ScenarioRunner& runner) { runner.simulator().repairAll(); }),
        form("repair", Member{Member::Kind::Any})
            .acts("ends the fault of a method or signal", "repair freqmanager.Reboot",
                  [](ScenarioRunner& runner, const MemberReference& member) { setFault(runner, member, {}); }),
    };
}

/// Does something with the power daemon's process, if it is ours.
void withDaemon(ScenarioRunner& runner, void (DaemonProcess::*action)())
{
    if (runner.daemon() == nullptr) {
        runner.fail(u"found no power daemon of our own, expected the option --run"_s);
    } else {
        (runner.daemon()->*action)();
    }
}

QList<Command> daemonCommands()
{
    return {
        form("daemon", "start")
            .acts("starts the power daemon given with --run", "daemon start",
                  [](ScenarioRunner& runner) { withDaemon(runner, &DaemonProcess::start); }),
        form("daemon", "stop")
            .acts("asks it to end (SIGTERM)", "daemon stop",
                  [](ScenarioRunner& runner) { withDaemon(runner, &DaemonProcess::stop); }),
    };
}

} // namespace

QList<Command> serviceCommands()
{
    return group("Services and the bus", busCommands()) + group("Faults", faultCommands()) +
           group("The power daemon's process", daemonCommands());
}
