// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CauseFinder.h"
#include "TimelineText.h"

#include <QByteArray>
#include <QList>

/// The page's record: a row of JSON for each event of the timeline, made once for all tabs, and the whole event behind
/// it. A row's number is the event's place in the timeline, for good.
///
/// The newest events stay in the timeline; older ones are packed here, in blocks, and forgotten there, and the oldest
/// blocks are forgotten altogether. So neither grows without end. Rows are made when update() is called, which is to
/// happen at least each time isDue().
class RowLog
{
public:
    /// Rows that follow one another.
    struct Part
    {
        QByteArray rows;       ///< JSON arrays with commas between them
        qsizetype next = 0;    ///< the row behind the last one
        qsizetype skipped = 0; ///< rows asked for that are forgotten
    };

    struct Limits
    {
        qsizetype tail = 10'000;  ///< events that stay in the timeline: what expectations are judged by
        qsizetype rows = 200'000; ///< that are kept, about
    };

    /// @param timeline must outlive it
    explicit RowLog(Timeline& timeline);
    RowLog(Timeline& timeline, const Limits& limits);

    /// The oldest row that is kept.
    [[nodiscard]] qsizetype first() const;
    /// The row behind the last one that was made.
    [[nodiscard]] qsizetype next() const;

    /// Whether so much has come since the last update() that it is time for the next one.
    [[nodiscard]] bool isDue() const;
    /// Makes rows of what has come.
    void update();

    /// The rows from a place on, about as many as go into that many bytes, but one at least if there is one.
    [[nodiscard]] Part part(qsizetype from, qsizetype mostBytes) const;

    /// The whole event, a JSON object as docs/events.md describes it; empty if there is none or it is forgotten.
    [[nodiscard]] QByteArray whole(qsizetype place) const;
    /// Whole events from *place on, a line each, some thousands of bytes; moves *place. Empty at the end.
    [[nodiscard]] QByteArray wholeLines(qsizetype* place) const;

    /// Forgets all rows.
    void clear();

private:
    struct Block
    {
        qsizetype first = 0;
        qsizetype count = 0;
        bool isPacked = false;
        QByteArray rows;   ///< a line each; compressed if packed
        QByteArray wholes; ///< likewise, if packed; else they are in the timeline
    };

    void append(qsizetype place, const Timeline::Entry& entry);
    void pack();
    [[nodiscard]] const Block* blockOf(qsizetype place) const;
    [[nodiscard]] QByteArray wholesOf(const Block& block) const;

    Timeline& m_timeline;
    Limits m_limits;
    TimelineText m_text;
    CauseFinder m_causes;
    QList<Block> m_blocks;  ///< all full but the last one
    qsizetype m_packed = 0; ///< blocks that are packed, the first ones
    qsizetype m_next = 0;
};
