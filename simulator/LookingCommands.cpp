// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandGroups.h"

#include "ScenarioRunner.h"
#include "Simulator.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// How long an expectation waits where the line does not say.
constexpr double kDefaultWithinSeconds = 2;

double within(const ScenarioRunner& runner)
{
    const QVariant value = runner.value(u"within"_s);
    return value.isValid() ? value.toDouble() : kDefaultWithinSeconds;
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

} // namespace

QList<Command> lookingCommands()
{
    return {
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
             runner.refuseEntry(u"call "_s + name, runner.value(u"for"_s).toDouble(),
                                memberEntry(Timeline::Kind::Call, name, runner.value(u"arguments"_s).toStringList()));
         }},
        {"expect no signal <name> <arguments...> [for <for:number:0:86400>]", "likewise for a signal", kLooks,
         [](ScenarioRunner& runner) {
             const QString name = runner.value(u"name"_s).toString();
             runner.refuseEntry(u"signal "_s + name, runner.value(u"for"_s).toDouble(),
                                memberEntry(Timeline::Kind::Signal, name, runner.value(u"arguments"_s).toStringList()));
         }},
        {"expect no log <text> [for <for:number:0:86400>]", "likewise for a log line", kLooks,
         [](ScenarioRunner& runner) {
             const QString text = runner.value(u"text"_s).toString();
             runner.refuseEntry(u"log \""_s + text + u'"', runner.value(u"for"_s).toDouble(), logEntry(text));
         }},
        {"note <text...>", "puts a remark into the timeline", kLooks,
         [](ScenarioRunner& runner) {
             runner.simulator().timeline().note(runner.value(u"text"_s).toStringList().join(u' '));
         }},
    };
}
