// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Replay.h"

#include "Simulator.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A timer counts its milliseconds as an int, which ends at 24.8 days: longer times are waited for in parts.
constexpr std::chrono::milliseconds kLongestTimer = 24h;

} // namespace

Replay::Replay(Simulator& simulator, const Record& record, double speed, QObject* parent)
    : QObject(parent), m_simulator(simulator), m_record(record), m_speed(speed), m_timer(this)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Replay::sendDue);
    for (auto replies = m_record.replies.begin(); replies != m_record.replies.end(); ++replies) {
        for (Record::Reply& reply : *replies) {
            reply.delay = scaled(reply.delay);
        }
        simulator.replay(replies.key(), *replies);
    }
}

void Replay::start()
{
    m_clock.start();
    sendDue();
}

bool Replay::isRunning() const
{
    return m_isRunning;
}

void Replay::sendDue()
{
    const std::chrono::milliseconds now(m_clock.elapsed());
    for (; m_next < m_record.emissions.size() && scaled(m_record.emissions.at(m_next).time) <= now; ++m_next) {
        m_simulator.sendValues(m_record.emissions.at(m_next).signal, m_record.emissions.at(m_next).values);
    }
    const bool hasNext = m_next < m_record.emissions.size();
    const std::chrono::milliseconds due = scaled(hasNext ? m_record.emissions.at(m_next).time : m_record.length);
    if (hasNext || due > now) {
        m_timer.start(std::clamp<std::chrono::milliseconds>(due - now, 1ms, kLongestTimer));
        return;
    }
    m_isRunning = false;
    m_simulator.timeline().note(u"the record has ended"_s);
    Q_EMIT finished();
}

std::chrono::milliseconds Replay::scaled(std::chrono::milliseconds recorded) const
{
    return std::chrono::milliseconds(qRound64(static_cast<double>(recorded.count()) / m_speed));
}
