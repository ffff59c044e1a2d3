// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManager.h"

#include "ActionManager.h"
#include "ConfigProxy.h"
#include "FreqProxy.h"
#include "LightManagerProxy.h"
#include "Log.h"
#include "MicManagerProxy.h"
#include "Paths.h"
#include "PhoneManagerProxy.h"
#include "PhotoManagerProxy.h"
#include "RGBManagerProxy.h"
#include "Snapshot.h"
#include "SoundManagerProxy.h"
#include "StatusManagerProxy.h"
#include "UpdateProxy.h"

#include <QDBusConnection>

namespace {

/// The CPU frequencies of the device, lowest first.
constexpr int kFrequenciesMHz[] = {96, 200, 300, 372, 408, 456};

/// The RGB service answers late while it plays an animation, but nobody may wait for it for long.
constexpr int kRgbTimeoutMs = 5000;

/// The update service's code for the configuration files, the zone file among them.
constexpr int kConfigurationFiles = 12;

template <typename Client>
Client* createClient(const ServiceAddress& address, QObject* parent)
{
    return new Client(address.busName, address.objectPath, QDBusConnection::sessionBus(), parent);
}

} // namespace

PowerManager::PowerManager(const char* objectPath) : ZeltFeatureBase(objectPath) {}

PowerManager::~PowerManager() = default;

bool PowerManager::init()
{
    for (const int frequency : kFrequenciesMHz) {
        m_freqTable.append(frequency);
    }
    m_reservedCounter = 0;
    m_autoscaling = false;
    m_actionsEnabled = false;

    m_freq = createClient<FreqProxy>(kFreqService, this);
    m_sound = createClient<SoundManagerProxy>(kSoundService, this);
    m_photo = createClient<PhotoManagerProxy>(kPhotoService, this);
    m_mic = createClient<MicManagerProxy>(kMicService, this);
    m_config = createClient<ConfigProxy>(kConfigService, this);
    m_update = createClient<UpdateProxy>(kUpdateService, this);
    m_status = createClient<StatusManagerProxy>(kStatusService, this);
    m_light = createClient<LightManagerProxy>(kLightService, this);
    m_rgb = createClient<RGBManagerProxy>(kRgbService, this);
    m_phone = createClient<PhoneManagerProxy>(kPhoneService, this);
    m_rgb->setTimeout(kRgbTimeoutMs);

    if (!connect(m_status, &StatusManagerProxy::SystemStatus, this, &PowerManager::receiveSystemStatus) ||
        !connect(m_sound, &SoundManagerProxy::PlayRequested, this, &PowerManager::setMaxFreq) ||
        !connect(m_sound, &SoundManagerProxy::PlayingFile, this, &PowerManager::setMaxFreq) ||
        !connect(m_sound, &SoundManagerProxy::PlayingPlaylist, this, &PowerManager::setMaxFreq) ||
        !connect(m_photo, &PhotoManagerProxy::CameraEnabled, this, &PowerManager::setMaxFreq) ||
        !connect(m_update, &UpdateProxy::FilesUpdateStarted, this, &PowerManager::setMaxFreq)) {
        POWER_LOG(LogLevel::Error, "Can't connect notification signals (status|sound|photo|update)");
        return false;
    }

    SetAutoscalingEnabled(false);

    m_actionManager = new ActionManager(this);
    // Start-up goes on without zones; the file is read again below.
    (void)m_actionManager->configure(paths::zoneFile(), m_sound, m_light);
    SetActionsEnabled(true);

    if (!connect(m_update, &UpdateProxy::FilesUpdated, this, &PowerManager::loadActions)) {
        POWER_LOG(LogLevel::Error, "Can't handle FilesUpdated signal");
        return false;
    }
    // Kept: the zones are read and applied a second time, so that a file replaced before the connection above stood
    // is not missed.
    loadActions(0, kConfigurationFiles);
    return true;
}

void PowerManager::featureStarted() {}

void PowerManager::featureStopped() {}

void PowerManager::featurePaused() {}

void PowerManager::featureResumed() {}

int PowerManager::Reboot(const QString&)
{
    POWER_LOG(LogLevel::Warning, "Reboot not available");
    return -50;
}

int PowerManager::Shutdown(const QString&)
{
    POWER_LOG(LogLevel::Warning, "Shutdown not available");
    return -51;
}

int PowerManager::Suspend(const QString&)
{
    POWER_LOG(LogLevel::Warning, "Suspend not available");
    return -52;
}

int PowerManager::SetFreq(int)
{
    POWER_LOG(LogLevel::Warning, "SetFreq not available");
    return -52;
}

int PowerManager::SetAutoscalingEnabled(bool enable)
{
    m_autoscaling = enable;
    POWER_LOG(LogLevel::Info, "Autoscale: %d", enable);
    Q_EMIT AutoscalingEnabled(enable);
    return 0;
}

int PowerManager::SetActionsEnabled(bool enable)
{
    m_actionsEnabled = enable;
    POWER_LOG(LogLevel::Info, "PowerActions: %d ", enable);
    if (!enable) {
        Q_EMIT ActionsEnabled(false);
        return 0;
    }
    auto snapshot = makeSnapshot(&StatusManagerProxy::GetStatus);
    std::apply(
        [this](auto&... values) {
            // Deliberately not checked: without an answer the charge stays 0, which no zone owns.
            (void)m_status->GetStatus(values...);
            receiveSystemStatus(values...);
        },
        snapshot);
    Q_EMIT ActionsEnabled(true);
    return 0;
}

int PowerManager::SetSleepEnabled(bool, const QString&, const QString&)
{
    POWER_LOG(LogLevel::Warning, "SetSleepEnabled not available");
    return -1;
}

int PowerManager::IsAutoscalingEnabled(bool& enabled)
{
    enabled = m_autoscaling;
    return 0;
}

int PowerManager::IsActionsEnabled(bool& enabled)
{
    enabled = m_actionsEnabled;
    return 0;
}

int PowerManager::IsSleepEnabled(bool& enabled, QString&, QString&)
{
    POWER_LOG(LogLevel::Warning, "IsSleepEnabled not available");
    enabled = false;
    return -1;
}

int PowerManager::CurrentPowerZone(QString& zone)
{
    const int index = m_actionManager->currentZone();
    zone = index < 0 ? QString() : m_actionManager->zoneName(index);
    return 0;
}

void PowerManager::setMaxFreq()
{
    if (!m_autoscaling) {
        return;
    }
    POWER_LOG(LogLevel::Warning, "setMaxFreq not available");
}

void PowerManager::loadActions(int status, int type)
{
    if (status != 0 || type != kConfigurationFiles) {
        return;
    }
    POWER_LOG(LogLevel::Info, "PowerManager config loaded");
    m_actionManager->reload();
    SetActionsEnabled(m_actionsEnabled);
}

void PowerManager::receiveSystemStatus(const QString&, bool, bool, int, int, int, const QString&, double, double,
                                       double, bool, bool, int, int, int, int, int, int, int, int, int, int, int, int,
                                       int, int, int, int, int, int, int, int, int, int, int, int, int, int, int,
                                       int CBATT, int, int, bool, bool, const QString&, const QString&, const QString&,
                                       const QString&, const QString&, const QString&)
{
    if (!m_actionsEnabled) {
        POWER_LOG(LogLevel::Detail, "PowerActions disabled");
        return;
    }
    const int oldZone = m_actionManager->currentZone();
    const int newZone = m_actionManager->setBatteryCharge(CBATT);
    POWER_LOG(LogLevel::Detail, "CurrZone: %d, NewZone: %d", oldZone, newZone);
    if (oldZone != newZone) {
        Q_EMIT PowerZoneChanged(m_actionManager->zoneName(newZone));
    }
}
