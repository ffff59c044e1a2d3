// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Sequence.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr double kAnnouncementSeconds = 5; ///< between PowerEvent and what it announces
constexpr double kPulsesSeconds = 2.5;     ///< the indicator's three
constexpr double kBusLimitSeconds = 25;    ///< the bus's usual time limit
constexpr double kRgbLimitSeconds = 5;
constexpr double kStoreLimitSeconds = 5; ///< configuration store
constexpr double kSoundLimitSeconds = 5; ///< after a wake-up

constexpr QLatin1StringView kFreq("freqmanager");
constexpr QLatin1StringView kLight("lightmanager");
constexpr QLatin1StringView kRgb("rgbfeaturemanager");
constexpr QLatin1StringView kPhoto("photomanager");
constexpr QLatin1StringView kPhone("phonemanager");
constexpr QLatin1StringView kSound("soundmanager");

SequenceStep pause(const QString& text, double seconds)
{
    SequenceStep step;
    step.text = text;
    step.seconds = seconds;
    return step;
}

SequenceStep call(QLatin1StringView service, const QString& member, double limitSeconds, const QString& text,
                  const QString& condition = {})
{
    SequenceStep step;
    step.text = text;
    step.service = service;
    step.member = member;
    step.limitSeconds = limitSeconds;
    step.condition = condition;
    return step;
}

SequenceStep decisive(const QString& member, const QString& text)
{
    SequenceStep step = call(kFreq, member, kBusLimitSeconds, text);
    step.isDecisive = true;
    return step;
}

QList<SequenceStep> peripheralsOff()
{
    return {call(kLight, u"GetSwitch"_s, kBusLimitSeconds, u"save whether the light is on"_s),
            call(kLight, u"Switch"_s, kBusLimitSeconds, u"light off"_s),
            call(kRgb, u"IsDisabled"_s, kRgbLimitSeconds, u"save whether the RGB LEDs are disabled"_s),
            call(kRgb, u"Disable"_s, kRgbLimitSeconds, u"RGB LEDs off"_s, u"unless they were disabled"_s),
            call(kPhoto, u"EnableCamera"_s, kBusLimitSeconds, u"camera off"_s),
            call(kPhone, u"ForcePhoneOff"_s, kBusLimitSeconds, u"phone off"_s)};
}

} // namespace

namespace sequence {

QList<SequenceStep> reboot()
{
    return QList<SequenceStep>{pause(u"record the reason"_s, 0), pause(u"announce PowerEvent(reboot)"_s, 0),
                               pause(u"wait for those who listen"_s, kAnnouncementSeconds)} +
           peripheralsOff() +
           QList<SequenceStep>{pause(u"indicator: three pulses"_s, kPulsesSeconds),
                               decisive(u"Reboot"_s, u"restart the device"_s)};
}

QList<SequenceStep> shutdown()
{
    return {pause(u"record the reason"_s, 0), pause(u"announce PowerEvent(shutdown)"_s, 0),
            pause(u"wait for those who listen"_s, kAnnouncementSeconds), pause(u"indicator on"_s, 0),
            decisive(u"Shutdown"_s, u"power the device off"_s)};
}

QList<SequenceStep> suspend()
{
    SequenceStep volume =
        call(kSound, u"SetMasterVolume"_s, kSoundLimitSeconds, u"master volume as stored"_s, u"if the store has it"_s);
    volume.needsEarlier = true;
    return QList<SequenceStep>{decisive(u"SetWakeup"_s, u"set the alarm, in UTC"_s)} + peripheralsOff() +
           QList<SequenceStep>{
               pause(u"announce PowerEvent(suspend)"_s, 0),
               pause(u"wait for those who listen"_s, kAnnouncementSeconds),
               decisive(u"Suspend"_s, u"standby, until the alarm"_s),
               call("configmanager"_L1, u"GetStringValue"_s, kStoreLimitSeconds, u"read the stored master volume"_s),
               volume,
               call(kLight, u"Switch"_s, kBusLimitSeconds, u"light as it was"_s),
               call(kRgb, u"Disable"_s, kRgbLimitSeconds, u"RGB LEDs on"_s, u"unless they were disabled before"_s),
               call(kPhone, u"ForcePhoneOff"_s, kBusLimitSeconds, u"phone on (the camera stays off)"_s)} +
           reboot();
}

QList<SequenceStep> setFreq()
{
    return {decisive(u"SetFreq"_s, u"set the CPU frequency"_s)};
}

QList<SequenceStep> setActionsEnabled(bool isEnabled)
{
    const QString ifEntered = u"if another zone is entered that has a ceiling"_s;
    const QString ifAbove = u"if it is above the ceiling; not waited for"_s;
    QList<SequenceStep> steps = {pause(isEnabled ? u"power actions on"_s : u"power actions off"_s, 0)};
    if (isEnabled) {
        steps += {call("statusmanager"_L1, u"GetStatus"_s, kBusLimitSeconds, u"read the battery's charge"_s),
                  call(kSound, u"GetStatus"_s, kBusLimitSeconds, u"read the master volume"_s, ifEntered),
                  call(kSound, u"SetMasterVolume"_s, 0, u"lower the master volume"_s, ifAbove),
                  call(kLight, u"GetIntensity"_s, kBusLimitSeconds, u"read the light's intensity"_s, ifEntered),
                  call(kLight, u"SetIntensity"_s, 0, u"lower the light"_s, ifAbove)};
    }
    steps.append(pause(u"announce ActionsEnabled"_s, 0));
    return steps;
}

QList<SequenceStep> setting(const QString& text)
{
    return {pause(text, 0)};
}

double usualSeconds(const QList<SequenceStep>& steps)
{
    double sum = 0;
    for (const SequenceStep& step : steps) {
        sum += step.seconds;
    }
    return sum;
}

double worstSeconds(const QList<SequenceStep>& steps)
{
    double sum = 0;   // the decisive services answer, the others are mute
    double worst = 0; // the longest way that ends at a decisive service
    for (const SequenceStep& step : steps) {
        sum += step.seconds;
        if (step.isDecisive) {
            worst = std::max(worst, sum + step.limitSeconds);
        } else if (!step.needsEarlier) {
            sum += step.limitSeconds;
        }
    }
    return std::max(worst, sum);
}

QStringList services(const QList<SequenceStep>& steps)
{
    QStringList names;
    for (const SequenceStep& step : steps) {
        if (!step.service.isEmpty() && !names.contains(step.service)) {
            names.append(step.service);
        }
    }
    return names;
}

} // namespace sequence
