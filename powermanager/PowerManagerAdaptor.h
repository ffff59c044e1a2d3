// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

// Generated from com.quillmark.zelt.powerinterface.xml, comments included: they are part of the published contract.
#include "PowerInterfaceIntrospection.h"

#include <QDBusAbstractAdaptor>
#include <QString>

class PowerManager;

/// The D-Bus interface of a PowerManager: forwards each method to the operation of the same name and relays its
/// signals. It has no state and checks nothing. The int result becomes the first out-argument, Status; reference
/// arguments follow in order.
class PowerManagerAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillmark.zelt.powerinterface")
    Q_CLASSINFO("D-Bus Introspection", POWERINTERFACE_INTROSPECTION)

public:
    /// @param parent the object to export; also the owner
    explicit PowerManagerAdaptor(PowerManager* parent);

Q_SIGNALS:
    void ActionsEnabled(bool Enabled);
    void AutoscalingEnabled(bool Enabled);
    void PowerEvent(const QString& EventName, const QString& EventReason);
    void PowerZoneChanged(const QString& Name);
    void SleepEnabled(bool Enabled);

public Q_SLOTS:
    int CurrentPowerZone(QString& Zone);
    int IsActionsEnabled(bool& Enabled);
    int IsAutoscalingEnabled(bool& Enabled);
    int IsSleepEnabled(bool& Enabled, QString& StartTime, QString& EndTime);
    int Reboot(const QString& Reason);
    int SetActionsEnabled(bool Enabled);
    int SetAutoscalingEnabled(bool Enabled);
    int SetFreq(int freq);
    int SetSleepEnabled(bool Enabled, const QString& StartTime, const QString& EndTime);
    int Shutdown(const QString& Reason);
    int Suspend(const QString& Time);

private:
    Q_DISABLE_COPY_MOVE(PowerManagerAdaptor)

    PowerManager* m_powerManager;
};
