// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandGroups.h"

#include "DBusValues.h"
#include "DaemonProcess.h"
#include "ScenarioRunner.h"
#include "Simulator.h"

using namespace Qt::Literals::StringLiterals;

namespace {

/// Turns the words of a line, the value of that name, into the values of a member's arguments.
std::optional<LineError> convertArguments(QVariantMap& lineValues, const QString& name,
                                          const QList<ArgumentDescription>& arguments)
{
    const QStringList texts = lineValues.value(name).toStringList();
    QVariantList values;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QVariant value = i < texts.size() ? dbusvalues::convert(texts.at(i), arguments.at(i).type) : QVariant();
        if (!value.isValid()) {
            return LineError{
                i < texts.size() ? u'"' + texts.at(i) + u'"' : u"nothing"_s,
                dbusvalues::typeName(arguments.at(i).type) + u" for "_s +
                    (arguments.at(i).name.isEmpty() ? u"argument "_s + QString::number(i + 1) : arguments.at(i).name)};
        }
        values.append(value);
    }
    if (texts.size() > arguments.size()) {
        return LineError{u'"' + texts.at(arguments.size()) + u'"',
                         u"no more than "_s + QString::number(arguments.size()) + u" arguments"_s};
    }
    lineValues.insert(name, values);
    return std::nullopt;
}

void setFault(ScenarioRunner& runner, const Fault& fault)
{
    runner.simulator().setFault(runner.value(u"member"_s).toString(), fault);
}

void startService(ScenarioRunner& runner)
{
    QString error;
    if (!runner.simulator().service(runner.value(u"service"_s).toString())->start(&error)) {
        runner.fail(error);
    }
}

void stopService(ScenarioRunner& runner)
{
    runner.simulator().service(runner.value(u"service"_s).toString())->stop();
}

DaemonProcess* ownDaemon(ScenarioRunner& runner)
{
    if (runner.daemon() == nullptr) {
        runner.fail(u"found no power daemon of our own, expected the option --run"_s);
    }
    return runner.daemon();
}

} // namespace

QList<Command> serviceCommands()
{
    return {
        // The bus
        {"send <signal:signal> <values...>", "sends any signal of a service, with all its values in order", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().sendValues(runner.value(u"signal"_s).toString(), runner.value(u"values"_s).toList());
         },
         [](QVariantMap& values, const Catalogue& catalogue) {
             return convertArguments(values, u"values"_s,
                                     catalogue.findSignal(values.value(u"signal"_s).toString())->out);
         }},
        {"call <operation:operation> <arguments...>",
         "calls a method of the power daemon; its answer comes later (see \"expect answer\")", kActs,
         [](ScenarioRunner& runner) {
             const InterfaceDescription& daemon = runner.simulator().catalogue().powerDaemon();
             runner.simulator().powerDaemon().call(*daemon.findMethod(runner.value(u"operation"_s).toString()),
                                                   runner.value(u"arguments"_s).toList());
         },
         [](QVariantMap& values, const Catalogue& catalogue) {
             return convertArguments(values, u"arguments"_s,
                                     catalogue.powerDaemon().findMethod(values.value(u"operation"_s).toString())->in);
         }},
        {"stop <service:service>", "takes a service off the bus, as if its process died", kActs, &stopService},
        {"start <service:service>", "puts a service back on the bus", kActs, &startService},
        {"restart <service:service>", "stop and start", kActs,
         [](ScenarioRunner& runner) {
             stopService(runner);
             startService(runner);
         }},

        // Faults
        {"fail <member:method> error [<text>]", "from now on the method answers with a D-Bus error", kActs,
         [](ScenarioRunner& runner) {
             const QVariant text = runner.value(u"text"_s);
             setFault(runner, {Fault::Kind::Error, 0, 0, text.isValid() ? text.toString() : u"simulated failure"_s});
         }},
        {"fail <member:method> status <status:int:-2147483648:2147483647>",
         "from now on the method answers with that status", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Status, runner.value(u"status"_s).toInt(), 0, {}});
         }},
        {"fail <member:method> late <seconds:number:0:3600>", "from now on the method answers that much later", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Late, 0, qRound(runner.value(u"seconds"_s).toDouble() * 1000), {}});
         }},
        {"fail <member:method> mute", "from now on the method never answers", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Mute, 0, 0, {}});
         }},
        {"fail <member:method> dies", "the service leaves the bus on the next call of the method, before it answers",
         kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Dies, 0, 0, {}});
         }},
        {"fail <member:member> few", "from now on the last value is missing, in a reply or in a signal", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Few, 0, 0, {}});
         }},
        {"fail <member:member> many", "from now on there is a value too many", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Many, 0, 0, {}});
         }},
        {"fail <member:member> types", "from now on every value is of another type", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Types, 0, 0, {}});
         }},
        {"fail <member:member> arrays", "from now on every value is an array", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Arrays, 0, 0, {}});
         }},
        {"fail <member:method> floods", "from now on thousands of the service's signals come before the answer", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Floods, 0, 0, {}});
         }},
        {"repair all", "ends all faults; services that left the bus stay away", kActs,
         [](ScenarioRunner& runner) { runner.simulator().repairAll(); }},
        {"repair <member:member>", "ends the fault of a method or signal", kActs,
         [](ScenarioRunner& runner) { setFault(runner, {}); }},

        // The power daemon's process
        {"daemon start", "starts the power daemon given with --run", kActs,
         [](ScenarioRunner& runner) {
             if (DaemonProcess* daemon = ownDaemon(runner)) {
                 daemon->start();
             }
         }},
        {"daemon stop", "asks it to end (SIGTERM)", kActs,
         [](ScenarioRunner& runner) {
             if (DaemonProcess* daemon = ownDaemon(runner)) {
                 daemon->stop();
             }
         }},
    };
}
