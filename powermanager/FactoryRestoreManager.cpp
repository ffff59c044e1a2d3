// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FactoryRestoreManager.h"

#include "Configuration.h"
#include "EventManagerProxy.h"
#include "FactorySettings.h"
#include "Indicator.h"
#include "Log.h"
#include "Paths.h"
#include "SchedulerProxy.h"
#include "UpgradeProxy.h"
#include "libgpio.h"

#include <QDBusConnection>
#include <QDBusPendingReply>
#include <QDateTime>
#include <QProcess>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <optional>

#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kHoldTime = 5s;

/// The GPIO line of the mode-select input, and its levels.
constexpr int kModeSelectLine = 134;
constexpr int kInfrastructureMode = 0;
constexpr int kAccessPointMode = 1;

constexpr int kClearDataTimeoutMs = 30'000;
constexpr int kPostRestoreTimeoutMs = 5000;
/// How long a killed script may take to end.
constexpr int kKillTimeoutMs = 1000;

/// The upgrade service's states of a recovery.
constexpr int kRecoveryStarted = 1;
constexpr int kRecoveryCompleted = 2;
constexpr int kRecoveryFailed = 3;

/// Runs one of the device's scripts. @return whether it ended in time, with whatever status
bool runScript(const QString& path, int timeoutMs)
{
    QProcess script;
    // Nobody reads its output, and a script must not wait for input.
    script.setStandardInputFile(QProcess::nullDevice());
    script.setStandardOutputFile(QProcess::nullDevice());
    script.setStandardErrorFile(QProcess::nullDevice());
    // A process group of its own, so that its children can be killed with it.
    script.setChildProcessModifier([] { (void)setpgid(0, 0); });
    script.start(path, QStringList());
    const bool isFinished = script.waitForFinished(timeoutMs);
    if (isFinished) {
        script.close();
    } else if (const auto group = static_cast<pid_t>(script.processId()); group > 0) {
        (void)kill(-group, SIGKILL);
        (void)script.waitForFinished(kKillTimeoutMs); // not close(), which waits for ever
    }
    return isFinished;
}

/// Clears the entries of another service. @return its status. Kept: a call that failed outright counts as done
template <typename Client>
int clearStore(const ServiceAddress& address)
{
    Client client(address.busName, address.objectPath, QDBusConnection::sessionBus(), nullptr);
    QDBusPendingReply<int> reply = client.Clear();
    reply.waitForFinished();
    return reply.isError() ? 0 : reply.value();
}

/// Stops a countdown. @return whether it was running
bool stopIfActive(QTimer& timer)
{
    const bool wasActive = timer.isActive();
    timer.stop();
    return wasActive;
}

/// The text of a table row in a mode; nothing if the row has none for that mode.
std::optional<QString> valueOf(const factory::Setting& setting, int mode)
{
    switch (setting.kind) {
    case factory::Kind::Now:
        return QDateTime::currentDateTime().toString(QStringLiteral("yyyy/MM/dd-hh:mm:ss"));
    case factory::Kind::Mode:
        if (mode != kInfrastructureMode && mode != kAccessPointMode) {
            return std::nullopt;
        }
        return QString::fromLatin1(mode == kInfrastructureMode ? setting.value : setting.accessPointValue);
    default:
        return QString::fromLatin1(setting.value);
    }
}

} // namespace

FactoryRestoreManager::FactoryRestoreManager(QObject* parent) : QObject(parent)
{
    for (QTimer* timer : {&m_softResetTimer, &m_hardResetTimer}) {
        timer->setInterval(kHoldTime);
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer); // other types may fire early
    }
    m_initOk = connect(&m_softResetTimer, &QTimer::timeout, this, &FactoryRestoreManager::SoftResetTimer_Elapsed) &&
               connect(&m_hardResetTimer, &QTimer::timeout, this, &FactoryRestoreManager::HardResetTimer_Elapsed);
    if (!m_initOk) {
        POWER_LOG(LogLevel::Error, "Error initializing timers");
    }
}

FactoryRestoreManager::~FactoryRestoreManager() = default;

bool FactoryRestoreManager::isInitialized() const
{
    return m_initOk;
}

void FactoryRestoreManager::OnEvent(const Event& event)
{
    bool isHeld = false;
    if (event.name == kResetEvent) {
        m_resetPressed = event.value;
        isHeld = event.value;
    } else if (event.name == kSeekEvent) {
        m_seekPressed = event.value;
        isHeld = m_resetPressed;
    } else {
        return;
    }

    const bool isSoftStopped = (!isHeld || m_seekPressed) && stopIfActive(m_softResetTimer);
    if (isSoftStopped) {
        POWER_LOG(LogLevel::Info, "SOFT FACTORY RESET timer stopped");
    }
    if (!isHeld) {
        if (stopIfActive(m_hardResetTimer)) {
            POWER_LOG(LogLevel::Info, "HARD FACTORY RESET timer stopped");
        }
        return;
    }
    // Kept: the number is in milliseconds although the texts say "s".
    if (m_seekPressed) {
        m_hardResetTimer.start();
        POWER_LOG(LogLevel::Info, "HARD FACTORY RESET timer started: %d s...", m_hardResetTimer.interval());
    } else {
        // Deliberately leaves a hard countdown running: releasing seek-down does not call off a hard reset.
        m_softResetTimer.start();
        POWER_LOG(LogLevel::Info, "SOFT FACTORY RESET timer started: %d s...", m_softResetTimer.interval());
    }
}

void FactoryRestoreManager::SoftResetTimer_Elapsed()
{
    POWER_LOG(LogLevel::Info, "SOFT FACTORY RESET timer elapsed");
    (void)FactorySoftReset(true, true); // logs its result itself
}

void FactoryRestoreManager::HardResetTimer_Elapsed()
{
    POWER_LOG(LogLevel::Info, "HARD FACTORY RESET timer elapsed");
    (void)FactoryHardReset(); // likewise
}

bool FactoryRestoreManager::FactorySoftReset(bool emitCompleted, bool blink)
{
    if (m_resetRunning) {
        POWER_LOG(LogLevel::Warning, "SOFT FACTORY RESET already running: refused");
        return false;
    }
    if (blink) {
        indicator::play({500'000, 500'000, 500'000});
    }
    m_resetRunning = true;
    POWER_LOG(LogLevel::Warning, "SOFT FACTORY RESET started");

    int mode = -1;
    if (LIBGPIO_get_enabled(kModeSelectLine, &mode) != 0) {
        POWER_LOG(LogLevel::Error, "Impossible to read MODE_SELECT (Infrastructure or Access Point)");
        m_resetRunning = false;
        return false;
    }
    if (mode == kInfrastructureMode) {
        POWER_LOG(LogLevel::Warning, "SOFT FACTORY RESET mode: Infrastructure");
    } else if (mode == kAccessPointMode) {
        POWER_LOG(LogLevel::Warning, "SOFT FACTORY RESET mode: Access Point");
    }

    const Configuration store(QString::fromLatin1(kObjectPath));
    if (!store.isValid()) {
        POWER_LOG(LogLevel::Error, "SOFT FACTORY RESET failed (invalid config proxy)");
        m_resetRunning = false;
        return false;
    }
    if (!writeSettings(store, mode)) {
        POWER_LOG(LogLevel::Error, "SOFT FACTORY RESET failed (config update error)");
        m_resetRunning = false;
        return false;
    }
    POWER_LOG(LogLevel::Warning, "SOFT FACTORY RESET successfully completed");
    // Not checked: the reboot that follows cannot wait for a store that fails now.
    (void)store.Save();
    (void)store.Freeze();
    if (emitCompleted) {
        Q_EMIT ResetCompleted();
    }
    m_resetRunning = false;
    return true;
}

bool FactoryRestoreManager::writeSettings(const Configuration& store, int mode)
{
    const auto write = [this, &store, mode](const factory::Setting& setting) {
        const QString group = QString::fromLatin1(setting.group);
        const QString key = QString::fromLatin1(setting.key);
        const std::optional<QString> value = valueOf(setting, mode);
        if (!value) {
            return true;
        }
        return setting.kind == factory::Kind::Keep ? setConfigValueIfEmpty(store, group, key, *value)
                                                   : SetConfigValue(store, group, key, *value);
    };
    return std::all_of(std::begin(factory::kSettings), std::end(factory::kSettings), write);
}

bool FactoryRestoreManager::FactoryHardReset()
{
    if (m_resetRunning) {
        POWER_LOG(LogLevel::Warning, "HARD FACTORY RESET already running: refused");
        return false;
    }
    indicator::play({500'000, 500'000, 2'000'000});
    POWER_LOG(LogLevel::Warning, "HARD FACTORY RESET (includes SOFT) started");

    POWER_LOG(LogLevel::Info, "HARD FACTORY RESET: clear schedule");
    if (clearStore<SchedulerProxy>(kSchedulerService) != 0) {
        POWER_LOG(LogLevel::Error, "HARD FACTORY RESET: clear schedule failed");
    } else {
        POWER_LOG(LogLevel::Info, "HARD FACTORY RESET: clear schedule done");
    }
    POWER_LOG(LogLevel::Info, "HARD FACTORY RESET: clear events");
    if (clearStore<EventManagerProxy>(kEventManagerService) != 0) {
        POWER_LOG(LogLevel::Error, "HARD FACTORY RESET: clear events failed");
    } else {
        POWER_LOG(LogLevel::Info, "HARD FACTORY RESET: clear events done");
    }
    if (runScript(paths::clearDataScript(), kClearDataTimeoutMs)) {
        POWER_LOG(LogLevel::Warning, "Clear data executed OK!");
    } else {
        POWER_LOG(LogLevel::Error, "Clear data failed ...! Continuing anyway with SoftReset... ");
    }

    POWER_LOG(LogLevel::Info, "Restore Configuration requested");
    // Unlike a soft reset alone, this leaves the guard set: nothing may start between here and the reboot.
    if (FactorySoftReset(false, false)) {
        COMMON_LOG(LogLevel::Info, kNetworkObjectPath, "Succesfully Soft Reset! Rebooting...");
        m_resetRunning = true;
        Q_EMIT ResetCompleted();
        return true;
    }
    POWER_LOG(LogLevel::Error, "Impossible to do SOFT FACTORY RESET: ignored");
    POWER_LOG(LogLevel::Error, "HARD FACTORY RESET (includes SOFT) failed (can't connect/request Software Recovery), "
                               "REBOOTING ANYWAY..");
    Q_EMIT ResetCompleted();
    m_resetRunning = true;
    return false;
}

void FactoryRestoreManager::UpgradeStatusChanged(int status)
{
    if (!m_recoveryPending) {
        return;
    }
    switch (status) {
    case kRecoveryStarted:
        POWER_LOG(LogLevel::Info, ">>> Software Recovery STARTED");
        return;
    case kRecoveryCompleted:
        POWER_LOG(LogLevel::Info, "Software Recovery COMPLETED ");
        m_recoveryProxy.reset();
        if (runScript(paths::postFactoryRestoreScript(), kPostRestoreTimeoutMs)) {
            POWER_LOG(LogLevel::Warning, "HARD FACTORY RESET (includes SOFT) completed");
            Q_EMIT ResetCompleted();
        } else {
            POWER_LOG(LogLevel::Error,
                      "HARD FACTORY RESET (includes SOFT) failed (can't execute post_factory_restore.sh)");
        }
        break;
    case kRecoveryFailed:
        POWER_LOG(LogLevel::Info, "Software Recovery FAILED ");
        m_recoveryProxy.reset();
        break;
    default:
        return;
    }
    m_recoveryPending = false;
    m_resetRunning = false;
}

bool FactoryRestoreManager::SetConfigValue(const Configuration& store, const QString& group, const QString& key,
                                           const QString& value)
{
    if (!store.WriteConfigValue(group, key, value, false)) {
        POWER_LOG(LogLevel::Error, "Can't write '%s' to %s/%s", qPrintable(value), qPrintable(group), qPrintable(key));
        return false;
    }
    POWER_LOG(LogLevel::Info, "Successfully set value '%s' to %s/%s", qPrintable(value), qPrintable(group),
              qPrintable(key));
    return true;
}

bool FactoryRestoreManager::setConfigValueIfEmpty(const Configuration& store, const QString& group, const QString& key,
                                                  const QString& value)
{
    bool isFound = false;
    const QString present = store.ReadConfigValue(group, key, value, &isFound, true);
    return !present.isEmpty() || SetConfigValue(store, group, key, value);
}

bool FactoryRestoreManager::CopyConfigValue(const Configuration& store, const QString& key, const QString& fromGroup,
                                            const QString& toGroup, const QString& defaultValue)
{
    bool isFound = false;
    const QString present = store.ReadConfigValue(fromGroup, key, defaultValue, &isFound, true);
    const QString value = isFound ? present : defaultValue; // whatever the store returns for a missing key
    const QByteArray valueText = value.toLocal8Bit();
    if (!isFound) {
        POWER_LOG(LogLevel::Warning, "Can't find %s/%s, using default (%s)", qPrintable(fromGroup), qPrintable(key),
                  valueText.constData());
        if (store.WriteConfigValue(fromGroup, key, value, false)) {
            POWER_LOG(LogLevel::Info, "Successfully initialized default value %s/%s=%s", qPrintable(fromGroup),
                      qPrintable(key), valueText.constData());
        } else {
            POWER_LOG(LogLevel::Warning, "Failed to initialize default value %s/%s=%s", qPrintable(fromGroup),
                      qPrintable(key), valueText.constData());
        }
    }
    if (!store.WriteConfigValue(toGroup, key, value, false)) {
        POWER_LOG(LogLevel::Error, "Can't write %s/%s=%s", qPrintable(toGroup), qPrintable(key), valueText.constData());
        return false;
    }
    if (isFound) {
        POWER_LOG(LogLevel::Info, "Successfully copied value '%s' from %s/%s to %s/%s", valueText.constData(),
                  qPrintable(fromGroup), qPrintable(key), qPrintable(toGroup), qPrintable(key));
    } else {
        POWER_LOG(LogLevel::Info, "Successfully set default value %s/%s=%s", qPrintable(toGroup), qPrintable(key),
                  valueText.constData());
    }
    return true;
}
