// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Event.h"

#include <QObject>
#include <QTimer>

#include <memory>

class Configuration;
class UpgradeProxy;

/// Turns a gesture on two buttons into a factory reset.
///
/// - The reset button held for 5 s alone: a soft reset, which rewrites the configuration to factory values.
/// - Reset and seek-down held for 5 s together: a hard reset, which clears scheduler, events and user data first.
///
/// Releasing the reset button stops both countdowns. A hard reset, and a soft one that succeeds, end with
/// ResetCompleted(), which makes the daemon reboot the device; after a hard one no other can start before that reboot.
/// Event-loop thread only, which a reset deliberately blocks.
class FactoryRestoreManager : public QObject
{
    Q_OBJECT

public:
    explicit FactoryRestoreManager(QObject* parent);
    ~FactoryRestoreManager() override;

    /// Whether the timers of the gesture could be set up.
    [[nodiscard]] bool isInitialized() const;

    /// Writes the factory settings. Blocks for the 1.5 s of the pattern and for the store's answers, 5 s each at most.
    /// @param emitCompleted whether ResetCompleted() is emitted after success
    /// @param blink         whether the indicator shows the soft pattern first
    /// @return whether all was written; if not, nothing was saved, and the reason is logged
    bool FactorySoftReset(bool emitCompleted, bool blink);

    /// Clears scheduler, events and user data, then writes the factory settings. A failure is logged and stops nothing:
    /// ResetCompleted() is emitted unless the reset is refused. Blocks for the 3 s of the pattern, for two calls with
    /// the bus's default time-out, up to 30 s for the script, and for the store's answers.
    /// @return whether the factory settings were written
    bool FactoryHardReset();

    // Helpers on an open configuration store; each logs the result and returns whether the store accepted the text.

    bool SetConfigValue(const Configuration& store, const QString& group, const QString& key, const QString& value);
    /// Writes only if the text read is empty; true if there was nothing to do. A missing key reads as the value itself.
    bool setConfigValueIfEmpty(const Configuration& store, const QString& group, const QString& key,
                               const QString& value);
    /// Copies a key from one group to another. A missing key is first created with the default.
    bool CopyConfigValue(const Configuration& store, const QString& key, const QString& fromGroup,
                         const QString& toGroup, const QString& defaultValue);

public Q_SLOTS:
    /// A hardware event: the buttons start and stop the countdowns.
    void OnEvent(const Event& event);

    /// The upgrade service's progress of a software recovery: 1 started, 2 completed, 3 failed. Ignored unless a
    /// recovery is pending, and nothing in this daemon begins one. Kept: part of the contract with the upgrade service.
    void UpgradeStatusChanged(int status);

Q_SIGNALS:
    /// A reset is done; the device must reboot.
    void ResetCompleted();

private Q_SLOTS:
    void SoftResetTimer_Elapsed();
    void HardResetTimer_Elapsed();

private:
    friend class TstFactoryRestore; ///< begins a recovery, as nothing in this daemon does
    Q_DISABLE_COPY_MOVE(FactoryRestoreManager)

    /// Writes the factory table up to the first row that fails. @return whether all rows were written
    [[nodiscard]] bool writeSettings(const Configuration& store, int mode);

    bool m_initOk = true;
    QTimer m_softResetTimer;
    QTimer m_hardResetTimer;
    bool m_resetPressed = false;
    bool m_seekPressed = false;
    bool m_resetRunning = false;                   ///< a reset is in progress, or a hard one awaits its reboot
    std::unique_ptr<UpgradeProxy> m_recoveryProxy; ///< during a recovery
    bool m_recoveryPending = false;
};
