// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Commands.h"

#include "CommandPattern.h"
#include "DBusValues.h"
#include "DaemonProcess.h"
#include "ScenarioRunner.h"
#include "Simulator.h"

#include <QTime>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// How long an expectation waits where the line does not say.
constexpr double kDefaultWithinSeconds = 2;

double seconds(const ScenarioRunner& runner, const QString& name, double missing)
{
    const QVariant value = runner.value(name);
    return value.isValid() ? value.toDouble() : missing;
}

double within(const ScenarioRunner& runner)
{
    return seconds(runner, u"within"_s, kDefaultWithinSeconds);
}

bool isSameValue(const QString& actual, const QString& expected)
{
    bool isActualNumber = false;
    bool isExpectedNumber = false;
    const double actualNumber = actual.toDouble(&isActualNumber);
    const double expectedNumber = expected.toDouble(&isExpectedNumber);
    return actual == expected || (isActualNumber && isExpectedNumber && actualNumber == expectedNumber);
}

/// No expected arguments fit any.
bool areArgumentsAsExpected(const QStringList& actual, const QStringList& expected)
{
    return expected.isEmpty() || (actual.size() == expected.size() &&
                                  std::equal(actual.begin(), actual.end(), expected.begin(), &isSameValue));
}

/// An entry of a kind, with the member's name (a name without a service is the power daemon's) and arguments.
ScenarioRunner::EntryTest memberEntry(Timeline::Kind kind, const QString& name, const QStringList& arguments)
{
    const QString fullName = name.contains(u'.') ? name : u"powermanager."_s + name;
    return [kind, fullName, arguments](const Timeline::Entry& entry) {
        return entry.kind == kind && entry.name == fullName && areArgumentsAsExpected(entry.arguments, arguments);
    };
}

ScenarioRunner::EntryTest logEntry(const QString& text)
{
    return
        [text](const Timeline::Entry& entry) { return entry.kind == Timeline::Kind::Log && entry.name.contains(text); };
}

void expectMember(ScenarioRunner& runner, Timeline::Kind kind, const QString& label)
{
    const QString name = runner.value(u"name"_s).toString();
    const QStringList arguments = runner.value(u"arguments"_s).toStringList();
    runner.expectEntry(label + u' ' + (QStringList{name} + arguments).join(u' '), within(runner),
                       memberEntry(kind, name, arguments));
}

/// Turns the words of a line into the values of a member's arguments.
std::optional<QVariantList> convertArguments(ScenarioRunner& runner, const QList<ArgumentDescription>& arguments,
                                             const QStringList& texts)
{
    QVariantList values;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QVariant value = i < texts.size() ? dbusvalues::convert(texts.at(i), arguments.at(i).type) : QVariant();
        if (!value.isValid()) {
            runner.fail(
                u"found "_s + (i < texts.size() ? u'"' + texts.at(i) + u'"' : u"nothing"_s) + u", expected "_s +
                dbusvalues::typeName(arguments.at(i).type) + u" for "_s +
                (arguments.at(i).name.isEmpty() ? u"argument "_s + QString::number(i + 1) : arguments.at(i).name));
            return std::nullopt;
        }
        values.append(value);
    }
    if (texts.size() > arguments.size()) {
        runner.fail(u"found \""_s + texts.at(arguments.size()) + u"\", expected no more than "_s +
                    QString::number(arguments.size()) + u" arguments"_s);
        return std::nullopt;
    }
    return values;
}

bool isPartOn(const Device& device, const QString& part)
{
    if (part == u"light") {
        return device.isLightOn;
    }
    if (part == u"rgb") {
        return !device.isRgbDisabled;
    }
    return part == u"camera" ? device.isCameraEnabled : !device.isPhoneForcedOff;
}

void charge(ScenarioRunner& runner)
{
    Device& device = runner.simulator().device();
    const int target = runner.value(u"percent"_s).toInt();
    const int distance = std::abs(target - device.chargePercent);
    const double over = seconds(runner, u"over"_s, 0);
    if (over == 0 || distance == 0) {
        device.chargePercent = target;
        runner.simulator().broadcastStatus();
        return;
    }
    // One broadcast for each percent, the first at once.
    runner.repeat(over / distance, [&runner, &device, target] {
        device.chargePercent += target > device.chargePercent ? 1 : -1;
        runner.simulator().broadcastStatus();
        return device.chargePercent != target;
    });
}

void setFault(ScenarioRunner& runner, const Fault& fault)
{
    const QString member = runner.value(u"member"_s).toString();
    const bool isOfValues = fault.kind == Fault::Kind::Few || fault.kind == Fault::Kind::Many ||
                            fault.kind == Fault::Kind::Types || fault.kind == Fault::Kind::None;
    if (!isOfValues && runner.simulator().findSignal(member) != nullptr) {
        runner.fail(u"found the signal "_s + member + u", expected a method: a signal is not answered"_s);
        return;
    }
    runner.simulator().setFault(member, fault);
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

void help(ScenarioRunner& runner)
{
    const QStringList words = runner.value(u"command"_s).toStringList();
    QString text;
    for (const Command& command : commands()) {
        if (command.pattern.startsWith(words)) {
            text += u"  "_s + command.pattern.synopsis() + u"\n      "_s + QString::fromUtf8(command.help) + u'\n';
        }
    }
    runner.print(text.isEmpty() ? u"no command begins with \""_s + words.join(u' ') + u"\"; \"help\" lists them all\n"_s
                                : text);
}

constexpr bool kActs = true;
constexpr bool kLooks = false;

} // namespace

const QList<Command>& commands()
{
    static const QList<Command> kList{
        // The battery
        {"charge <percent:int:0:100> [over <over:number:0:86400>]",
         "sets the battery's charge and broadcasts the status; over SECONDS: goes there percent by percent", kActs,
         &charge},
        {"broadcast [<times:int:1:1000000>]", "broadcasts the status as it is, once or TIMES times at full speed",
         kActs,
         [](ScenarioRunner& runner) {
             for (int i = 0; i < std::max(1, runner.value(u"times"_s).toInt()); ++i) {
                 runner.simulator().broadcastStatus();
             }
         }},

        // The device's other parts
        {"volume <level:number:-128:128>", "sets the master volume", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().masterVolume = runner.value(u"level"_s).toDouble();
         }},
        {"light <intensity:int:0:100>", "sets the light's intensity in percent", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().lightIntensity = runner.value(u"intensity"_s).toUInt();
         }},
        {"light <switch:on|off>", "switches the light", kActs,
         [](ScenarioRunner& runner) { runner.simulator().device().isLightOn = runner.value(u"switch"_s).toBool(); }},
        {"rgb <switch:on|off>", "enables or disables the RGB LEDs", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().isRgbDisabled = !runner.value(u"switch"_s).toBool();
         }},
        {"wake", "wakes the device from standby before its time", kActs,
         [](ScenarioRunner& runner) { runner.simulator().wakeUp(); }},
        {"night in <begin:int:0:86399> for <length:int:1:86399>",
         "sets a sleep window of LENGTH seconds that begins in so many seconds", kActs,
         [](ScenarioRunner& runner) {
             const QTime begin = QTime::currentTime().addSecs(runner.value(u"begin"_s).toInt());
             const QString start = begin.toString(u"HH:mm:ss"_s);
             const QString end = begin.addSecs(runner.value(u"length"_s).toInt()).toString(u"HH:mm:ss"_s);
             runner.simulator().callPowerDaemon(
                 *runner.simulator().catalogue().powerDaemon().findMethod(u"SetSleepEnabled"_s), {true, start, end});
         }},
        {"camera <switch:on|off>", "switches the camera; the photo service tells it", kActs,
         [](ScenarioRunner& runner) {
             const bool isOn = runner.value(u"switch"_s).toBool();
             runner.simulator().device().isCameraEnabled = isOn;
             runner.simulator().send({u"photomanager.CameraEnabled"_s, {{u"Enabled"_s, isOn}}});
         }},
        {"play <file>", "plays a file: the sound service tells the request and the file", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().send({u"soundmanager.PlayRequested"_s, {}});
             runner.simulator().sendValues(u"soundmanager.PlayingFile"_s, {runner.value(u"file"_s)});
         }},
        {"event <name> <value:on|off>", "sends a hardware event of that name", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().sendValues(u"gpeventmanager.GpEvent"_s,
                                           {runner.value(u"name"_s), runner.value(u"value"_s)});
         }},
        {"update <type:int:0:1000> [status <status:int:-1000:1000>]",
         "an update of files: the update service tells begin and end; type 12 are the configuration files", kActs,
         [](ScenarioRunner& runner) {
             const QVariantList values{runner.value(u"status"_s).toInt(), runner.value(u"type"_s)};
             runner.simulator().sendValues(u"updatemanager.FilesUpdateStarted"_s, {0, runner.value(u"type"_s)});
             runner.simulator().sendValues(u"updatemanager.FilesUpdated"_s, values);
         }},
        {"zones <file>", "puts a copy of FILE in the zone file's place; \"update 12\" tells the power daemon", kActs,
         [](ScenarioRunner& runner) {
             QString error;
             if (!runner.simulator().files().installZones(runner.value(u"file"_s).toString(), &error)) {
                 runner.fail(error);
             }
         }},
        {"config <group> <key> <value>", "sets a value of the configuration store", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().config.insert(
                 {runner.value(u"group"_s).toString(), runner.value(u"key"_s).toString()},
                 runner.value(u"value"_s).toString());
         }},

        // The bus
        {"send <signal:signal> <values...>", "sends any signal of a service, with all its values in order", kActs,
         [](ScenarioRunner& runner) {
             const QString name = runner.value(u"signal"_s).toString();
             const MemberDescription* signal = runner.simulator().findSignal(name);
             if (const auto values = convertArguments(runner, signal->out, runner.value(u"values"_s).toStringList())) {
                 runner.simulator().sendValues(name, *values);
             }
         }},
        {"call <operation:operation> <arguments...>",
         "calls a method of the power daemon; its answer comes later (see \"expect answer\")", kActs,
         [](ScenarioRunner& runner) {
             const MemberDescription* method =
                 runner.simulator().catalogue().powerDaemon().findMethod(runner.value(u"operation"_s).toString());
             if (const auto values =
                     convertArguments(runner, method->in, runner.value(u"arguments"_s).toStringList())) {
                 runner.simulator().callPowerDaemon(*method, *values);
             }
         }},
        {"stop <service:service>", "takes a service off the bus, as if its process died", kActs, &stopService},
        {"start <service:service>", "puts a service back on the bus", kActs, &startService},
        {"restart <service:service>", "stop and start", kActs,
         [](ScenarioRunner& runner) {
             stopService(runner);
             startService(runner);
         }},

        // Faults
        {"fail <member:member> error [<text>]", "from now on the method answers with a D-Bus error", kActs,
         [](ScenarioRunner& runner) {
             const QVariant text = runner.value(u"text"_s);
             setFault(runner, {Fault::Kind::Error, 0, 0, text.isValid() ? text.toString() : u"simulated failure"_s});
         }},
        {"fail <member:member> status <status:int:-2147483648:2147483647>",
         "from now on the method answers with that status", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Status, runner.value(u"status"_s).toInt(), 0, {}});
         }},
        {"fail <member:member> late <seconds:number:0:3600>", "from now on the method answers that much later", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Late, 0, qRound(runner.value(u"seconds"_s).toDouble() * 1000), {}});
         }},
        {"fail <member:member> mute", "from now on the method never answers", kActs,
         [](ScenarioRunner& runner) {
             setFault(runner, {Fault::Kind::Mute, 0, 0, {}});
         }},
        {"fail <member:member> dies", "the service leaves the bus on the next call of the method, before it answers",
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

        // Looking
        {"wait <seconds:number:0:86400>", "goes on after that time", kLooks,
         [](ScenarioRunner& runner) { runner.pauseFor(runner.value(u"seconds"_s).toDouble()); }},
        {"expect call <name:method> <arguments...> [within <within:number:0:86400>]",
         "waits for a call that a service receives; without arguments: with any", kLooks,
         [](ScenarioRunner& runner) { expectMember(runner, Timeline::Kind::Call, u"call"_s); }},
        {"expect signal <name> <arguments...> [within <within:number:0:86400>]",
         "waits for a signal: of the power daemon (PowerZoneChanged) or of a service (service.Signal)", kLooks,
         [](ScenarioRunner& runner) { expectMember(runner, Timeline::Kind::Signal, u"signal"_s); }},
        {"expect answer <name:operation> <arguments...> [within <within:number:0:86400>]",
         "waits for the power daemon's answer to \"call\"", kLooks,
         [](ScenarioRunner& runner) { expectMember(runner, Timeline::Kind::Answer, u"answer"_s); }},
        {"expect log <text> [within <within:number:0:86400>]", "waits for a log line that contains the text", kLooks,
         [](ScenarioRunner& runner) {
             const QString text = runner.value(u"text"_s).toString();
             runner.expectEntry(u"log \""_s + text + u'"', within(runner), logEntry(text));
         }},
        {"expect ended <status:int:0:255> [within <within:number:0:86400>]",
         "waits for the power daemon's process to end with that status", kLooks,
         [](ScenarioRunner& runner) {
             const QString status = runner.value(u"status"_s).toString();
             runner.expectEntry(u"the power daemon to end with "_s + status, within(runner),
                                [status](const Timeline::Entry& entry) {
                                    return entry.kind == Timeline::Kind::Process && entry.name == u"ended" &&
                                           entry.arguments.constFirst() == status;
                                });
         }},
        {"expect daemon <state:up|down> [within <within:number:0:86400>]",
         "waits for the power daemon to come up on the bus, or to leave it", kLooks,
         [](ScenarioRunner& runner) {
             const QString state = runner.value(u"state"_s).toString();
             runner.expectEntry(u"the power daemon "_s + state, within(runner), [state](const Timeline::Entry& entry) {
                 return entry.kind == Timeline::Kind::Process && entry.name == state;
             });
         }},
        {"expect volume <level:number:-128:128> [within <within:number:0:86400>]", "waits for the master volume",
         kLooks,
         [](ScenarioRunner& runner) {
             const double level = runner.value(u"level"_s).toDouble();
             runner.expect(u"volume "_s + QString::number(level), within(runner),
                           [&runner, level] { return runner.simulator().device().masterVolume == level; });
         }},
        {"expect light <intensity:int:0:100> [within <within:number:0:86400>]", "waits for the light's intensity",
         kLooks,
         [](ScenarioRunner& runner) {
             const uint intensity = runner.value(u"intensity"_s).toUInt();
             runner.expect(u"light "_s + QString::number(intensity), within(runner),
                           [&runner, intensity] { return runner.simulator().device().lightIntensity == intensity; });
         }},
        {"expect switch <part:light|rgb|camera|phone> <state:on|off> [within <within:number:0:86400>]",
         "waits for a part of the device to be on or off", kLooks,
         [](ScenarioRunner& runner) {
             const QString part = runner.value(u"part"_s).toString();
             const bool isOn = runner.value(u"state"_s).toBool();
             runner.expect(part + (isOn ? u" on"_s : u" off"_s), within(runner),
                           [&runner, part, isOn] { return isPartOn(runner.simulator().device(), part) == isOn; });
         }},
        {"expect line <line:int:0:1000> <level:on|off> [within <within:number:0:86400>]",
         "waits for a GPIO line to change to a level", kLooks,
         [](ScenarioRunner& runner) {
             const QString line = runner.value(u"line"_s).toString();
             const QString level = runner.value(u"level"_s).toBool() ? u"on"_s : u"off"_s;
             const QString what = u"line "_s + line + u' ' + level;
             runner.expectEntry(what, within(runner),
                                [what](const Timeline::Entry& entry) { return entry.toString() == what; });
         }},
        {"expect config <group> <key> <value>", "looks for a value of the configuration store", kLooks,
         [](ScenarioRunner& runner) {
             const QString group = runner.value(u"group"_s).toString();
             const QString key = runner.value(u"key"_s).toString();
             const QString value = runner.value(u"value"_s).toString();
             const auto found = runner.simulator().device().config.constFind({group, key});
             if (found == runner.simulator().device().config.constEnd() || *found != value) {
                 runner.fail(
                     u"expected "_s + group + u'/' + key + u" to be \""_s + value + u"\", but it is "_s +
                     (found == runner.simulator().device().config.constEnd() ? u"missing"_s : u'"' + *found + u'"'));
             }
         }},
        {"expect no call <name:method> <arguments...> [for <for:number:0:86400>]",
         "fails if there was such a call, or comes one in that time", kLooks,
         [](ScenarioRunner& runner) {
             const QString name = runner.value(u"name"_s).toString();
             runner.refuseEntry(u"call "_s + name, seconds(runner, u"for"_s, 0),
                                memberEntry(Timeline::Kind::Call, name, runner.value(u"arguments"_s).toStringList()));
         }},
        {"expect no signal <name> <arguments...> [for <for:number:0:86400>]", "likewise for a signal", kLooks,
         [](ScenarioRunner& runner) {
             const QString name = runner.value(u"name"_s).toString();
             runner.refuseEntry(u"signal "_s + name, seconds(runner, u"for"_s, 0),
                                memberEntry(Timeline::Kind::Signal, name, runner.value(u"arguments"_s).toStringList()));
         }},
        {"expect no log <text> [for <for:number:0:86400>]", "likewise for a log line", kLooks,
         [](ScenarioRunner& runner) {
             const QString text = runner.value(u"text"_s).toString();
             runner.refuseEntry(u"log \""_s + text + u'"', seconds(runner, u"for"_s, 0), logEntry(text));
         }},
        {"note <text...>", "puts a remark into the timeline", kLooks,
         [](ScenarioRunner& runner) {
             runner.simulator().timeline().note(runner.value(u"text"_s).toStringList().join(u' '));
         }},
        {"help <command...>", "lists the commands, or those that begin with the words given", kLooks, &help},
    };
    return kList;
}
