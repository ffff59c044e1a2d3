// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionManager.h"

#include "BlockingCall.h"
#include "FreeMemory.h"
#include "LightManagerProxy.h"
#include "Log.h"
#include "SoundManagerProxy.h"
#include "ZoneReader.h"

#include <algorithm>
#include <utility>

namespace {

/// The name reported when no zone applies.
constexpr char kNoZoneName[] = "None";

/// The value assumed for an unreadable volume. Kept: louder than any ceiling, although the message says "100%".
constexpr double kAssumedVolume = 128.0;
/// The value assumed for an unreadable light intensity, in percent.
constexpr uint kAssumedIntensity = 100;

/// Returns free memory to the system at the end of its scope. The reader of a long zone file needs many times the
/// memory of its zones, and the C library would keep that for good.
class MemoryTrimmer
{
public:
    MemoryTrimmer() = default;
    ~MemoryTrimmer()
    {
        returnFreeMemory();
    }

private:
    Q_DISABLE_COPY_MOVE(MemoryTrimmer)
};

} // namespace

ActionManager::ActionManager(QObject* parent) : QObject(parent) {}

bool ActionManager::configure(const QString& filePath, SoundManagerProxy* sound, LightManagerProxy* light)
{
    m_filePath = filePath;
    m_sound = sound;
    m_light = light;
    m_table = ZoneTable();
    m_currentZone = ZoneTable::kNoZone;
    return reload();
}

bool ActionManager::reload()
{
    const MemoryTrimmer trimmer; // outlives the reader
    POWER_LOG(LogLevel::Detail, "Reading %s", qPrintable(m_filePath));
    QList<PowerZone> zones = parseZones(readZoneFile(m_filePath));
    for (const PowerZone& zone : std::as_const(zones)) {
        POWER_LOG(LogLevel::Info,
                  zone.isBand() ? "Loaded zone %s from %d%% to %d%%" : "Skipped zone %s from %d%% to %d%%",
                  qPrintable(zone.name), zone.lowThreshold, zone.highThreshold);
    }
    m_table = ZoneTable(std::move(zones));
    m_currentZone = ZoneTable::kNoZone;
    return true;
}

int ActionManager::setBatteryCharge(int charge)
{
    const int clamped = std::clamp(charge, 0, ZoneTable::kMaxCharge);
    const int index = m_table.zoneAt(clamped);
    if (index == m_currentZone) {
        POWER_LOG(LogLevel::Detail, "Zone %d not changed for charge %d", index, clamped);
        return m_currentZone;
    }
    if (index < 0 || index >= m_table.zones().size()) {
        POWER_LOG(LogLevel::Warning, "Undefined zone index %d for charge %d", index, clamped);
        return m_currentZone;
    }
    m_currentZone = index;
    const PowerZone zone = m_table.zones().at(index);
    const QByteArray name = zone.name.toLocal8Bit();
    POWER_LOG(LogLevel::Info, "Setting zone %s params", name.constData());
    // The two calls are neither waited for nor repeated: the zone counts as applied.
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
    // A reply of the wrong length, but with a good status, leaves this value.
    volume = kAssumedVolume;
    const QDBusReply<int> reply = std::apply(
        [this](auto&... values) { return fetch(*m_sound, QStringLiteral("GetStatus"), values...); }, snapshot);
    return reply.isValid() && reply.value() == 0 ? std::optional(volume) : std::nullopt;
}

std::optional<uint> ActionManager::currentIntensity() const
{
    QDBusPendingReply<int, uint> reply = m_light->GetIntensity();
    reply.waitForFinished();
    // Exactly a status and an intensity: a longer reply is not accepted.
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
    return index >= 0 && index < m_table.zones().size() ? m_table.zones().at(index).name
                                                        : QString::fromLatin1(kNoZoneName);
}
