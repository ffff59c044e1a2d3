// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Device.h"

#include "Catalogue.h"

#include <QDateTime>
#include <QSettings>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr QLatin1StringView kTimeFormat("yyyy-MM-dd HH:mm:ss");

/// The status of a refusal. The daemons' own codes differ; none of them is 0.
constexpr int kRefused = -1;

/// What the frequency service takes.
constexpr int kFrequenciesMHz[] = {96, 200, 300, 372, 408, 456};

/// The group whose keys QSettings has without a group: it reads "[GENERAL]" so.
constexpr QLatin1StringView kUngrouped("GENERAL");

QVariantMap refused()
{
    return {{u"Status"_s, kRefused}};
}

struct MethodEffect
{
    const char* method;                                                   ///< "service.Method"
    QVariantMap (*effect)(Device& device, const QVariantList& arguments); ///< returns the out-arguments
    bool isHeld = false; ///< a good answer comes later, when something else has happened
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
    {"configmanager.Save",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return device.saveConfig() ? QVariantMap() : refused();
     }},
    {"eventmanager.Clear",
     [](Device& device, const QVariantList&) -> QVariantMap {
         device.eventEntries = 0;
         return {};
     }},
    {"freqmanager.Reboot",
     [](Device& device, const QVariantList&) -> QVariantMap {
         device.powerRequest = Device::PowerRequest::Reboot;
         return {};
     }},
    {"freqmanager.Shutdown",
     [](Device& device, const QVariantList&) -> QVariantMap {
         device.powerRequest = Device::PowerRequest::Shutdown;
         return {};
     }},
    {"freqmanager.SetWakeup",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         const QString time = arguments.at(1).toString();
         if (!QDateTime::fromString(time, kTimeFormat).isValid()) {
             return refused();
         }
         device.wakeUpTime = time;
         return {};
     }},
    {"freqmanager.Suspend",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return device.wakeUpTime.isEmpty() ? refused() : QVariantMap();
     },
     true},
    {"freqmanager.GetFreq",
     [](Device& device, const QVariantList&) -> QVariantMap {
         return {{u"FreqMHz"_s, device.freqMHz}};
     }},
    {"freqmanager.SetFreq",
     [](Device& device, const QVariantList& arguments) -> QVariantMap {
         const int freqMHz = arguments.at(0).toInt();
         if (std::find(std::begin(kFrequenciesMHz), std::end(kFrequenciesMHz), freqMHz) == std::end(kFrequenciesMHz)) {
             return refused();
         }
         device.changeFreq(freqMHz);
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
    {"scheduler.Clear",
     [](Device& device, const QVariantList&) -> QVariantMap {
         device.scheduleEntries = 0;
         return {};
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

Device::Answer Device::call(const QString& method, const QVariantList& arguments)
{
    const auto* found = std::find_if(std::begin(kMethodEffects), std::end(kMethodEffects),
                                     [&method](const auto& row) { return method == QLatin1StringView(row.method); });
    if (found == std::end(kMethodEffects)) {
        return {};
    }
    const QVariantMap values = found->effect(*this, arguments);
    return {values, found->isHeld && values.value(u"Status"_s).toInt() == 0};
}

QList<int> Device::frequenciesMHz()
{
    return {std::begin(kFrequenciesMHz), std::end(kFrequenciesMHz)};
}

QStringList Device::unknownMethods(const Catalogue& catalogue)
{
    QStringList unknown;
    for (const MethodEffect& row : kMethodEffects) {
        const QString method = QString::fromLatin1(row.method);
        const InterfaceDescription* service = catalogue.findService(method.section(u'.', 0, 0));
        if (service == nullptr || service->findMethod(method.section(u'.', 1)) == nullptr) {
            unknown.append(method);
        }
    }
    return unknown;
}

void Device::restart()
{
    isConfigFrozen = false;
    loadConfig();
    isCameraEnabled = false;
    isPhoneForcedOff = false;
    powerRequest = PowerRequest::None;
    wakeUpTime.clear();
}

bool Device::saveConfig() const
{
    if (configFile.isEmpty()) {
        return true;
    }
    QSettings file(configFile, QSettings::IniFormat);
    file.clear();
    for (auto entry = config.constBegin(); entry != config.constEnd(); ++entry) {
        const auto& [group, key] = entry.key();
        file.setValue(group == kUngrouped ? key : group + u'/' + key, entry.value());
    }
    file.sync();
    return file.status() == QSettings::NoError;
}

void Device::loadConfig()
{
    if (configFile.isEmpty()) {
        return;
    }
    config.clear();
    const QSettings file(configFile, QSettings::IniFormat);
    const QStringList keys = file.allKeys();
    for (const QString& key : keys) {
        const bool isGrouped = key.contains(u'/');
        config.insert({isGrouped ? key.section(u'/', 0, 0) : kUngrouped, isGrouped ? key.section(u'/', 1) : key},
                      file.value(key).toString());
    }
}

void Device::changeFreq(int mhz)
{
    if (freqMHz != mhz) {
        freqMHz = mhz;
        notify(u"freqmanager.FreqChanged"_s, {{u"NewFreqMHz"_s, mhz}});
    }
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
