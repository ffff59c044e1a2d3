// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Device.h"

#include <QDateTime>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The status of a refusal. The daemons' own codes differ; none of them is 0.
constexpr int kRefused = -1;

QVariantMap refused()
{
    return {{u"Status"_s, kRefused}};
}

struct MethodEffect
{
    const char* method;                                                   ///< "service.Method"
    QVariantMap (*effect)(Device& device, const QVariantList& arguments); ///< returns the out-arguments
};

/// Methods that are not here change nothing and answer with zeros.
constexpr MethodEffect kMethodEffects[] = {
    {"configmanager.GetStringValue",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         const auto found = device.config.constFind({arguments.at(0).toString(), arguments.at(1).toString()});
         return found == device.config.constEnd() ? refused() : QVariantMap{{u"StringValue"_s, *found}};
     }},
    {"configmanager.SetStringValue",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         if (device.isConfigFrozen) {
             return refused();
         }
         device.config.insert({arguments.at(0).toString(), arguments.at(1).toString()}, arguments.at(2).toString());
         device.notify(
             u"configmanager.ConfigChanged"_s,
             {{u"KeyGroup"_s, arguments.at(0)}, {u"KeyName"_s, arguments.at(1)}, {u"StringValue"_s, arguments.at(2)}});
         return {};
     }},
    {"configmanager.Freeze",
     [](Device& device, const QVariantList&) -> QVariantMap {
         device.isConfigFrozen = true;
         return {};
     }},
    {"freqmanager.GetFreq",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return {{u"FreqMHz"_s, device.freqMHz}};
     }},
    {"freqmanager.SetFreq",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         device.freqMHz = arguments.at(0).toInt();
         device.notify(u"freqmanager.FreqChanged"_s, {{u"NewFreqMHz"_s, device.freqMHz}});
         return {};
     }},
    {"lightmanager.GetIntensity",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return {{u"Intensity"_s, device.lightIntensity}};
     }},
    {"lightmanager.SetIntensity",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         device.lightIntensity = arguments.at(0).toUInt();
         device.notify(u"lightmanager.LedStatus"_s, {{u"Intensity"_s, device.lightIntensity}});
         return {};
     }},
    {"lightmanager.GetSwitch",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return {{u"1"_s, device.isLightOn}};
     }},
    {"lightmanager.Switch",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         device.isLightOn = arguments.at(0).toBool();
         device.notify(u"lightmanager.LedSwitch"_s, {{u"0"_s, device.isLightOn}});
         return {};
     }},
    {"phonemanager.ForcePhoneOff",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         device.isPhoneForcedOff = arguments.at(0).toBool();
         return {};
     }},
    {"photomanager.EnableCamera",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         device.isCameraEnabled = arguments.at(0).toBool();
         device.notify(u"photomanager.CameraEnabled"_s, {{u"Enabled"_s, device.isCameraEnabled}});
         return {};
     }},
    {"photomanager.IsEnabledCamera",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return {{u"0"_s, device.isCameraEnabled}};
     }},
    {"rgbfeaturemanager.Disable",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         device.isRgbDisabled = arguments.at(0).toBool();
         device.notify(u"rgbfeaturemanager.RgbDisabled"_s, {{u"value"_s, device.isRgbDisabled}});
         return {};
     }},
    {"rgbfeaturemanager.IsDisabled",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return {{u"0"_s, device.isRgbDisabled}};
     }},
    {"soundmanager.GetStatus",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return {{u"MasterVolume"_s, device.masterVolume}};
     }},
    {"soundmanager.SetMasterVolume",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         device.masterVolume = arguments.at(0).toDouble();
         return {};
     }},
    {"statusmanager.GetStatus", [](Device& device, const QVariantList&) -> QVariantMap { return device.status(); }},
};

} // namespace

QVariantMap Device::call(const QString& method, const QVariantList& arguments)
{
    const auto* found = std::find_if(std::begin(kMethodEffects), std::end(kMethodEffects),
                                     [&method](const auto& row) { return method == QLatin1StringView(row.method); });
    return found == std::end(kMethodEffects) ? QVariantMap() : found->effect(*this, arguments);
}

QVariantMap Device::status() const
{
    return {{u"DateTime"_s, QDateTime::currentDateTime().toString(u"yyyy-MM-dd hh:mm:ss"_s)},
            {u"CBATT"_s, chargePercent},
            {u"VBatteryOk"_s, true},
            {u"IChargerOk"_s, true},
            {u"fwVer"_s, u"simulated"_s}};
}

void Device::notify(const QString& signal, const QVariantMap& values)
{
    notifications.append({signal, values});
}
