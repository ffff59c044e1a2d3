// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Timeline.h"

#include <QMutexLocker>

#include <algorithm>

QString Timeline::Entry::toString() const
{
    return events::toString(event);
}

Timeline::Timeline(QObject* parent) : QObject(parent)
{
    m_clock.start();
}

void Timeline::add(events::Event event)
{
    Q_EMIT aboutToAdd(event);
    Entry entry{0, {}, std::move(event)};
    {
        const QMutexLocker lock(&m_mutex);
        entry.msec = m_clock.elapsed();
        entry.clock = QDateTime::currentDateTimeUtc();
        m_entries.append(entry);
    }
    Q_EMIT added(entry);
}

void Timeline::note(const QString& text)
{
    add(events::Note{text});
}

QString Timeline::nextId()
{
    const QMutexLocker lock(&m_mutex);
    return QString::number(++m_lastId);
}

qint64 Timeline::elapsedMs() const
{
    return m_clock.elapsed();
}

qsizetype Timeline::size() const
{
    const QMutexLocker lock(&m_mutex);
    return m_entries.size();
}

qsizetype Timeline::position() const
{
    const QMutexLocker lock(&m_mutex);
    return m_cleared + m_entries.size();
}

QList<Timeline::Entry> Timeline::entries(qsizetype from, qsizetype* end) const
{
    const QMutexLocker lock(&m_mutex);
    if (end != nullptr) {
        *end = m_cleared + m_entries.size();
    }
    return m_entries.mid(std::max<qsizetype>(0, from - m_cleared));
}

QList<Timeline::Entry> Timeline::slice(qsizetype from, qsizetype count) const
{
    const QMutexLocker lock(&m_mutex);
    const qsizetype begin = std::max<qsizetype>(0, from - m_cleared);
    return m_entries.mid(begin, std::max<qsizetype>(0, from + count - m_cleared - begin));
}

void Timeline::clear()
{
    const QMutexLocker lock(&m_mutex);
    m_cleared += m_entries.size();
    m_entries.clear();
}

void Timeline::forgetBefore(qsizetype position)
{
    const QMutexLocker lock(&m_mutex);
    const qsizetype count = std::clamp<qsizetype>(position - m_cleared, 0, m_entries.size());
    m_entries.remove(0, count);
    m_cleared += count;
}
