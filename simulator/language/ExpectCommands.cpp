// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandGroups.h"

#include "ScenarioRunner.h"
#include "Simulator.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <optional>

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

/// Waits for a number of the device to be the one in the line.
void expectNumber(ScenarioRunner& runner, const QString& what, double (*read)(Simulator& simulator))
{
    Simulator& simulator = runner.simulator();
    const double expected = runner.value(u"number"_s).toDouble();
    runner.expect(
        what + u' ' + QString::number(expected), within(runner),
        [&simulator, expected, read] { return read(simulator) == expected; },
        [&simulator, read] { return QString::number(read(simulator)); });
}

/// How far a time of a pattern may be off.
constexpr double kPatternTolerance = 0.15;

bool isSamePatternWord(const QString& actual, const QString& expected)
{
    bool isExpectedTime = false;
    const double expectedTime = expected.toDouble(&isExpectedTime);
    bool isActualTime = false;
    const double actualTime = actual.toDouble(&isActualTime);
    return isExpectedTime ? isActualTime && std::abs(actualTime - expectedTime) <= kPatternTolerance
                          : actual == expected;
}

std::optional<LineError> checkPattern(QVariantMap& values, const Catalogue&)
{
    static const QRegularExpression kForm(u"^on( \\d*\\.?\\d+ off \\d*\\.?\\d+ on)*( \\d*\\.?\\d+)?$"_s);
    const QString pattern = values.value(u"words"_s).toStringList().join(u' ');
    if (kForm.match(pattern).hasMatch()) {
        return std::nullopt;
    }
    return LineError{u'"' + pattern + u'"',
                     u"a pattern such as on 0.5 off 0.5 on 2, without the last time for a line that stays on"_s};
}

void expectPattern(ScenarioRunner& runner)
{
    const QStringList words = runner.value(u"words"_s).toStringList();
    const QStringList expected = QStringList{u"pattern"_s} + words;
    runner.expectEntry(u"pattern "_s + words.join(u' '), within(runner), [expected](const Timeline::Entry& entry) {
        return entry.kind == Timeline::Kind::Line && std::equal(entry.arguments.begin(), entry.arguments.end(),
                                                                expected.begin(), expected.end(), &isSamePatternWord);
    });
}

/// The text of the line's key in the configuration store; nothing where it is missing.
std::optional<QString> configValue(ScenarioRunner& runner)
{
    const auto& config = runner.simulator().device().config;
    const auto found = config.constFind({runner.value(u"group"_s).toString(), runner.value(u"key"_s).toString()});
    return found == config.constEnd() ? std::nullopt : std::optional(*found);
}

/// The run fails unless the line's key has that value; without one, unless it is missing.
void expectConfig(ScenarioRunner& runner, const std::optional<QString>& value)
{
    const auto shown = [](const std::optional<QString>& text) { return text ? u'"' + *text + u'"' : u"missing"_s; };
    const std::optional<QString> found = configValue(runner);
    if (found != value) {
        runner.fail(u"expected "_s + runner.value(u"group"_s).toString() + u'/' + runner.value(u"key"_s).toString() +
                    u" to be "_s + shown(value) + u", but it is "_s + shown(found));
    }
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

QList<Command> expectCommands()
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
        {"expect volume <number:number:-128:128> [within <within:number:0:86400>]", "waits for the master volume",
         kLooks,
         [](ScenarioRunner& runner) {
             expectNumber(runner, u"volume"_s,
                          [](Simulator& simulator) -> double { return simulator.device().masterVolume; });
         }},
        {"expect light <number:int:0:100> [within <within:number:0:86400>]",
         "waits for the light's intensity in percent", kLooks,
         [](ScenarioRunner& runner) {
             expectNumber(runner, u"light"_s,
                          [](Simulator& simulator) -> double { return simulator.device().lightIntensity; });
         }},
        {"expect freq <number:int:1:10000> [within <within:number:0:86400>]", "waits for the CPU frequency in MHz",
         kLooks,
         [](ScenarioRunner& runner) {
             expectNumber(runner, u"freq"_s, [](Simulator& simulator) -> double { return simulator.device().freqMHz; });
         }},
        {"expect schedule <number:int:0:1000000> [within <within:number:0:86400>]",
         "waits for the number of entries in the scheduler", kLooks,
         [](ScenarioRunner& runner) {
             expectNumber(runner, u"schedule"_s,
                          [](Simulator& simulator) -> double { return simulator.device().scheduleEntries; });
         }},
        {"expect events <number:int:0:1000000> [within <within:number:0:86400>]", "likewise in the event manager",
         kLooks,
         [](ScenarioRunner& runner) {
             expectNumber(runner, u"events"_s,
                          [](Simulator& simulator) -> double { return simulator.device().eventEntries; });
         }},
        {"expect userdata <number:int:0:1000000> [within <within:number:0:86400>]",
         "waits for the number of files among the user's data", kLooks,
         [](ScenarioRunner& runner) {
             expectNumber(runner, u"userdata"_s,
                          [](Simulator& simulator) -> double { return simulator.files().userDataCount(); });
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
        {"expect pattern <words...> [within <within:number:0:86400>]",
         "waits for the indicator to come to rest after on 0.5 off 0.5 on 2, say; without the last time it stays on",
         kLooks, &expectPattern, &checkPattern},
        {"expect frozen <state:on|off> [within <within:number:0:86400>]",
         "waits for the configuration store to be frozen, or not", kLooks,
         [](ScenarioRunner& runner) {
             const bool isFrozen = runner.value(u"state"_s).toBool();
             runner.expect(isFrozen ? u"a frozen store"_s : u"a store that is not frozen"_s, within(runner),
                           [&runner, isFrozen] { return runner.simulator().device().isConfigFrozen == isFrozen; });
         }},
        {"expect config <group> <key> <value>", "looks for a value of the configuration store", kLooks,
         [](ScenarioRunner& runner) { expectConfig(runner, runner.value(u"value"_s).toString()); }},
        {"expect no config <group> <key>", "fails if there is such a key", kLooks,
         [](ScenarioRunner& runner) { expectConfig(runner, std::nullopt); }},
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
