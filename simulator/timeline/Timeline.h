// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>

/// The one ordered record of what happened on the device: calls, signals, log lines, lines of hardware, pauses. Anybody
/// on any thread may add to it; an entry's place is the moment it was added.
class Timeline : public QObject
{
    Q_OBJECT

public:
    enum class Kind
    {
        Command, ///< a line of the command language that was carried out
        Call,    ///< a method call received by a simulated service
        Signal,  ///< a signal on the bus, of a simulated service or of the power daemon
        Request, ///< a method call made to the power daemon
        Answer,  ///< the power daemon's answer to it
        Log,     ///< a log line of the power daemon
        Line,    ///< a GPIO line that changed
        Pause,   ///< a blocking pause of the power daemon (recorded by tests only)
        Process, ///< the power daemon: started, up (on the bus), down, ended
        Output,  ///< anything else the power daemon printed
        Note,    ///< the simulator's own remarks
    };
    Q_ENUM(Kind)

    struct Entry
    {
        Kind kind = Kind::Note;
        QString name;          ///< member ("soundmanager.GetStatus"), line number, or the text itself
        QStringList arguments; ///< of a member; a line's level, or "pattern" and its words
        int level = 0;         ///< of a log line
        QString place;         ///< of a log line: source and function
        QString result;        ///< of a call: what was answered; of a pattern: its drawing
        qint64 msec = 0;       ///< since the timeline was created; set when added

        /// The entry as one line without its time: kind and content, e.g. "call soundmanager.SetMasterVolume(80)",
        /// "signal powermanager.PowerZoneChanged(Low)", "log 4 Setting zone Low params", "line 24 on",
        /// "line 24 pattern on 0.5 off 0.5 on 2".
        [[nodiscard]] QString toString() const;
    };

    explicit Timeline(QObject* parent = nullptr);

    void add(Entry entry);
    void add(Kind kind, const QString& name, const QStringList& arguments = {});
    void note(const QString& text);
    /// Adds a log line from its parts; text is "[file:line] function: message".
    void addLogLine(int level, const QString& text);

    /// The present time on the clock of the entries.
    [[nodiscard]] qint64 elapsedMs() const;

    [[nodiscard]] qsizetype size() const;
    /// The place where the next entry will stand, counted from the very first one, cleared or not.
    [[nodiscard]] qsizetype position() const;
    /// The entries from that place on, a copy; *end receives the place behind the last one.
    [[nodiscard]] QList<Entry> entries(qsizetype from = 0, qsizetype* end = nullptr) const;
    /// Forgets the entries; places stay what they are.
    void clear();

Q_SIGNALS:
    /// Emitted on the thread that added the entry.
    void added(const Timeline::Entry& entry);

private:
    Q_DISABLE_COPY_MOVE(Timeline)

    mutable QMutex m_mutex;
    QList<Entry> m_entries;
    qsizetype m_cleared = 0; ///< number of entries forgotten
    QElapsedTimer m_clock;
};
