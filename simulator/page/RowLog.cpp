// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "RowLog.h"

#include "EventJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Rows of a block.
constexpr qsizetype kBlockSize = 256;

/// The fastest one: rows resemble each other, and shrink to a tenth all the same.
constexpr int kCompression = 1;

/// The service that an event belongs to; empty: none.
QString serviceOf(const events::Event& event)
{
    const QString member = events::memberName(event);
    if (!member.isEmpty()) {
        return member.section(u'.', 0, 0);
    }
    const bool isOfDaemon = std::holds_alternative<LogLine>(event) || std::holds_alternative<events::Process>(event) ||
                            std::holds_alternative<events::Output>(event);
    return isOfDaemon ? QString(events::kPowerDaemon) : QString();
}

QByteArray packed(const QByteArray& lines)
{
    QByteArray bytes = qCompress(lines, kCompression);
    bytes.squeeze(); // it has room for all that there was
    return bytes;
}

/// Where the line of that number begins.
qsizetype lineBegin(const QByteArray& lines, qsizetype number)
{
    qsizetype begin = 0;
    for (; number > 0; --number) {
        begin = lines.indexOf('\n', begin) + 1;
    }
    return begin;
}

} // namespace

RowLog::RowLog(Timeline& timeline) : RowLog(timeline, Limits()) {}

RowLog::RowLog(Timeline& timeline, const Limits& limits) : m_timeline(timeline), m_limits(limits) {}

qsizetype RowLog::first() const
{
    return m_blocks.isEmpty() ? m_next : m_blocks.constFirst().first;
}

qsizetype RowLog::next() const
{
    return m_next;
}

bool RowLog::isDue() const
{
    return m_timeline.size() >= m_limits.tail + 2 * kBlockSize;
}

void RowLog::update()
{
    qsizetype end = 0;
    const QList<Timeline::Entry> entries = m_timeline.entries(m_next, &end);
    const qsizetype first = end - entries.size();
    if (first > m_next) {
        m_blocks.clear(); // the timeline was cleared by somebody else: the rows go on behind the gap
        m_packed = 0;
    }
    for (qsizetype i = 0; i < entries.size(); ++i) {
        append(first + i, entries.at(i));
    }
    m_next = end;
    pack();
}

void RowLog::append(qsizetype place, const Timeline::Entry& entry)
{
    if (m_blocks.isEmpty() || m_blocks.constLast().count == kBlockSize) {
        m_blocks.append(Block{place, 0, false, {}, {}});
    }
    QJsonObject extra;
    if (const auto* log = entry.as<LogLine>()) {
        extra.insert(u"level"_s, log->level);
    }
    const QString service = serviceOf(entry.event);
    if (!service.isEmpty()) {
        extra.insert(u"service"_s, service);
    }
    if (const std::optional<qsizetype> cause = m_causes.causeOf(place, entry)) {
        extra.insert(u"cause"_s, static_cast<qint64>(*cause));
    }
    const QJsonArray row{static_cast<qint64>(place), entry.msec, QString(eventjson::kindOf(entry.event)),
                         m_text.columns(entry.event).text, extra};
    Block& block = m_blocks.last();
    block.rows += QJsonDocument(row).toJson(QJsonDocument::Compact) + '\n';
    ++block.count;
}

void RowLog::pack()
{
    while (m_timeline.size() >= m_limits.tail + kBlockSize && m_packed < m_blocks.size() &&
           m_blocks.at(m_packed).count == kBlockSize) {
        Block& block = m_blocks[m_packed++];
        block.wholes = packed(wholesOf(block));
        block.rows = packed(block.rows);
        block.isPacked = true;
        m_timeline.forgetBefore(block.first + block.count);
    }
    while (m_packed > 0 && m_next - m_blocks.constFirst().first > m_limits.rows) {
        m_blocks.removeFirst();
        --m_packed;
    }
}

const RowLog::Block* RowLog::blockOf(qsizetype place) const
{
    return place < first() || place >= m_next ? nullptr : &m_blocks.at((place - first()) / kBlockSize);
}

RowLog::Part RowLog::part(qsizetype from, qsizetype mostBytes) const
{
    Part part{{}, std::clamp(from, first(), m_next), 0};
    part.skipped = std::max<qsizetype>(0, part.next - from);
    while (const Block* block = blockOf(part.next)) {
        const QByteArray rows = block->isPacked ? qUncompress(block->rows) : block->rows;
        qsizetype begin = lineBegin(rows, part.next - block->first);
        for (; begin < rows.size() && part.rows.size() < mostBytes; ++part.next) {
            const qsizetype end = rows.indexOf('\n', begin);
            part.rows += (part.rows.isEmpty() ? "" : ",\n") + rows.mid(begin, end - begin);
            begin = end + 1;
        }
        if (part.rows.size() >= mostBytes) {
            break;
        }
    }
    return part;
}

QByteArray RowLog::wholesOf(const Block& block) const
{
    if (block.isPacked) {
        return qUncompress(block.wholes);
    }
    QByteArray lines;
    const QList<Timeline::Entry> entries = m_timeline.slice(block.first, block.count);
    for (const Timeline::Entry& entry : entries) {
        lines += eventjson::toLine(entry) + '\n';
    }
    return lines;
}

QByteArray RowLog::whole(qsizetype place) const
{
    const Block* block = blockOf(place);
    if (block == nullptr) {
        return {};
    }
    if (!block->isPacked) {
        const QList<Timeline::Entry> entries = m_timeline.slice(place, 1);
        return entries.isEmpty() ? QByteArray() : eventjson::toLine(entries.constFirst());
    }
    const QByteArray lines = wholesOf(*block);
    const qsizetype begin = lineBegin(lines, place - block->first);
    return lines.mid(begin, lines.indexOf('\n', begin) - begin);
}

QByteArray RowLog::wholeLines(qsizetype* place) const
{
    *place = std::max(*place, first());
    const Block* block = blockOf(*place);
    if (block == nullptr) {
        return {};
    }
    const QByteArray lines = wholesOf(*block);
    QByteArray wanted = lines.mid(lineBegin(lines, *place - block->first));
    *place = block->first + block->count;
    return wanted;
}

void RowLog::clear()
{
    update();
    m_blocks.clear();
    m_packed = 0;
}
