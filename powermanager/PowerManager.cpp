// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManager.h"

#include "ActionManager.h"
#include "BlockingCall.h"
#include "ConfigProxy.h"
#include "Configuration.h"
#include "EventMonitor.h"
#include "FactoryRestoreManager.h"
#include "FreeMemory.h"
#include "FreqProxy.h"
#include "FrequencyLadder.h"
#include "Indicator.h"
#include "LightManagerProxy.h"
#include "LoadMonitor.h"
#include "Log.h"
#include "MicManagerProxy.h"
#include "Paths.h"
#include "Pauses.h"
#include "PhoneManagerProxy.h"
#include "PhotoManagerProxy.h"
#include "RGBManagerProxy.h"
#include "SleepManager.h"
#include "SoundManagerProxy.h"
#include "StatusManagerProxy.h"
#include "UpdateProxy.h"
#include "common_qdbus.h"

#include <QDBusConnection>
#include <QDateTime>
#include <QFile>
#include <QTextStream>

#include <chrono>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// The statuses with which the operations of the bus interface fail.
constexpr int kRebootFailed = -50;
constexpr int kShutdownFailed = -51;
constexpr int kFreqOrSuspendFailed = -52;
constexpr int kFreqUnreadable = -53;
constexpr int kSwitchFailed = -54;

/// Time for listeners of PowerEvent to react, in seconds.
constexpr unsigned int kAnnouncementSeconds = 5;

/// Bit of the wake-up mode mask: the real-time clock's alarm. (0x01 would be a wireless LAN packet.)
constexpr uchar kWakeByRtc = 0x02;

/// The sound service may be slow just after a wake-up, but must not hold up the reboot that follows.
constexpr int kSoundTimeoutMs = 5000;

/// The value that a missing master volume reads as.
constexpr double kDefaultMasterVolume = -32.0;

/// The RGB service answers late while it plays an animation, but must not hold up an action for long.
constexpr int kRgbTimeoutMs = 5000;

/// The update service's code for the configuration files, the zone file among them.
constexpr int kConfigurationFiles = 12;

template <typename Client>
Client* createClient(const ServiceAddress& address, QObject* parent)
{
    return new Client(address.busName, address.objectPath, QDBusConnection::sessionBus(), parent);
}

/// Waits for the reply to an action. @return whether the service carried it out: no D-Bus error, and status 0
bool isDone(QDBusPendingReply<int> reply)
{
    reply.waitForFinished();
    return !reply.isError() && reply.value() == 0;
}

/// For the length of a power action. What arrives meanwhile waits in memory, which is returned once all is served.
class Backlog
{
public:
    explicit Backlog(QTimer& timer) : m_timer(timer) {}
    ~Backlog()
    {
        m_timer.start();
    }

private:
    Q_DISABLE_COPY_MOVE(Backlog)

    QTimer& m_timer;
};

/// The same instant in UTC; an empty text if the text is no time. A time that the clock skips in spring counts on from
/// the hour before it.
QString toUtc(const QString& localTime)
{
    const QString format = QStringLiteral("yyyy-MM-dd HH:mm:ss");
    QDateTime time = QDateTime::fromString(localTime, format);
    constexpr int kGapSeconds = 3600;
    if (!time.isValid() && time.date().isValid() && time.time().isValid()) {
        // Left invalid, it would be converted as if it were UTC already. The clock time wraps at midnight.
        const QTime clock = time.time().addSecs(-kGapSeconds);
        const QDate date = clock < time.time() ? time.date() : time.date().addDays(-1);
        time = QDateTime(date, clock).addSecs(kGapSeconds);
    }
    return time.toUTC().toString(format);
}

/// Opens a regular file, which is created if it is missing, and empties it. Anything else in its place (a pipe that
/// nobody reads, a terminal) must not hold up a power action. @return the descriptor, negative on failure
int openForRewriting(const QString& path)
{
    constexpr mode_t kReadableByAll = 0666; // as far as the process's mask allows
    const int descriptor = open(QFile::encodeName(path).constData(),
                                O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kReadableByAll);
    struct stat info = {};
    if (descriptor >= 0 && (fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode) || ftruncate(descriptor, 0) != 0)) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

} // namespace

PowerManager::PowerManager(const char* objectPath) : ZeltFeatureBase(objectPath)
{
    // A flood may go on for a while, but by then it no longer waits.
    m_backlogTimer.setInterval(10s);
    m_backlogTimer.setSingleShot(true);
    connect(&m_backlogTimer, &QTimer::timeout, this, &returnFreeMemory);
}

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

    m_loadMonitor = new LoadMonitor(this);
    // Kept: a warning, although start-up fails as after the errors around it.
    if (!m_loadMonitor->start() ||
        !connect(m_loadMonitor, &LoadMonitor::lowCpuLoad, this, &PowerManager::freqDecrease) ||
        !connect(m_loadMonitor, &LoadMonitor::highCpuLoad, this, &PowerManager::freqIncrease)) {
        POWER_LOG(LogLevel::Warning, "Can't handle cpu load notifications");
        return false;
    }
    POWER_LOG(LogLevel::Info, "Succesfully attached to LoadMonitor events");

    // An event goes to HandleGpEvent() first, to the factory restore (below) second.
    m_eventMonitor = new EventMonitor(this);
    if (!connect(m_eventMonitor, &EventMonitor::event, this, &PowerManager::HandleGpEvent)) {
        POWER_LOG(LogLevel::Error, "Can't handle PowerOff events");
        return false;
    }
    POWER_LOG(LogLevel::Info, "Succesfully attached to PowerOff events");

    SetAutoscalingEnabled(false);

    m_actionManager = new ActionManager(this);
    // Start-up goes on without zones; the file is read again below.
    (void)m_actionManager->configure(paths::zoneFile(), m_sound, m_light);
    SetActionsEnabled(true);

    m_sleepManager = new SleepManager(this);
    if (!connect(m_sleepManager, &SleepManager::SleepTimeout, this, &PowerManager::Suspend)) {
        POWER_LOG(LogLevel::Error, "Can't handle Suspend");
        return false;
    }

    m_factoryRestoreManager = new FactoryRestoreManager(this);
    if (!m_factoryRestoreManager->isInitialized() ||
        !connect(m_eventMonitor, &EventMonitor::event, m_factoryRestoreManager, &FactoryRestoreManager::OnEvent) ||
        !connect(m_factoryRestoreManager, &FactoryRestoreManager::ResetCompleted, this,
                 &PowerManager::PostRestoreReboot)) {
        POWER_LOG(LogLevel::Error, "Can't handle FactoryRestore events");
        return false;
    }

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

int PowerManager::HandleGpEvent(const Event& event)
{
    if (event.name == kLowPowerEvent && event.value) {
        return Shutdown(QStringLiteral("cmd_shdm"));
    }
    return 0;
}

int PowerManager::PostRestoreReboot()
{
    return Reboot(QStringLiteral("restore"));
}

int PowerManager::Reboot(const QString& Reason)
{
    const Backlog backlog(m_backlogTimer);
    const QString event = QStringLiteral("reboot");
    POWER_LOG(LogLevel::Warning, "Reboot (%s) requested: will restart in about %d seconds...", qPrintable(Reason),
              static_cast<int>(kAnnouncementSeconds));
    saveReason(QStringLiteral("last_") + event, Reason);
    Q_EMIT PowerEvent(event, Reason);
    POWER_LOG(LogLevel::Warning, "Power event emitted: %s", qPrintable(event));
    pauses::seconds(kAnnouncementSeconds);
    switchOff();
    pulseIndicator();
    if (!isDone(m_freq->Reboot())) {
        POWER_LOG(LogLevel::Error, "Reboot error");
        return kRebootFailed;
    }
    return 0;
}

int PowerManager::Shutdown(const QString& Reason)
{
    const Backlog backlog(m_backlogTimer);
    const QString event = QStringLiteral("shutdown");
    POWER_LOG(LogLevel::Warning, "Shutdown (%s) requested: will poweroff in about %d seconds...", qPrintable(Reason),
              static_cast<int>(kAnnouncementSeconds));
    saveReason(QStringLiteral("last_") + event, Reason);
    Q_EMIT PowerEvent(event, Reason);
    POWER_LOG(LogLevel::Warning, "Power event emitted: %s", qPrintable(event));
    pauses::seconds(kAnnouncementSeconds);
    // Deliberately unlike a reboot: the peripherals lose power anyway, and the indicator stays on until it does, too.
    switchOnIndicator();
    if (!isDone(m_freq->Shutdown())) {
        POWER_LOG(LogLevel::Error, "Shutdown error");
        return kShutdownFailed;
    }
    return 0;
}

int PowerManager::Suspend(const QString& Time)
{
    POWER_LOG(LogLevel::Info, "Suspend until %s (localtime) requested", qPrintable(Time));
    // Not checked: the frequency service decides about an empty text.
    const QString utc = toUtc(Time);
    POWER_LOG(LogLevel::Detail, "Converted to %s (UTC)", qPrintable(utc));
    if (!isDone(m_freq->SetWakeup(kWakeByRtc, utc))) {
        POWER_LOG(LogLevel::Error, "Error setting wakeup time to %s (localtime)", qPrintable(Time));
        return kFreqOrSuspendFailed;
    }
    const Backlog backlog(m_backlogTimer);
    preSuspendSetup();
    Q_EMIT PowerEvent(QStringLiteral("suspend"), QStringLiteral("sleep"));
    pauses::seconds(kAnnouncementSeconds);
    // The reply comes after the wake-up.
    QDBusPendingReply<int> reply = m_freq->Suspend();
    if (!isDone(reply)) {
        // Deliberately not restored: the peripherals that preSuspendSetup() switched off stay off.
        POWER_LOG(LogLevel::Error, "Error calling Suspend. returned %d", reply.isError() ? 0 : reply.value());
        return kFreqOrSuspendFailed;
    }
    postSuspendRestore();
    (void)Reboot(QStringLiteral("sleep")); // logs its failure itself; the suspend was done
    return 0;
}

void PowerManager::saveReason(const QString& action, const QString& reason)
{
    const QString path = paths::lastActionFile();
    QFile file;
    QTextStream stream(&file);
    const int descriptor = openForRewriting(path);
    if (descriptor >= 0 && file.open(descriptor, QIODevice::WriteOnly | QIODevice::Text, QFile::AutoCloseHandle)) {
        stream << QDateTime::currentDateTime().toString(QStringLiteral("yyyy/MM/dd-hh:mm:ss")) << '|' << action << '|'
               << reason << Qt::endl;
    }
    // Written badly: no space is left.
    if (!file.isOpen() || stream.status() != QTextStream::Ok) {
        POWER_LOG(LogLevel::Error, "Error saving action/reason to file [%s]", qPrintable(path));
    }
}

void PowerManager::pulseIndicator()
{
    indicator::play({500'000, 500'000, 500'000, 500'000, 500'000});
}

void PowerManager::switchOnIndicator()
{
    indicator::turnOn();
}

int PowerManager::switchLight(bool on)
{
    if (!isDone(m_light->Switch(on))) {
        POWER_LOG(LogLevel::Error, "Error turning light %d", on);
        return kSwitchFailed;
    }
    POWER_LOG(LogLevel::Actuation, "Light switch set to %d", on);
    return 0;
}

int PowerManager::disableRgb(bool disable)
{
    // The RGB service must not save this: the user's own setting returns with the next start.
    QDBusPendingReply<int> reply = m_rgb->Disable(disable, false);
    reply.waitForFinished();
    // Unlike in the other switches, the status is deliberately ignored.
    if (reply.isError()) {
        POWER_LOG(LogLevel::Error, "Error turning rgb %d", disable);
        return kSwitchFailed;
    }
    POWER_LOG(LogLevel::Actuation, "RGB switch set to %d", disable);
    return 0;
}

int PowerManager::switchCamera(bool enable)
{
    if (!isDone(m_photo->EnableCamera(enable))) {
        POWER_LOG(LogLevel::Error, "Error turning camera %d", enable);
        return kSwitchFailed;
    }
    POWER_LOG(LogLevel::Actuation, "Camera switch set to %d", enable);
    return 0;
}

int PowerManager::forcePhoneOff(bool force)
{
    const QDBusPendingReply<int> reply = m_phone->ForcePhoneOff(force);
    const bool done = isDone(reply);
    PRINT_DBUS_RESULT(kObjectPath, QStringLiteral("ForcePhoneOff"), reply);
    if (!done) {
        POWER_LOG(LogLevel::Error, "Error %s phone off", force ? "forcing" : "unforcing");
        return kSwitchFailed;
    }
    POWER_LOG(LogLevel::Actuation, "Phone %s off", force ? "forced" : "unforced");
    return 0;
}

void PowerManager::switchOff()
{
    // Kept: a D-Bus error reads as status 0, so that the previously saved state stays.
    if (fetch(*m_light, QStringLiteral("GetSwitch"), m_savedLight).value() != 0) {
        POWER_LOG(LogLevel::Error, "Impossible to get current Light status: suppose off");
        m_savedLight = false;
    }
    (void)switchLight(false);

    QDBusPendingReply<bool> rgbReply = m_rgb->IsDisabled();
    rgbReply.waitForFinished();
    if (rgbReply.isError()) {
        POWER_LOG(LogLevel::Warning, "Can't find if Rgb is disabled: suppose not");
        m_savedRgbDisabled = false;
    } else {
        m_savedRgbDisabled = rgbReply.value();
    }
    if (!m_savedRgbDisabled) {
        (void)disableRgb(true);
    }

    (void)switchCamera(false);
    (void)forcePhoneOff(true);
    POWER_LOG(LogLevel::Warning, "SAVED CURRENT SYSTEM STATUS: light=%d", m_savedLight);
}

void PowerManager::preSuspendSetup()
{
    POWER_LOG(LogLevel::Info, "Pre-suspend setup");
    switchOff();
}

void PowerManager::postSuspendRestore()
{
    POWER_LOG(LogLevel::Info, "Post-suspend restore");
    const QString group = QStringLiteral("SOUND");
    const QString key = QStringLiteral("masterVolume");
    const Configuration store(QString::fromLatin1(kObjectPath));
    bool found = false;
    double volume = kDefaultMasterVolume;
    if (!store.isValid()) {
        POWER_LOG(LogLevel::Warning, "Error creating Configuration manager");
    } else {
        volume = store.ReadConfigValue(group, key, kDefaultMasterVolume, &found, true);
        if (!found) {
            POWER_LOG(LogLevel::Warning, "Can't read %s/%s", qPrintable(group), qPrintable(key));
        }
    }
    if (found) {
        m_sound->setTimeout(kSoundTimeoutMs); // from now on
        const QDBusPendingReply<int> reply = m_sound->SetMasterVolume(volume);
        const bool done = isDone(reply);
        PRINT_DBUS_RESULT(kObjectPath, QStringLiteral("SetMasterVolume"), reply);
        if (done) {
            POWER_LOG(LogLevel::Info, "Master volume restored to %.2f", volume);
        } else {
            POWER_LOG(LogLevel::Warning, "Error restoring master volume");
        }
    }
    (void)switchLight(m_savedLight);
    if (!m_savedRgbDisabled) {
        (void)disableRgb(false);
    }
    // Deliberately without the camera: it stays off until a client enables it.
    (void)forcePhoneOff(false);
}

int PowerManager::SetFreq(int freq)
{
    if (!isDone(m_freq->SetFreq(freq))) {
        POWER_LOG(LogLevel::Error, "Error setting cpu frequency to %d", freq);
        return kFreqOrSuspendFailed;
    }
    POWER_LOG(LogLevel::Actuation, "CPU Frequency set to %d", freq);
    return 0;
}

int PowerManager::currentFreq()
{
    int freqMHz = -1;
    // The status is deliberately ignored.
    (void)fetch(*m_freq, QStringLiteral("GetFreq"), freqMHz);
    return freqMHz;
}

int PowerManager::changeFreq(int fromMHz, int toMHz)
{
    return toMHz == fromMHz ? 0 : SetFreq(toMHz);
}

int PowerManager::freqIncrease()
{
    if (!m_autoscaling) {
        return 0;
    }
    const int freqMHz = currentFreq();
    if (freqMHz < 0) {
        POWER_LOG(LogLevel::Error, "GetFreq error");
        return kFreqUnreadable;
    }
    return changeFreq(freqMHz, rungAbove(m_freqTable, freqMHz));
}

int PowerManager::freqDecrease()
{
    if (!m_autoscaling) {
        return 0;
    }
    const int freqMHz = currentFreq();
    if (freqMHz < 0) {
        // Not shared with freqIncrease(): only the function in the log line tells the two apart.
        POWER_LOG(LogLevel::Error, "GetFreq error");
        return kFreqUnreadable;
    }
    return changeFreq(freqMHz, rungBelow(m_freqTable, freqMHz));
}

void PowerManager::setMaxFreq()
{
    if (!m_autoscaling) {
        return;
    }
    const int top = m_freqTable.constLast();
    if (currentFreq() != top) {
        (void)SetFreq(top); // logs its failure itself
    }
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
            // The status is deliberately ignored: without an answer the charge stays 0, which no zone owns.
            (void)fetch(*m_status, QStringLiteral("GetStatus"), values...);
            receiveSystemStatus(values...);
        },
        snapshot);
    Q_EMIT ActionsEnabled(true);
    return 0;
}

int PowerManager::SetSleepEnabled(bool Enabled, const QString& StartTime, const QString& EndTime)
{
    (void)m_sleepManager->setSleep(Enabled, StartTime, EndTime); // clients see the result only in the signal
    // A disabled window never reaches Suspend().
    m_sleepManager->blockSignals(!Enabled);
    Q_EMIT SleepEnabled(Enabled);
    return 0;
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

int PowerManager::IsSleepEnabled(bool& enabled, QString& start, QString& end)
{
    const QString format = QStringLiteral("HH:mm:ss");
    enabled = m_sleepManager->isArmed();
    start = m_sleepManager->startTime().toString(format);
    end = m_sleepManager->endTime().toString(format);
    return 0;
}

int PowerManager::CurrentPowerZone(QString& zone)
{
    const int index = m_actionManager->currentZone();
    zone = index < 0 ? QString() : m_actionManager->zoneName(index);
    return 0;
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
