// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionManager.h"

#include "BinaryValues.h"
#include "BlockingCall.h"
#include "LightManagerProxy.h"
#include "Log.h"
#include "SoundManagerProxy.h"

#include <QFileInfo>
#include <QSettings>

#include <algorithm>
#include <limits>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

constexpr int kMaxCharge = 100;
constexpr int kNoZone = -1;
/// The name reported when no zone applies.
constexpr char kNoZoneName[] = "None";

/// What an unreadable volume counts as. Louder than any ceiling, although the message about it says "100%": both kept.
constexpr double kAssumedVolume = 128.0;
/// What an unreadable light intensity counts as, in percent.
constexpr uint kAssumedIntensity = 100;

/// A whole number of the zone file. Text that is not one reads as 0; a number beyond the range of int, up to 64 bits,
/// as the range's end, so that the bounds' clamps still see it.
int readNumber(const QSettings& settings, const QString& group, const QString& key, int missing)
{
    const QVariant value = settings.value(group + u'/' + key);
    if (!value.isValid()) {
        return missing;
    }
    constexpr qlonglong kLowest = std::numeric_limits<int>::min();
    constexpr qlonglong kHighest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(value.toString().toLongLong(), kLowest, kHighest));
}

PowerZone readZone(const QSettings& settings, const QString& group)
{
    // "treshold": kept, the device's zone files are spelled so.
    return {group, std::max(0, readNumber(settings, group, QStringLiteral("low_treshold"), 0)),
            std::min(kMaxCharge, readNumber(settings, group, QStringLiteral("high_treshold"), 0)),
            readNumber(settings, group, QStringLiteral("volume"), -1),
            readNumber(settings, group, QStringLiteral("light"), -1)};
}

/// Gives memory back to the system when it goes. The reader of a long zone file works with many times what stays of it,
/// which the C library would keep for good.
class MemoryTrimmer
{
public:
    MemoryTrimmer() = default;
    ~MemoryTrimmer()
    {
#ifdef __GLIBC__
        malloc_trim(0);
#endif
    }

private:
    Q_DISABLE_COPY_MOVE(MemoryTrimmer)
};

int width(const PowerZone& zone)
{
    return zone.highThreshold - zone.lowThreshold;
}

} // namespace

ActionManager::ActionManager(QObject* parent) : QObject(parent) {}

bool ActionManager::configure(const QString& filePath, SoundManagerProxy* sound, LightManagerProxy* light)
{
    m_filePath = filePath;
    m_sound = sound;
    m_light = light;
    m_zones.clear();
    m_currentZone = kNoZone;
    return reload();
}

bool ActionManager::reload()
{
    const MemoryTrimmer trimmer; // outlives the reader
    POWER_LOG(LogLevel::Detail, "Reading %s", qPrintable(m_filePath));
    // Anything else in the file's place has no zones, like a missing file; a pipe would block the reader for ever.
    const bool isReadable = QFileInfo(m_filePath).isFile() && !mayHaveBinaryValue(m_filePath);
    const QSettings settings(isReadable ? m_filePath : QStringLiteral("/dev/null"), QSettings::IniFormat);
    const QStringList groups = settings.childGroups();
    m_zones.clear();
    for (const QString& group : groups) {
        const PowerZone zone = readZone(settings, group);
        const bool isBand = zone.lowThreshold < zone.highThreshold;
        if (isBand) {
            m_zones.append(zone);
        }
        POWER_LOG(LogLevel::Info, isBand ? "Loaded zone %s from %d%% to %d%%" : "Skipped zone %s from %d%% to %d%%",
                  qPrintable(zone.name), zone.lowThreshold, zone.highThreshold);
    }

    m_chargeTable = QList<int>(kMaxCharge + 1, kNoZone);
    m_currentZone = kNoZone;
    // Stable, so that among overlapping zones of equal width the one listed first wins.
    std::stable_sort(m_zones.begin(), m_zones.end(),
                     [](const PowerZone& a, const PowerZone& b) { return width(a) < width(b); });
    // Narrow zones are written over wide ones. The lower bound is exclusive: no zone owns a charge of 0.
    for (int index = static_cast<int>(m_zones.size()) - 1; index >= 0; --index) {
        const PowerZone& zone = m_zones.at(index);
        std::fill(m_chargeTable.begin() + zone.lowThreshold + 1, m_chargeTable.begin() + zone.highThreshold + 1, index);
    }
    return true;
}

int ActionManager::setBatteryCharge(int charge)
{
    const int clamped = std::clamp(charge, 0, kMaxCharge);
    const int index = m_chargeTable.value(clamped, kNoZone);
    if (index == m_currentZone) {
        POWER_LOG(LogLevel::Detail, "Zone %d not changed for charge %d", index, clamped);
        return m_currentZone;
    }
    if (index < 0 || index >= m_zones.size()) {
        POWER_LOG(LogLevel::Warning, "Undefined zone index %d for charge %d", index, clamped);
        return m_currentZone;
    }
    m_currentZone = index;
    const PowerZone zone = m_zones.at(index);
    const QByteArray name = zone.name.toLocal8Bit();
    POWER_LOG(LogLevel::Info, "Setting zone %s params", name.constData());
    // The two settings are not waited for, and not tried again: the zone counts as applied.
    if (m_sound != nullptr && zone.volume >= 0) {
        const std::optional<double> volume = currentVolume();
        if (!volume) {
            POWER_LOG(LogLevel::Warning, "Can't read current master volume: suppose 100%% (%d)",
                      static_cast<int>(kAssumedVolume));
        }
        const double current = volume.value_or(kAssumedVolume);
        POWER_LOG(LogLevel::Detail, "Zone %s, Current MasterVolume =%f", name.constData(), current);
        if (zone.volume < current) {
            (void)m_sound->SetMasterVolume(zone.volume);
            POWER_LOG(LogLevel::Detail, "Zone %s, SetMasterVolume =%d", name.constData(), zone.volume);
        }
    }
    if (m_light != nullptr && zone.light >= 0) {
        const std::optional<uint> intensity = currentIntensity();
        if (!intensity) {
            POWER_LOG(LogLevel::Warning, "Can't read current light intensity: suppose 100%%");
        }
        const uint current = intensity.value_or(kAssumedIntensity);
        POWER_LOG(LogLevel::Detail, "Zone %s, Current Light Intensity =%d", name.constData(),
                  static_cast<int>(current));
        if (static_cast<uint>(zone.light) < current) {
            (void)m_light->SetIntensity(static_cast<uint>(zone.light));
            POWER_LOG(LogLevel::Detail, "Zone %s, SetLight =%d", name.constData(), zone.light);
        }
    }
    return m_currentZone;
}

std::optional<double> ActionManager::currentVolume() const
{
    auto snapshot = makeSnapshot(&SoundManagerProxy::GetStatus);
    double& volume = std::get<1>(snapshot);
    // A reply of the wrong length, but with a good status, leaves the value as it is here.
    volume = kAssumedVolume;
    const QDBusReply<int> reply = std::apply(
        [this](auto&... values) { return fetch(*m_sound, QStringLiteral("GetStatus"), values...); }, snapshot);
    return reply.isValid() && reply.value() == 0 ? std::optional(volume) : std::nullopt;
}

std::optional<uint> ActionManager::currentIntensity() const
{
    QDBusPendingReply<int, uint> reply = m_light->GetIntensity();
    reply.waitForFinished();
    // Exactly a status and an intensity: a longer reply is not understood either.
    if (reply.isError() || reply.reply().arguments().size() != 2 || reply.argumentAt<0>() != 0) {
        return std::nullopt;
    }
    return reply.argumentAt<1>();
}

int ActionManager::currentZone() const
{
    return m_currentZone;
}

QString ActionManager::zoneName(int index) const
{
    return index >= 0 && index < m_zones.size() ? m_zones.at(index).name : QString::fromLatin1(kNoZoneName);
}
