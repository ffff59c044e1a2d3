// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandForm.h"
#include "CommandGroups.h"
#include "ExpectedArguments.h"
#include "ScenarioRunner.h"
#include "Simulator.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace Qt::Literals::StringLiterals;
using namespace parameters;

namespace {

double withinOrDefault(std::optional<double> seconds)
{
    return seconds.value_or(kDefaultWithinSeconds);
}

/// The arguments of the event that an expectation is about.
const events::Values& argumentsOf(const events::Call& call)
{
    return call.arguments;
}

const events::Values& argumentsOf(const events::Signal& signal)
{
    return signal.arguments;
}

const events::Outcome& argumentsOf(const events::Answer& answer)
{
    return answer.outcome;
}

const QList<ArgumentDescription>& described(const MemberReference& member, bool isCall)
{
    return isCall ? member.member->in : member.member->out;
}

template <typename Event>
constexpr bool kIsCall = std::is_same_v<Event, events::Call>;

/// An event of that type, of the member, with the arguments.
template <typename Event>
EntryTest memberTest(const MemberReference& member, const QStringList& words)
{
    return [name = member.name(),
            arguments = ExpectedArguments(words, described(member, kIsCall<Event>))](const Timeline::Entry& entry) {
        const auto* event = entry.as<Event>();
        return event != nullptr && events::memberName(*event) == name && arguments.match(argumentsOf(*event));
    };
}

template <typename Event>
std::optional<LineError> checkArguments(const MemberReference& member, const QStringList& words,
                                        const std::optional<double>&)
{
    return ExpectedArguments(words, described(member, kIsCall<Event>)).error();
}

/// "signal PowerZoneChanged Low": what is expected, as the line says it.
QString expectation(const QString& label, const MemberReference& member, const QStringList& words)
{
    const bool isOfService = member.service->service != events::kPowerDaemon;
    return (QStringList{label, isOfService ? member.name() : member.member->name} + words).join(u' ');
}

template <typename Event>
Command expectMember(const char* label, Member::Kind kind, const char* help, const char* example)
{
    return form("expect", label, Member{kind}, Words{"VALUE"}, within())
        .checked(&checkArguments<Event>)
        .looks(help, example,
               [label](ScenarioRunner& runner, const MemberReference& member, const QStringList& words,
                       std::optional<double> seconds) {
                   runner.expectEntry(expectation(QString::fromLatin1(label), member, words), withinOrDefault(seconds),
                                      memberTest<Event>(member, words));
               });
}

template <typename Event>
Command refuseMember(const char* label, Member::Kind kind, const char* help, const char* example)
{
    return form("expect", "no", label, Member{kind}, Words{"VALUE"}, forSeconds())
        .checked(&checkArguments<Event>)
        .looks(help, example,
               [label](ScenarioRunner& runner, const MemberReference& member, const QStringList& words,
                       std::optional<double> seconds) {
                   runner.refuseEntry(expectation(QString::fromLatin1(label), member, words), seconds.value_or(0),
                                      memberTest<Event>(member, words));
               });
}

EntryTest logTest(const QString& text)
{
    return [text](const Timeline::Entry& entry) {
        const auto* log = entry.as<LogLine>();
        return log != nullptr && log->message.contains(text);
    };
}

/// @param text exit status; empty: any
EntryTest processTest(const QString& state, const QString& text)
{
    return [state, text](const Timeline::Entry& entry) {
        const auto* process = entry.as<events::Process>();
        return process != nullptr && events::toString(process->state) == state &&
               (text.isEmpty() || process->text == text);
    };
}

QList<Command> eventCommands()
{
    return {
        expectMember<events::Call>(
            "call", Member::Kind::Method,
            "waits for a call that a service receives; without values: with any, else with all or some, NAME=VALUE",
            "expect call soundmanager.SetMasterVolume 80 within 3"),
        expectMember<events::Signal>(
            "signal", Member::Kind::AnySignal,
            "waits for a signal: of the power daemon (PowerZoneChanged) or of a service; values as for a call",
            "expect signal statusmanager.SystemStatus CBATT=40"),
        expectMember<events::Answer>("answer", Member::Kind::Operation,
                                     "waits for the power daemon's answer to \"call\"; values as for a call",
                                     "expect answer Reboot -50"),
        form("expect", "log", Text{"TEXT"}, within())
            .looks("waits for a log line that contains the text", "expect log \"Setting zone Low\"",
                   [](ScenarioRunner& runner, const QString& text, std::optional<double> seconds) {
                       runner.expectEntry(u"log \""_s + text + u'"', withinOrDefault(seconds), logTest(text));
                   }),
        form("expect", "ended", Whole{"STATUS", 0, 255}, within())
            .looks("waits for the power daemon's process to end with that status", "expect ended 0",
                   [](ScenarioRunner& runner, int status, std::optional<double> seconds) {
                       const QString text = QString::number(status);
                       runner.expectEntry(u"the power daemon to end with "_s + text, withinOrDefault(seconds),
                                          processTest(u"ended"_s, text));
                   }),
        form("expect", "daemon", Choice{"STATE", "up|down"}, within())
            .looks("waits for the power daemon to come up on the bus, or to leave it", "expect daemon up within 5",
                   [](ScenarioRunner& runner, const QString& state, std::optional<double> seconds) {
                       runner.expectEntry(u"the power daemon "_s + state, withinOrDefault(seconds),
                                          processTest(state, {}));
                   }),
        refuseMember<events::Call>("call", Member::Kind::Method,
                                   "fails if there was such a call, or comes one in that time (default: for 0)",
                                   "expect no call lightmanager.Switch for 2"),
        refuseMember<events::Signal>("signal", Member::Kind::AnySignal, "likewise for a signal",
                                     "expect no signal PowerZoneChanged"),
        form("expect", "no", "log", Text{"TEXT"}, forSeconds())
            .looks("likewise for a log line", "expect no log error",
                   [](ScenarioRunner& runner, const QString& text, std::optional<double> seconds) {
                       runner.refuseEntry(u"log \""_s + text + u'"', seconds.value_or(0), logTest(text));
                   }),
    };
}

/// Waits for a number of the device.
template <typename Parameter>
Command expectNumber(const char* what, const Parameter& parameter, const char* help, const char* example,
                     double (*read)(Simulator& simulator))
{
    return form("expect", what, parameter, within())
        .looks(help, example,
               [what, read](ScenarioRunner& runner, typename Parameter::Type number, std::optional<double> seconds) {
                   Simulator& simulator = runner.simulator();
                   const auto expected = static_cast<double>(number);
                   runner.expect(
                       QString::fromLatin1(what) + u' ' + QString::number(expected), withinOrDefault(seconds),
                       [&simulator, expected, read] { return read(simulator) == expected; },
                       [&simulator, read] { return QString::number(read(simulator)); });
               });
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

/// Fails the line unless the key has that value; without one, unless it is missing.
void expectConfig(ScenarioRunner& runner, const QString& configGroup, const QString& key,
                  const std::optional<QString>& value)
{
    const auto shown = [](const std::optional<QString>& text) { return text ? u'"' + *text + u'"' : u"missing"_s; };
    const auto& config = runner.simulator().device().config;
    const auto entry = config.constFind({configGroup, key});
    const std::optional<QString> found = entry == config.constEnd() ? std::nullopt : std::optional(*entry);
    if (found != value) {
        runner.fail(u"expected "_s + configGroup + u'/' + key + u" to be "_s + shown(value) + u", but it is "_s +
                    shown(found));
    }
}

QList<Command> stateCommands()
{
    return {
        expectNumber("volume", Number{"LEVEL", -128, 128}, "waits for the master volume", "expect volume 40",
                     [](Simulator& simulator) { return simulator.device().masterVolume; }),
        expectNumber("light", Whole{"PERCENT", 0, 100}, "waits for the light's intensity", "expect light 20",
                     [](Simulator& simulator) -> double { return simulator.device().lightIntensity; }),
        expectNumber("freq", Whole{"MHZ", 1, 10'000}, "waits for the CPU frequency", "expect freq 456 within 3",
                     [](Simulator& simulator) -> double { return simulator.device().freqMHz; }),
        expectNumber("schedule", Whole{"COUNT", 0, 1'000'000}, "waits for the number of entries in the scheduler",
                     "expect schedule 0",
                     [](Simulator& simulator) -> double { return simulator.device().scheduleEntries; }),
        expectNumber("events", Whole{"COUNT", 0, 1'000'000}, "waits for the number of entries in the event manager",
                     "expect events 0", [](Simulator& simulator) -> double { return simulator.device().eventEntries; }),
        expectNumber("userdata", Whole{"COUNT", 0, 1'000'000}, "waits for the number of files among the user's data",
                     "expect userdata 0",
                     [](Simulator& simulator) -> double { return simulator.files().userDataCount(); }),
        form("expect", "switch", Choice{"PART", "light|rgb|camera|phone"}, Switch{"SWITCH"}, within())
            .looks("waits for a part of the device to be on or off", "expect switch light off",
                   [](ScenarioRunner& runner, const QString& part, bool isOn, std::optional<double> seconds) {
                       runner.expect(
                           part + (isOn ? u" on"_s : u" off"_s), withinOrDefault(seconds),
                           [&runner, part, isOn] { return isPartOn(runner.simulator().device(), part) == isOn; });
                   }),
        form("expect", "frozen", Switch{"SWITCH"}, within())
            .looks("waits for the configuration store to be frozen, or not", "expect frozen on",
                   [](ScenarioRunner& runner, bool isFrozen, std::optional<double> seconds) {
                       runner.expect(
                           isFrozen ? u"a frozen store"_s : u"a store that is not frozen"_s, withinOrDefault(seconds),
                           [&runner, isFrozen] { return runner.simulator().device().isConfigFrozen == isFrozen; });
                   }),
        form("expect", "config", Text{"GROUP"}, Text{"KEY"}, Text{"VALUE"})
            .looks("checks a value of the configuration store, at once", "expect config SOUND masterVolume -32",
                   [](ScenarioRunner& runner, const QString& configGroup, const QString& key, const QString& value) {
                       expectConfig(runner, configGroup, key, value);
                   }),
        form("expect", "no", "config", Text{"GROUP"}, Text{"KEY"})
            .looks("fails if there is such a key", "expect no config GENERAL Nickname",
                   [](ScenarioRunner& runner, const QString& configGroup, const QString& key) {
                       expectConfig(runner, configGroup, key, std::nullopt);
                   }),
    };
}

/// How far a time of a pattern may be off, in seconds.
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

std::optional<LineError> checkPattern(const QStringList& words, const std::optional<double>&)
{
    static const QRegularExpression kForm(u"^on( \\d*\\.?\\d+ off \\d*\\.?\\d+ on)*( \\d*\\.?\\d+)?$"_s);
    const QString pattern = words.join(u' ');
    if (kForm.match(pattern).hasMatch()) {
        return std::nullopt;
    }
    return LineError{u'"' + pattern + u'"',
                     u"a pattern such as on 0.5 off 0.5 on 2, without the last time for a line that stays on"_s};
}

void expectPattern(ScenarioRunner& runner, const QStringList& words, std::optional<double> seconds)
{
    runner.expectEntry(
        u"pattern "_s + words.join(u' '), withinOrDefault(seconds), [words](const Timeline::Entry& entry) {
            const auto* pattern = entry.as<events::Pattern>();
            const QStringList actual = pattern != nullptr ? pattern->words() : QStringList();
            return std::equal(actual.begin(), actual.end(), words.begin(), words.end(), &isSamePatternWord);
        });
}

void expectLine(ScenarioRunner& runner, int number, bool isOn, std::optional<double> seconds)
{
    runner.expectEntry(events::toString(events::Line{number, isOn}), withinOrDefault(seconds),
                       [number, isOn](const Timeline::Entry& entry) {
                           const auto* line = entry.as<events::Line>();
                           return line != nullptr && line->number == number && line->isOn == isOn;
                       });
}

QList<Command> lineCommands()
{
    return {
        form("expect", "line", Whole{"LINE", 0, 1000}, Switch{"SWITCH"}, within())
            .looks("waits for a GPIO line to change to a level", "expect line 24 on", &expectLine),
        form("expect", "pattern", Words{"LEVEL"}, within())
            .checked(&checkPattern)
            .looks("waits for the indicator to come to rest after a pattern, levels and seconds; without the last time "
                   "it stays on",
                   "expect pattern on 0.5 off 0.5 on 2", &expectPattern),
    };
}

QList<Command> otherCommands()
{
    return {
        form("wait", seconds())
            .looks("continues after that time", "wait 0.5",
                   [](ScenarioRunner& runner, double length) { runner.pauseFor(length); }),
        form("note", Words{"TEXT"})
            .looks("puts a remark into the timeline", "note the battery falls",
                   [](ScenarioRunner& runner, const QStringList& words) {
                       runner.simulator().timeline().note(words.join(u' '));
                   }),
    };
}

} // namespace

QList<Command> expectCommands()
{
    return group("Expectations: what happens (default: within 2 seconds)", eventCommands()) +
           group("Expectations: the device's state (default: within 2 seconds)", stateCommands()) +
           group("Expectations: lines (default: within 2 seconds)", lineCommands()) + group("Other", otherCommands());
}
