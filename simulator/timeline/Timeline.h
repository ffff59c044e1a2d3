// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Events.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

#include <utility>

/// The one ordered record of what happened on the device: calls, signals, log lines, lines of hardware, pauses. Anybody
/// on any thread may add to it; an entry's place is the moment it was added.
class Timeline : public QObject
{
    Q_OBJECT

public:
    struct Entry
    {
        qint64 msec = 0; ///< since the timeline was created
        QDateTime clock; ///< UTC
        events::Event event;

        /// The event if it is of that type, else null.
        template <typename Type>
        [[nodiscard]] const Type* as() const
        {
            return std::get_if<Type>(&event);
        }

        /// The entry as one line without its time: see events::toString().
        [[nodiscard]] QString toString() const;
    };

    explicit Timeline(QObject* parent = nullptr);

    void add(events::Event event);
    void note(const QString& text);

    /// A text for the answer to a call, not used before in this record.
    [[nodiscard]] QString nextId();

    /// The present time on the clock of the entries.
    [[nodiscard]] qint64 elapsedMs() const;

    [[nodiscard]] qsizetype size() const;
    /// The place where the next entry will stand, counted from the very first one, cleared or not.
    [[nodiscard]] qsizetype position() const;
    /// The entries from that place on, a copy; *end receives the place behind the last one.
    [[nodiscard]] QList<Entry> entries(qsizetype from = 0, qsizetype* end = nullptr) const;
    /// At most that many entries from that place on, a copy; fewer at the end. Without those that are forgotten.
    [[nodiscard]] QList<Entry> slice(qsizetype from, qsizetype count) const;
    /// Forgets the entries; places stay what they are.
    void clear();
    /// Forgets the entries before that place.
    void forgetBefore(qsizetype position);

Q_SIGNALS:
    /// An event is about to be added: what is known to have come before it can still be added first. Emitted on the
    /// thread that adds.
    void aboutToAdd(const events::Event& event);
    /// Emitted on the thread that added the entry.
    void added(const Timeline::Entry& entry);

private:
    Q_DISABLE_COPY_MOVE(Timeline)

    mutable QMutex m_mutex;
    QList<Entry> m_entries;
    qsizetype m_cleared = 0; ///< number of entries forgotten
    qint64 m_lastId = 0;
    QElapsedTimer m_clock;
};
