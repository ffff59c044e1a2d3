// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LinePattern.h"

#include "Timeline.h"

#include <chrono>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kRestOff = 800ms;
constexpr std::chrono::milliseconds kRestOn = 3s;

/// A line that never comes to rest is told in parts, each of which ends with off.
constexpr qsizetype kMostChanges = 40;

constexpr double kMsecPerSign = 100;

} // namespace

LinePattern::LinePattern(int line, Timeline& timeline, QObject* parent)
    : QObject(parent), m_line(line), m_timeline(timeline), m_restTimer(this)
{
    m_restTimer.setSingleShot(true);
    connect(&m_restTimer, &QTimer::timeout, this, &LinePattern::tell);
}

void LinePattern::change(bool isOn)
{
    if (m_changes.isEmpty() && !isOn) {
        return; // the end of a rest that was on
    }
    m_changes.append(m_timeline.elapsedMs());
    m_restTimer.start(isOn ? kRestOn : kRestOff);
    if (m_changes.size() == kMostChanges) {
        tell();
    }
}

void LinePattern::tell()
{
    m_restTimer.stop();
    const QList<qint64> changes = std::exchange(m_changes, {});
    Timeline::Entry entry;
    entry.kind = Timeline::Kind::Line;
    entry.name = QString::number(m_line);
    entry.arguments.append(u"pattern"_s);
    for (qsizetype i = 0; i + 1 < changes.size(); ++i) {
        const bool isOn = i % 2 == 0;
        const auto msec = static_cast<double>(changes.at(i + 1) - changes.at(i));
        entry.arguments.append(isOn ? u"on"_s : u"off"_s);
        entry.arguments.append(QString::number(qRound(msec / 10) / 100.0));
        entry.result += QString(qRound(msec / kMsecPerSign), isOn ? u'▮' : u'▯');
    }
    if (changes.size() % 2 != 0) {
        entry.arguments.append(u"on"_s);
        entry.result += u"▮▮▮… stays on"_s;
    }
    m_timeline.add(entry);
}
