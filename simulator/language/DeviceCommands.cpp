// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandGroups.h"

#include "ScenarioRunner.h"
#include "Simulator.h"

#include <QTime>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>

using namespace Qt::Literals::StringLiterals;

namespace {

void charge(ScenarioRunner& runner)
{
    Device& device = runner.simulator().device();
    const int target = runner.value(u"percent"_s).toInt();
    const int distance = std::abs(target - device.chargePercent);
    const double over = runner.value(u"over"_s).toDouble();
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

/// Carries out what may fail, which ends the run.
void attempt(ScenarioRunner& runner, const std::function<bool(QString* error)>& action)
{
    QString error;
    if (!action(&error)) {
        runner.fail(error);
    }
}

void sendEvent(Simulator& simulator, const QString& name, bool isOn)
{
    simulator.sendValues(u"gpeventmanager.GpEvent"_s, {name, isOn});
}

void hold(ScenarioRunner& runner)
{
    Simulator& simulator = runner.simulator();
    const QStringList buttons =
        QStringList{runner.value(u"button"_s).toString()} + runner.value(u"buttons"_s).toStringList();
    const auto press = [&simulator, buttons, isPressed = false]() mutable {
        isPressed = !isPressed;
        for (const QString& button : buttons) {
            sendEvent(simulator, button, isPressed);
        }
        return isPressed;
    };
    runner.repeat(runner.value(u"seconds"_s).toDouble(), press);
}

} // namespace

QList<Command> deviceCommands()
{
    return {
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
             runner.simulator().powerDaemon().call(
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
        {"update <type:int:0:1000> [status <status:int:-1000:1000>]",
         "an update of files: the update service tells begin and end; type 12 are the configuration files", kActs,
         [](ScenarioRunner& runner) {
             const QVariantList values{runner.value(u"status"_s).toInt(), runner.value(u"type"_s)};
             runner.simulator().sendValues(u"updatemanager.FilesUpdateStarted"_s, {0, runner.value(u"type"_s)});
             runner.simulator().sendValues(u"updatemanager.FilesUpdated"_s, values);
         }},

        // The CPU
        {"freq <mhz:int:1:10000>", "sets the CPU frequency as another program would; the frequency service tells it",
         kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().changeFreq(runner.value(u"mhz"_s).toInt());
             runner.simulator().sendNotifications();
         }},
        {"load <percent:int:1:100> for <seconds:number:0:86400>",
         "loads this machine's CPU from now on, while the lines go on; a new load replaces the old one", kActs,
         [](ScenarioRunner& runner) {
             const std::chrono::duration<double> length(runner.value(u"seconds"_s).toDouble());
             runner.simulator().load().start(runner.value(u"percent"_s).toInt(),
                                             std::chrono::duration_cast<std::chrono::milliseconds>(length));
         }},

        // Buttons and lines
        {"press <button>", "presses a button (reset_factory, seek-)", kActs,
         [](ScenarioRunner& runner) { sendEvent(runner.simulator(), runner.value(u"button"_s).toString(), true); }},
        {"release <button>", "releases it", kActs,
         [](ScenarioRunner& runner) { sendEvent(runner.simulator(), runner.value(u"button"_s).toString(), false); }},
        {"hold <button> <buttons...> for <seconds:number:0:86400>",
         "presses buttons, one after the other, and releases them after that time; the line takes as long", kActs,
         &hold},
        {"low-power <switch:on|off>", "the power microcontroller's low-power line", kActs,
         [](ScenarioRunner& runner) {
             sendEvent(runner.simulator(), u"power|atmega_low_power"_s, runner.value(u"switch"_s).toBool());
         }},
        {"event <name> <value:on|off>", "sends a hardware event of that name", kActs,
         [](ScenarioRunner& runner) {
             sendEvent(runner.simulator(), runner.value(u"name"_s).toString(), runner.value(u"value"_s).toBool());
         }},
        {"mode <mode:infrastructure|access-point>", "sets the mode selector, GPIO line 134", kActs,
         [](ScenarioRunner& runner) {
             attempt(runner, [&runner](QString* error) {
                 return runner.simulator().lines().selectMode(runner.value(u"mode"_s) == u"access-point"_s, error);
             });
         }},

        // What is kept on the device
        {"schedule <count:int:0:1000000>", "puts so many entries into the scheduler", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().scheduleEntries = runner.value(u"count"_s).toInt();
         }},
        {"events <count:int:0:1000000>", "puts so many entries into the event manager", kActs,
         [](ScenarioRunner& runner) { runner.simulator().device().eventEntries = runner.value(u"count"_s).toInt(); }},
        {"userdata <name>", "puts a file of that name among the user's data", kActs,
         [](ScenarioRunner& runner) {
             attempt(runner, [&runner](QString* error) {
                 return runner.simulator().files().addUserData(runner.value(u"name"_s).toString(), error);
             });
         }},
        {"zones <file>", "puts a copy of FILE in the zone file's place; \"update 12\" tells the power daemon", kActs,
         [](ScenarioRunner& runner) {
             attempt(runner, [&runner](QString* error) {
                 return runner.simulator().files().installZones(runner.value(u"file"_s).toString(), error);
             });
         }},
        {"script <script:clear_data|post_factory_restore> <behaviour:works|fails|hangs|missing>",
         "replaces a script of the device, or takes it away; it stays so", kActs,
         [](ScenarioRunner& runner) {
             attempt(runner, [&runner](QString* error) {
                 return runner.simulator().files().installScript(runner.value(u"script"_s).toString(),
                                                                 runner.value(u"behaviour"_s).toString(), error);
             });
         }},
        {"config <group> <key> <value>", "sets a value of the configuration store; \"\" is an empty one", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().config.insert(
                 {runner.value(u"group"_s).toString(), runner.value(u"key"_s).toString()},
                 runner.value(u"value"_s).toString());
         }},
        {"forget <group> <key>", "removes a key of the configuration store", kActs,
         [](ScenarioRunner& runner) {
             runner.simulator().device().config.remove(
                 {runner.value(u"group"_s).toString(), runner.value(u"key"_s).toString()});
         }},
    };
}
