// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandPattern.h"
#include "Timeline.h"

#include <QObject>
#include <QQueue>
#include <QSet>
#include <QTimer>
#include <QVariantMap>

#include <functional>
#include <optional>

class DaemonProcess;
class Simulator;
struct Command;

/// Carries out lines of the command language, one after the other, between the events of its thread's loop.
///
/// Lines are checked when they are loaded, a scenario as a whole. A line may take its time (a wait, a slow discharge,
/// an expectation); the next one starts when it is done. Expectations look at what the timeline has gathered since the
/// last command that did something, in any order; each entry fulfils one expectation at most. The first expectation
/// that does not come true ends the run: what is left in the queue is dropped.
class ScenarioRunner : public QObject
{
    Q_OBJECT

public:
    using EntryTest = std::function<bool(const Timeline::Entry&)>;

    /// @param daemon the power daemon's process, for the commands that need it; null where it is not ours
    ScenarioRunner(Simulator& simulator, DaemonProcess* daemon, QObject* parent = nullptr);

    /// Checks lines and puts them into the queue: all of them, or none where one is wrong.
    /// @param origin    name for messages, e.g. the file
    /// @param firstLine number of the first line
    /// @return whether all were right; *error names origin and line, what was found and what was expected
    [[nodiscard]] bool load(const QString& text, const QString& origin, int firstLine, QString* error);

    /// Begins, or goes on, with the queue.
    void run();

    /// Whether nothing is queued or under way.
    [[nodiscard]] bool isIdle() const;

    // For the commands.

    [[nodiscard]] Simulator& simulator();
    [[nodiscard]] DaemonProcess* daemon();
    /// Values of the line that is under way, by the names in its pattern.
    [[nodiscard]] QVariant value(const QString& name) const;
    /// The line takes that long.
    void pauseFor(double seconds);
    /// The line takes until step returns false; step runs at once and then at every interval.
    void repeat(double intervalSeconds, std::function<bool()> step);
    /// The line takes until the condition is true, which is looked at after every entry of the timeline; if it is not
    /// true in time, the run fails.
    /// @param found says what there is instead
    void expect(const QString& what, double withinSeconds, std::function<bool()> condition,
                std::function<QString()> found = {});
    /// As expect(), for an entry of the timeline since the last command that did something.
    void expectEntry(const QString& what, double withinSeconds, EntryTest matches);
    /// The run fails if there is, or within that time comes, such an entry.
    void refuseEntry(const QString& what, double forSeconds, EntryTest matches);
    /// Shows a text to the person at the terminal.
    void print(const QString& text);
    /// Ends the run.
    void fail(const QString& reason);

Q_SIGNALS:
    /// The queue is empty and nothing is under way.
    void idle();
    /// An expectation did not come true, or a command could not be carried out; reason names origin and line.
    void failed(const QString& reason);
    void printed(const QString& text);

private:
    Q_DISABLE_COPY_MOVE(ScenarioRunner)

    struct Line
    {
        QString origin;
        int number = 0;
        QString text;
        const Command* command = nullptr;
        QVariantMap values;
    };

    [[nodiscard]] std::optional<Line> parse(const QString& text, std::optional<LineError>* error) const;
    void next();
    void finishLine();
    void onTimeout();
    void onEntryAdded();
    /// Index of the first entry at or after *from that matches and has fulfilled no expectation yet; -1 for none. Moves
    /// *from to the timeline's end.
    [[nodiscard]] qsizetype findEntry(const EntryTest& matches, qsizetype* from) const;

    Simulator& m_simulator;
    DaemonProcess* m_daemon;
    QQueue<Line> m_queue;
    Line m_line; ///< under way, if m_isBusy
    bool m_isBusy = false;
    qsizetype m_mark = 0;              ///< the timeline's position when the last command that does something began
    QSet<qsizetype> m_used;            ///< entries since then that fulfilled an expectation
    std::function<bool()> m_condition; ///< of an expectation under way
    std::function<void()> m_onTimeout; ///< what the line's timer does
    QTimer m_timer;
};
