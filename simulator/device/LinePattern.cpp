// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LinePattern.h"

#include "Timeline.h"

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kRestOff = 800ms;
constexpr std::chrono::milliseconds kRestOn = 3s;

/// A line that never comes to rest is recorded in parts, each of which ends with off.
constexpr qsizetype kMostChanges = 40;

} // namespace

LinePattern::LinePattern(int line, Timeline& timeline, QObject* parent)
    : QObject(parent), m_line(line), m_timeline(timeline), m_restTimer(this)
{
    m_restTimer.setSingleShot(true);
    connect(&m_restTimer, &QTimer::timeout, this, &LinePattern::record);
}

void LinePattern::change(bool isOn)
{
    if (m_changes.isEmpty() && !isOn) {
        return; // the end of a rest that was on
    }
    m_changes.append(m_timeline.elapsedMs());
    m_restTimer.start(isOn ? kRestOn : kRestOff);
    if (m_changes.size() == kMostChanges) {
        record();
    }
}

void LinePattern::record()
{
    m_restTimer.stop();
    const QList<qint64> changes = std::exchange(m_changes, {});
    events::Pattern pattern{m_line, {}, changes.size() % 2 != 0};
    for (qsizetype i = 0; i + 1 < changes.size(); ++i) {
        pattern.lengths.append(std::chrono::milliseconds(changes.at(i + 1) - changes.at(i)));
    }
    m_timeline.add(pattern);
}
