// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DaemonWatch.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A request that takes longer is what blocks the daemon.
constexpr qint64 kSwiftMs = 300;

/// What a log line begins with (docs/log-lines.md), and the action that begins with it.
struct ActionLine
{
    QLatin1StringView begin;
    QLatin1StringView action; ///< empty: the daemon is free again
};

constexpr ActionLine kActionLines[] = {
    {QLatin1StringView("Reboot ("), QLatin1StringView("Reboot")},
    {QLatin1StringView("Shutdown ("), QLatin1StringView("Shutdown")},
    {QLatin1StringView("Suspend until "), QLatin1StringView("Suspend")},
    {QLatin1StringView("SOFT FACTORY RESET started"), QLatin1StringView("soft factory reset")},
    {QLatin1StringView("HARD FACTORY RESET (includes SOFT) started"), QLatin1StringView("hard factory reset")},
    {QLatin1StringView("Reboot error"), {}},
    {QLatin1StringView("Shutdown error"), {}},
    {QLatin1StringView("Error setting wakeup time"), {}},
    {QLatin1StringView("Error calling Suspend"), {}},
    {QLatin1StringView("Post-suspend restore"), {}},
    {QLatin1StringView("SOFT FACTORY RESET failed"), {}},
};

} // namespace

void DaemonWatch::take(const Timeline::Entry& entry)
{
    if (const auto* log = entry.as<LogLine>()) {
        takeLog(log->message, entry.msec);
    } else if (const auto* signal = entry.as<events::Signal>()) {
        if (signal->member == u"PowerZoneChanged" && signal->service == events::kPowerDaemon) {
            const QString name = signal->arguments.values.value(0).toString();
            m_zone = name == u"None" ? std::nullopt : std::optional(name);
        }
    } else if (const auto* request = entry.as<events::Request>()) {
        m_requests.insert(request->id, {request->member, entry.msec});
    } else if (const auto* answer = entry.as<events::Answer>()) {
        m_requests.remove(answer->id);
    } else if (const auto* process = entry.as<events::Process>()) {
        takeProcess(*process, entry.msec);
    }
}

void DaemonWatch::takeProcess(const events::Process& process, qint64 msec)
{
    const bool isRestarting = m_state == State::Restarting;
    switch (process.state) {
    case events::Process::State::Started:
        setState(State::Starting, msec);
        break;
    case events::Process::State::Up:
        setState(State::Up, msec);
        break;
    case events::Process::State::Down:
    case events::Process::State::Ended:
        if (!isRestarting) {
            setState(State::Down, msec);
        }
        m_zone.reset();
        m_sleepWindow.reset();
        break;
    }
    m_action.clear();
}

void DaemonWatch::takeLog(const QString& message, qint64 msec)
{
    const auto* action = std::find_if(std::begin(kActionLines), std::end(kActionLines),
                                      [&message](const ActionLine& line) { return message.startsWith(line.begin); });
    if (action != std::end(kActionLines)) {
        // A reset ends with a reboot: the first of the two is what was asked for.
        if (m_action.isEmpty() || action->action.isEmpty()) {
            m_action = action->action;
            m_actionSinceMs = msec;
        }
    } else if (message.startsWith(u"Reading ")) {
        ++m_zoneFileReads;
    } else if (message.startsWith(u"Setting zone ") && message.endsWith(u" params")) {
        // At its start, the power daemon enters a zone without a signal.
        m_zone = message.section(u' ', 2, -2);
    } else if (message.startsWith(u"Sleep ") || message.startsWith(u"Will sleep in ")) {
        static const QRegularExpression kTimes(u"startTime=([^,]*), endTime=(.*)"_s);
        static const QRegularExpression kNumber(u"(\\d+)"_s);
        if (message.startsWith(u"Sleep enable requested")) {
            const QRegularExpressionMatch times = kTimes.match(message);
            m_sleepWindow = SleepWindow{times.captured(1), times.captured(2), 0, std::nullopt};
        } else if (message.startsWith(u"Sleep disable requested") || message.startsWith(u"Sleep is disabled")) {
            m_sleepWindow.reset();
        } else if (m_sleepWindow) {
            const qint64 number = kNumber.match(message).captured(1).toLongLong();
            if (message.startsWith(u"Will sleep in ")) {
                m_sleepWindow->opensMs = msec + number * 1000;
            } else {
                m_sleepWindow->lengthSeconds = number;
            }
        }
    } else if (message.startsWith(u"Requesting to sleep until ") && m_sleepWindow) {
        m_sleepWindow->opensMs.reset(); // it was armed for once
    }
}

void DaemonWatch::restart()
{
    m_state = State::Restarting;
}

void DaemonWatch::find(qint64 msec)
{
    if (m_state == State::None) {
        setState(State::Up, msec);
    }
}

void DaemonWatch::setState(State state, qint64 msec)
{
    m_state = state;
    m_sinceMs = msec;
}

const DaemonWatch::Request* DaemonWatch::stuckRequest(qint64 msec) const
{
    const Request* oldest = nullptr;
    for (const Request& request : m_requests) {
        if (msec - request.msec > kSwiftMs && (oldest == nullptr || request.msec < oldest->msec)) {
            oldest = &request;
        }
    }
    return oldest;
}

DaemonWatch::State DaemonWatch::state(qint64 msec) const
{
    const bool isBlocked = m_state == State::Up && (!m_action.isEmpty() || stuckRequest(msec) != nullptr);
    return isBlocked ? State::Blocked : m_state;
}

qint64 DaemonWatch::sinceMs(qint64 msec) const
{
    if (state(msec) != State::Blocked) {
        return m_sinceMs;
    }
    return m_action.isEmpty() ? stuckRequest(msec)->msec : m_actionSinceMs;
}

QString DaemonWatch::action(qint64 msec) const
{
    if (state(msec) != State::Blocked) {
        return {};
    }
    return m_action.isEmpty() ? stuckRequest(msec)->member : m_action;
}

std::optional<QString> DaemonWatch::zone() const
{
    return m_zone;
}

std::optional<DaemonWatch::SleepWindow> DaemonWatch::sleepWindow() const
{
    return m_sleepWindow;
}

int DaemonWatch::zoneFileReads() const
{
    return m_zoneFileReads;
}
