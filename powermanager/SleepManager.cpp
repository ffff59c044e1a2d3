// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SleepManager.h"

#include "Log.h"

#include <QDateTime>

#include <chrono>

namespace {

constexpr int kSecondsPerDay = 86400;

} // namespace

SleepManager::SleepManager(QObject* parent) : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer); // other types may fire early, and the device would wake up early, too
    if (!connect(&m_timer, &QTimer::timeout, this, &SleepManager::onSleepTimeout)) {
        POWER_LOG(LogLevel::Error, "Can't handle sleep mode (error connecting signals)");
    }
}

bool SleepManager::setSleep(bool enable, const QString& startTime, const QString& endTime)
{
    if (!enable) {
        POWER_LOG(LogLevel::Info, "Sleep disable requested");
        m_sleepLength = 0;
        updateSleepTimer();
        return true;
    }
    POWER_LOG(LogLevel::Info, "Sleep enable requested: startTime=%s, endTime=%s", qPrintable(startTime),
              qPrintable(endTime));
    if (startTime.isEmpty() || endTime.isEmpty()) {
        POWER_LOG(LogLevel::Error, "StartTime and/or EndTime are empty");
        return false;
    }
    // Kept: a refused time replaces the previous one, but an armed timer stays armed.
    const QString format = QStringLiteral("hh:mm:ss");
    m_startTime = QTime::fromString(startTime, format);
    if (!m_startTime.isValid()) {
        POWER_LOG(LogLevel::Error, "StartTime is invalid");
        return false;
    }
    m_endTime = QTime::fromString(endTime, format);
    if (!m_endTime.isValid()) {
        POWER_LOG(LogLevel::Error, "EndTime is invalid");
        return false;
    }
    m_sleepLength = secondsUntil(m_startTime, m_endTime);
    POWER_LOG(LogLevel::Detail, "Sleep is enabled (sleep_length=%d)", m_sleepLength);
    updateSleepTimer();
    return true;
}

bool SleepManager::isArmed() const
{
    return m_timer.isActive();
}

QTime SleepManager::startTime() const
{
    return m_startTime;
}

QTime SleepManager::endTime() const
{
    return m_endTime;
}

int SleepManager::secondsUntil(QTime from, QTime to)
{
    const int seconds = from.secsTo(to);
    return seconds < 0 ? seconds + kSecondsPerDay : seconds;
}

void SleepManager::updateSleepTimer()
{
    m_timer.stop();
    if (m_sleepLength < 1) {
        POWER_LOG(LogLevel::Detail, "Sleep is disabled (sleep_length=%d)", m_sleepLength);
        return;
    }
    const int seconds = secondsUntil(QTime::currentTime(), m_startTime);
    m_timer.start(std::chrono::seconds(seconds));
    POWER_LOG(LogLevel::Detail, "Will sleep in %d s", seconds);
}

void SleepManager::onSleepTimeout()
{
    m_timer.stop();
    // From now, not from the window's start: a late timer shifts the wake-up by as much.
    const QString wakeUp =
        QDateTime::currentDateTime().addSecs(m_sleepLength).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    // The unbalanced parenthesis is kept.
    POWER_LOG(LogLevel::Detail, "Requesting to sleep until '%s')", qPrintable(wakeUp));
    Q_EMIT SleepTimeout(wakeUp);
}
