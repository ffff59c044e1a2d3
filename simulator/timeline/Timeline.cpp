// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Timeline.h"

#include <QMetaEnum>
#include <QMutexLocker>

#include <algorithm>

QString Timeline::Entry::toString() const
{
    const QString label = QString::fromLatin1(QMetaEnum::fromType<Kind>().valueToKey(static_cast<int>(kind))).toLower();
    switch (kind) {
    case Kind::Log:
        return label + u' ' + QString::number(level) + u' ' + name;
    case Kind::Call:
    case Kind::Signal:
    case Kind::Request:
        return label + u' ' + name + u'(' + arguments.join(QLatin1StringView(", ")) + u')';
    default:
        return (QStringList{label, name} + arguments).join(u' ');
    }
}

Timeline::Timeline(QObject* parent) : QObject(parent)
{
    m_clock.start();
}

void Timeline::add(Entry entry)
{
    {
        const QMutexLocker lock(&m_mutex);
        entry.msec = m_clock.elapsed();
        m_entries.append(entry);
    }
    Q_EMIT added(entry);
}

void Timeline::add(Kind kind, const QString& name, const QStringList& arguments)
{
    Entry entry;
    entry.kind = kind;
    entry.name = name;
    entry.arguments = arguments;
    add(entry);
}

void Timeline::note(const QString& text)
{
    add(Kind::Note, text);
}

void Timeline::addLogLine(int level, const QString& text)
{
    Entry entry;
    entry.kind = Kind::Log;
    entry.level = level;
    // A function's signature holds no ": ".
    const qsizetype end = text.indexOf(QLatin1StringView(": "));
    const bool hasPlace = text.startsWith(u'[') && end > 0;
    entry.place = hasPlace ? text.left(end) : QString();
    entry.name = hasPlace ? text.mid(end + 2) : text;
    add(entry);
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

void Timeline::clear()
{
    const QMutexLocker lock(&m_mutex);
    m_cleared += m_entries.size();
    m_entries.clear();
}
