// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Event.h"
#include "ZeltFeatureBase.h"

#include <QList>
#include <QString>
#include <QTimer>

class ActionManager;
class ConfigProxy;
class EventMonitor;
class FactoryRestoreManager;
class FreqProxy;
class LightManagerProxy;
class LoadMonitor;
class MicManagerProxy;
class PhoneManagerProxy;
class PhotoManagerProxy;
class RGBManagerProxy;
class SleepManager;
class SoundManagerProxy;
class StatusManagerProxy;
class UpdateProxy;

/// The daemon's service object: owns the clients of the other daemons and the helper objects, and decides what happens
/// to the device's power.
///
/// After construction and init(), it is driven by the adaptor's methods, the signals of other daemons and the signals
/// of its helpers, one at a time on the event-loop thread. Power actions deliberately block that thread for their whole
/// length; whatever arrives meanwhile is served afterwards, in order.
///
/// The public slots are the operations of the D-Bus interface; their statuses are 0 for done and negative otherwise.
class PowerManager : public ZeltFeatureBase
{
    Q_OBJECT

public:
    /// @param objectPath D-Bus object path at which the object will be served
    explicit PowerManager(const char* objectPath);
    ~PowerManager() override;

    /// Creates and connects clients and helpers; the other daemons need not be running. Blocks for a few calls to them,
    /// each with the bus's default time-out.
    /// @return whether the daemon may register itself on the bus; if not, the reason is logged
    [[nodiscard]] bool init();

    void featureStarted() override;
    void featureStopped() override;
    void featurePaused() override;
    void featureResumed() override;

Q_SIGNALS:
    /// A power action begins. Names: "reboot", "shutdown", "suspend".
    void PowerEvent(const QString& EventName, const QString& EventReason);
    /// Another power zone is in force; "None" for no zone.
    void PowerZoneChanged(const QString& zoneName);
    void AutoscalingEnabled(bool enabled);
    void ActionsEnabled(bool enabled);
    void SleepEnabled(bool enabled);

public Q_SLOTS:
    /// A hardware event. The low-power line of the power microcontroller shuts the device down, with the reason
    /// "cmd_shdm"; anything else is ignored.
    /// @return the result of the shutdown, otherwise 0
    int HandleGpEvent(const Event& event);

    /// Reboots with the reason "restore", once a factory reset is complete. @return as Reboot()
    int PostRestoreReboot();

    /// Restarts the device: records and announces the reason, waits 5 s, switches the peripherals off, pulses the
    /// indicator and asks the frequency service. Blocks for about 7.5 s and the calls.
    /// @return 0, or -50 if the frequency service did not accept it; nothing is undone then
    int Reboot(const QString& Reason);

    /// Powers the device off: records and announces the reason, waits 5 s, sets the indicator and asks the frequency
    /// service. The peripherals are left as they are. Blocks for about 5 s and the call.
    /// @return 0, or -51 if the frequency service did not accept it; nothing is undone then
    int Shutdown(const QString& Reason);

    /// Puts the device into standby, restores the peripherals after the wake-up, and then reboots with the reason
    /// "sleep". Blocks until then.
    /// @param Time when to wake up, local time, "yyyy-MM-dd HH:mm:ss"; anything else sets an alarm with an empty time,
    ///             which the frequency service may refuse
    /// @return 0 after a wake-up, even if the reboot fails; -52 if the alarm or the standby was refused (after a
    ///         refused standby, the peripherals stay off)
    int Suspend(const QString& Time);

    /// Sets the CPU frequency in MHz: any that the frequency service accepts, whether autoscaling is on or off. Waits
    /// for the service. @return 0, or -52 if it did not accept the frequency
    int SetFreq(int freq);

    /// Switches autoscaling on or off: whether the CPU frequency follows load and media events. Does not change the
    /// frequency itself. @return 0
    int SetAutoscalingEnabled(bool enable);

    /// Switches the power zones on or off. Switching on applies the zone of the present charge at once; if the status
    /// service does not report the charge, it counts as 0. Switching off leaves volume and light as they are. @return 0
    int SetActionsEnabled(bool enable);

    /// Sets or clears the daily sleep window; see SleepManager::setSleep().
    /// @return 0, even if the times were refused
    int SetSleepEnabled(bool Enabled, const QString& StartTime, const QString& EndTime);

    /// @return 0
    int IsAutoscalingEnabled(bool& enabled);

    /// @return 0
    int IsActionsEnabled(bool& enabled);

    /// Whether a sleep is due, and the window as last set, "HH:mm:ss". @return 0
    int IsSleepEnabled(bool& enabled, QString& start, QString& end);

    /// Name of the power zone in force; empty for none. @return 0
    int CurrentPowerZone(QString& zone);

private Q_SLOTS:
    // While autoscaling is off, these three do nothing and call no service.

    /// Media work starts: to the ladder's top. Deliberately even if the present frequency cannot be read, so that
    /// playback never starts at a low frequency.
    void setMaxFreq();
    /// The CPU load is high: one rung up. @return 0, -53 if the present frequency cannot be read, or as SetFreq()
    int freqIncrease();
    /// The CPU load is low: one rung down. @return as freqIncrease()
    int freqDecrease();

    /// A file update ended. Status 0 and type 12, the configuration files: reloads the power zones and, if power
    /// actions are on, applies the zone of the present charge. Anything else is ignored.
    void loadActions(int status, int type);

    /// A status broadcast: enters the zone of the battery's charge (CBATT) if power actions are on. The other values
    /// are not used.
    void receiveSystemStatus(const QString& DateTime, bool GpsOnline, bool GpsEnabled, int SatellitesVisible,
                             int SatellitesUsed, int FixMode, const QString& FixTime, double Latitude, double Longitude,
                             double Altitude, bool Presence, bool Tilt, int VPANEL, int VAUX, int IPANEL_AUX,
                             int WPANEL_AUX, int VPOE, int IPOE, int ICHARGER, int WCHARGER, int VBATT, int IBATT,
                             int WBATT, int EBATT, int IRAIL, int WRAIL, int IAMPLI1, int WAMPLI1, int IAMPLI2,
                             int WAMPLI2, int TBATT, int TBOARD, int S1, int S2, int CHARGE_OFF, int APP_ON, int V36APP,
                             int V36GSM, int V5US, int CBATT, int ELIFELONG, int ELIFESHORT, bool VBatteryOk,
                             bool IChargerOk, const QString& fwVer, const QString& SipRegisterStatus,
                             const QString& SipRegisterMsg, const QString& SipCallStatus, const QString& SipCallUri,
                             const QString& SipCallMsg);

private:
    Q_DISABLE_COPY_MOVE(PowerManager)

    /// Rewrites the record of the last action. A failure is only logged.
    /// @param action "last_reboot" or "last_shutdown"
    void saveReason(const QString& action, const QString& reason);
    /// Three pulses of half a second on the indicator line, which is off afterwards. Blocks for 2.5 s.
    void pulseIndicator();
    void switchOnIndicator();

    /// Asks the frequency service for the present frequency and waits. @return MHz, or -1 if there was no answer
    [[nodiscard]] int currentFreq();
    /// SetFreq(), but no call for a frequency that is the present one.
    [[nodiscard]] int changeFreq(int fromMHz, int toMHz);

    // The switches of the peripherals: each calls its service, waits for it and logs the result. They return 0 or -54.

    int switchLight(bool on);
    int disableRgb(bool disable);
    int switchCamera(bool enable);
    int forcePhoneOff(bool force);

    /// Saves the state of light and RGB LEDs and switches light, RGB LEDs, camera and phone off. No failure stops it.
    void switchOff();
    void preSuspendSetup();
    /// Restores the master volume from the configuration store, light and RGB LEDs as switchOff() found them, and the
    /// phone. The camera stays off. No failure stops it.
    void postSuspendRestore();

    bool m_autoscaling = false;
    bool m_actionsEnabled = false;
    QList<int> m_freqTable;    ///< the CPU frequencies in MHz that may be set, lowest first
    int m_reservedCounter = 0; ///< Kept: not used
    QTimer m_backlogTimer;     ///< runs out when what arrived during the last power action has been served

    // Children of this object, created by init().
    EventMonitor* m_eventMonitor = nullptr;
    LoadMonitor* m_loadMonitor = nullptr;
    ActionManager* m_actionManager = nullptr;
    SleepManager* m_sleepManager = nullptr;
    FactoryRestoreManager* m_factoryRestoreManager = nullptr;
    FreqProxy* m_freq = nullptr;
    SoundManagerProxy* m_sound = nullptr;
    LightManagerProxy* m_light = nullptr;
    PhotoManagerProxy* m_photo = nullptr;
    MicManagerProxy* m_mic = nullptr; ///< Kept: not used
    ConfigProxy* m_config = nullptr;  ///< Kept: not used, Configuration is the way to the store
    UpdateProxy* m_update = nullptr;
    StatusManagerProxy* m_status = nullptr;
    RGBManagerProxy* m_rgb = nullptr;
    PhoneManagerProxy* m_phone = nullptr;

    bool m_savedLight = false;       ///< whether the light was on at the last switchOff()
    bool m_savedRgbDisabled = false; ///< whether the RGB LEDs were disabled at the last switchOff()
};
