// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManagerAdaptor.h"

#include "PowerManager.h"

PowerManagerAdaptor::PowerManagerAdaptor(PowerManager* parent) : QDBusAbstractAdaptor(parent), m_powerManager(parent)
{
    setAutoRelaySignals(true);
}

int PowerManagerAdaptor::CurrentPowerZone(QString& Zone)
{
    return m_powerManager->CurrentPowerZone(Zone);
}

int PowerManagerAdaptor::IsActionsEnabled(bool& Enabled)
{
    return m_powerManager->IsActionsEnabled(Enabled);
}

int PowerManagerAdaptor::IsAutoscalingEnabled(bool& Enabled)
{
    return m_powerManager->IsAutoscalingEnabled(Enabled);
}

int PowerManagerAdaptor::IsSleepEnabled(bool& Enabled, QString& StartTime, QString& EndTime)
{
    return m_powerManager->IsSleepEnabled(Enabled, StartTime, EndTime);
}

int PowerManagerAdaptor::Reboot(const QString& Reason)
{
    return m_powerManager->Reboot(Reason);
}

int PowerManagerAdaptor::SetActionsEnabled(bool Enabled)
{
    return m_powerManager->SetActionsEnabled(Enabled);
}

int PowerManagerAdaptor::SetAutoscalingEnabled(bool Enabled)
{
    return m_powerManager->SetAutoscalingEnabled(Enabled);
}

int PowerManagerAdaptor::SetFreq(int freq)
{
    return m_powerManager->SetFreq(freq);
}

int PowerManagerAdaptor::SetSleepEnabled(bool Enabled, const QString& StartTime, const QString& EndTime)
{
    return m_powerManager->SetSleepEnabled(Enabled, StartTime, EndTime);
}

int PowerManagerAdaptor::Shutdown(const QString& Reason)
{
    return m_powerManager->Shutdown(Reason);
}

int PowerManagerAdaptor::Suspend(const QString& Time)
{
    return m_powerManager->Suspend(Time);
}
