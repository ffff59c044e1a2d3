// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CauseFinder.h"

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The power daemon pauses for 5 s at most, and that is how long a button's countdown takes.
constexpr qint64 kLongestGapMs = 6000;

/// Calls that never get an answer are not kept for good.
constexpr qsizetype kMostCalls = 1000;

bool isFrequency(const events::Event& event)
{
    const QString member = events::memberName(event);
    return member == u"freqmanager.GetFreq" || member == u"freqmanager.SetFreq" || member == u"freqmanager.FreqChanged";
}

/// The id of a call that is answered later; empty: none.
QString idOf(const events::Event& event)
{
    if (const auto* request = std::get_if<events::Request>(&event)) {
        return request->id;
    }
    const auto* call = std::get_if<events::Call>(&event);
    return call != nullptr ? call->id : QString();
}

} // namespace

std::optional<qsizetype> CauseFinder::causeOf(qsizetype place, const Timeline::Entry& entry)
{
    if (entry.as<events::Command>() != nullptr) {
        m_command = place;
        m_lastMs = entry.msec;
        return std::nullopt;
    }
    if (const auto* answer = entry.as<events::Answer>()) {
        if (const std::optional<qsizetype> cause = causeOfAnswer(*answer, entry.msec)) {
            return cause;
        }
    }
    if (entry.msec - m_lastMs > kLongestGapMs) {
        m_command.reset();
    }
    if (m_command && !isFrequency(entry.event)) {
        m_lastMs = entry.msec;
        const QString id = idOf(entry.event);
        if (!id.isEmpty() && m_calls.size() < kMostCalls) {
            m_calls.insert(id, *m_command);
        }
    }
    return m_command;
}

std::optional<qsizetype> CauseFinder::causeOfAnswer(const events::Answer& answer, qint64 msec)
{
    const auto call = m_calls.constFind(answer.id);
    if (call == m_calls.constEnd()) {
        return std::nullopt;
    }
    const qsizetype cause = *call;
    m_calls.erase(call);
    // What was waited for goes on, unless another command has begun.
    if (!m_command || msec - m_lastMs > kLongestGapMs || *m_command == cause) {
        m_command = cause;
        m_lastMs = msec;
    }
    return cause;
}
