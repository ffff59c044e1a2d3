// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Evidence.h"

Evidence::Evidence(const Timeline& timeline) : m_timeline(timeline) {}

void Evidence::beginAnew()
{
    m_begin = m_timeline.position();
    m_used.clear();
}

qsizetype Evidence::begin() const
{
    return m_begin;
}

std::optional<qsizetype> Evidence::find(const EntryTest& test, qsizetype* from) const
{
    const QList<Timeline::Entry> entries = m_timeline.entries(*from, from);
    const qsizetype first = *from - entries.size();
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (!m_used.contains(first + i) && test(entries.at(i))) {
            return first + i;
        }
    }
    return std::nullopt;
}

void Evidence::use(qsizetype position)
{
    m_used.insert(position);
}
