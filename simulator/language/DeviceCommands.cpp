// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandForm.h"
#include "CommandGroups.h"
#include "ScenarioRunner.h"
#include "Simulator.h"

#include <QTime>

#include <chrono>
#include <cstdlib>
#include <functional>

using namespace Qt::Literals::StringLiterals;
using namespace parameters;

namespace {

/// The buttons that the power daemon knows.
constexpr char kButtons[] = "reset_factory|seek-";

void charge(ScenarioRunner& runner, int percent, std::optional<double> over)
{
    Device& device = runner.simulator().device();
    const int distance = std::abs(percent - device.chargePercent);
    if (over.value_or(0) == 0 || distance == 0) {
        device.chargePercent = percent;
        runner.simulator().broadcastStatus();
        return;
    }
    // One broadcast for each percent, the first at once, and as long a time after each.
    runner.repeat(*over / distance, [&runner, &device, percent] {
        if (device.chargePercent == percent) {
            return false;
        }
        device.chargePercent += percent > device.chargePercent ? 1 : -1;
        runner.simulator().broadcastStatus();
        return true;
    });
}

/// Carries out what may fail, which fails the line.
void attempt(ScenarioRunner& runner, const std::function<bool(QString* error)>& action)
{
    QString error;
    if (!action(&error)) {
        runner.fail(error);
    }
}

void sendEvent(ScenarioRunner& runner, const QString& name, bool isOn)
{
    runner.simulator().sendValues(u"gpeventmanager.GpEvent"_s, {name, isOn});
}

void hold(ScenarioRunner& runner, const QString& first, const QStringList& others, double seconds)
{
    const auto press = [&runner, buttons = QStringList{first} + others, isPressed = false]() mutable {
        isPressed = !isPressed;
        for (const QString& button : buttons) {
            sendEvent(runner, button, isPressed);
        }
        return isPressed;
    };
    runner.repeat(seconds, press);
}

void night(ScenarioRunner& runner, int secondsToBegin, int length)
{
    const QTime begin = QTime::currentTime().addSecs(secondsToBegin);
    const QString start = begin.toString(u"HH:mm:ss"_s);
    const QString end = begin.addSecs(length).toString(u"HH:mm:ss"_s);
    const MemberDescription* method = runner.simulator().catalogue().powerDaemon().findMethod(u"SetSleepEnabled"_s);
    runner.simulator().powerDaemon().call(*method, {true, start, end});
}

void update(ScenarioRunner& runner, int type, std::optional<int> status)
{
    runner.simulator().sendValues(u"updatemanager.FilesUpdateStarted"_s, {0, type});
    runner.simulator().sendValues(u"updatemanager.FilesUpdated"_s, {status.value_or(0), type});
}

QList<Command> batteryCommands()
{
    return {
        form("charge", Whole{"PERCENT", 0, 100}, optional("over", seconds()))
            .acts("sets the battery's charge and broadcasts the status; with over: percent by percent, in that time",
                  "charge 35 over 10", &charge),
        form("broadcast", optional(nullptr, Whole{"TIMES", 1, 1'000'000}))
            .acts("broadcasts the status as it is, at full speed (default: once)", "broadcast 300",
                  [](ScenarioRunner& runner, std::optional<int> times) {
                      for (int i = 0; i < times.value_or(1); ++i) {
                          runner.simulator().broadcastStatus();
                      }
                  }),
    };
}

QList<Command> partCommands()
{
    return {
        form("volume", Number{"LEVEL", -128, 128})
            .acts("sets the master volume", "volume 90",
                  [](ScenarioRunner& runner, double level) { runner.simulator().device().masterVolume = level; }),
        form("light", Whole{"PERCENT", 0, 100})
            .acts("sets the light's intensity", "light 60",
                  [](ScenarioRunner& runner, int percent) {
                      runner.simulator().device().lightIntensity = static_cast<uint>(percent);
                  }),
        form("light", Switch{"SWITCH"})
            .acts("switches the light", "light on",
                  [](ScenarioRunner& runner, bool isOn) { runner.simulator().device().isLightOn = isOn; }),
        form("rgb", Switch{"SWITCH"})
            .acts("enables or disables the RGB LEDs", "rgb off",
                  [](ScenarioRunner& runner, bool isOn) { runner.simulator().device().isRgbDisabled = !isOn; }),
        form("camera", Switch{"SWITCH"})
            .acts("switches the camera; the photo service announces it", "camera on",
                  [](ScenarioRunner& runner, bool isOn) {
                      runner.simulator().device().isCameraEnabled = isOn;
                      runner.simulator().send({u"photomanager.CameraEnabled"_s, {{u"Enabled"_s, isOn}}});
                  }),
        form("play", Text{"FILE"})
            .acts("plays a file: the sound service announces the request and the file", "play evening.flac",
                  [](ScenarioRunner& runner, const QString& file) {
                      runner.simulator().send({u"soundmanager.PlayRequested"_s, {}});
                      runner.simulator().sendValues(u"soundmanager.PlayingFile"_s, {file});
                  }),
        form("update", Whole{"TYPE", 0, 1000}, optional("status", Whole{"STATUS", -1000, 1000}))
            .acts("updates files: the update service announces begin and end; type 12 are the configuration files "
                  "(default: status 0)",
                  "update 12", &update),
    };
}

QList<Command> powerCommands()
{
    return {
        form("wake").acts("wakes the device from standby before its time", "wake",
                          [](ScenarioRunner& runner) { runner.simulator().wakeUp(); }),
        form("night", "in", Whole{"SECONDS", 0, 86399}, "for", Whole{"LENGTH", 1, 86399})
            .acts("sets a sleep window of LENGTH seconds that begins in SECONDS", "night in 2 for 12", &night),
        form("freq", Whole{"MHZ", 1, 10'000})
            .acts("sets the CPU frequency as another program would; the frequency service announces it", "freq 96",
                  [](ScenarioRunner& runner, int mhz) {
                      runner.simulator().device().changeFreq(mhz);
                      runner.simulator().sendNotifications();
                  }),
        form("load", Whole{"PERCENT", 1, 100}, "for", seconds())
            .acts("loads this machine's CPU from now on, while the lines go on; a new load replaces the old one",
                  "load 100 for 10",
                  [](ScenarioRunner& runner, int percent, double length) {
                      runner.simulator().load().start(percent, std::chrono::milliseconds(qRound64(length * 1000)));
                  }),
    };
}

QList<Command> buttonCommands()
{
    return {
        form("press", Text{"BUTTON", kButtons})
            .acts("presses a button (reset_factory, seek-)", "press reset_factory",
                  [](ScenarioRunner& runner, const QString& button) { sendEvent(runner, button, true); }),
        form("release", Text{"BUTTON", kButtons})
            .acts("releases it", "release reset_factory",
                  [](ScenarioRunner& runner, const QString& button) { sendEvent(runner, button, false); }),
        form("hold", Text{"BUTTON", kButtons}, Words{"BUTTON"}, "for", seconds())
            .acts("presses buttons, one after the other, and releases them after that time; the line takes as long",
                  "hold reset_factory seek- for 5.5", &hold),
        form("low-power", Switch{"SWITCH"})
            .acts("the power microcontroller's low-power line", "low-power on",
                  [](ScenarioRunner& runner, bool isOn) { sendEvent(runner, u"power|atmega_low_power"_s, isOn); }),
        form("event", Text{"NAME", kButtons}, Switch{"VALUE"})
            .acts("sends a hardware event of that name", "event seek- on", &sendEvent),
        form("mode", Choice{"MODE", "infrastructure|access-point"})
            .acts("sets the mode selector, GPIO line 134", "mode access-point",
                  [](ScenarioRunner& runner, const QString& mode) {
                      attempt(runner, [&runner, &mode](QString* error) {
                          return runner.simulator().lines().selectMode(mode == u"access-point", error);
                      });
                  }),
    };
}

QList<Command> storageCommands()
{
    return {
        form("schedule", Whole{"COUNT", 0, 1'000'000})
            .acts("puts that many entries into the scheduler", "schedule 3",
                  [](ScenarioRunner& runner, int count) { runner.simulator().device().scheduleEntries = count; }),
        form("events", Whole{"COUNT", 0, 1'000'000})
            .acts("puts that many entries into the event manager", "events 12",
                  [](ScenarioRunner& runner, int count) { runner.simulator().device().eventEntries = count; }),
        form("userdata", Text{"NAME"})
            .acts("puts a file of that name among the user's data", "userdata \"recording 1.wav\"",
                  [](ScenarioRunner& runner, const QString& name) {
                      attempt(runner, [&runner, &name](QString* error) {
                          return runner.simulator().files().addUserData(name, error);
                      });
                  }),
        form("zones", Text{"FILE"})
            .acts("puts a copy of FILE in the zone file's place; \"update 12\" makes the power daemon read it",
                  "zones powermanager/zones.ini",
                  [](ScenarioRunner& runner, const QString& file) {
                      attempt(runner, [&runner, &file](QString* error) {
                          return runner.simulator().files().installZones(file, error);
                      });
                  }),
        form("script", Choice{"SCRIPT", "clear_data|post_factory_restore"},
             Choice{"BEHAVIOUR", "works|fails|hangs|missing"})
            .acts("replaces a script of the device, or removes it; later runs find it so", "script clear_data fails",
                  [](ScenarioRunner& runner, const QString& script, const QString& behaviour) {
                      attempt(runner, [&runner, &script, &behaviour](QString* error) {
                          return runner.simulator().files().installScript(script, behaviour, error);
                      });
                  }),
        form("config", Text{"GROUP"}, Text{"KEY"}, Text{"VALUE"})
            .acts("sets a value of the configuration store; \"\" is an empty one", "config SOUND masterVolume 55",
                  [](ScenarioRunner& runner, const QString& configGroup, const QString& key, const QString& value) {
                      runner.simulator().device().config.insert({configGroup, key}, value);
                  }),
        form("forget", Text{"GROUP"}, Text{"KEY"})
            .acts("removes a key of the configuration store", "forget GENERAL Nickname",
                  [](ScenarioRunner& runner, const QString& configGroup, const QString& key) {
                      runner.simulator().device().config.remove({configGroup, key});
                  }),
    };
}

} // namespace

QList<Command> deviceCommands()
{
    return group("Battery", batteryCommands()) + group("Parts of the device", partCommands()) +
           group("Standby and CPU", powerCommands()) + group("Buttons and lines", buttonCommands()) +
           group("What is stored on the device", storageCommands());
}
