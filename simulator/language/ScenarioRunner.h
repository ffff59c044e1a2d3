// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Evidence.h"
#include "Scenario.h"

#include <QObject>
#include <QQueue>
#include <QTimer>

#include <functional>

class DaemonProcess;
class Simulator;

/// Carries out the lines of one source, one after the other, between the events of its thread's loop. Several sources
/// can have a runner each on the same simulator: what one of them waits for or fails at is no other's affair.
///
/// Lines are checked when they are loaded, a scenario as a whole. A line may take its time (a wait, a slow discharge,
/// an expectation); the next one starts when it is done. A line that fails empties the queue.
class ScenarioRunner : public QObject
{
    Q_OBJECT

public:
    /// @param daemon the power daemon's process, for the commands that need it; null if it is not ours
    ScenarioRunner(Simulator& simulator, DaemonProcess* daemon, QObject* parent = nullptr);

    /// Checks lines and puts them into the queue: all of them, or none if one is wrong.
    /// @param origin    name for messages, e.g. the file
    /// @param firstLine number of the first line
    /// @return whether all were right; *error names origin and line, what was found and what was expected
    [[nodiscard]] bool load(const QString& text, const QString& origin, int firstLine, QString* error);

    /// Begins with the queue; from then on, lines are carried out as they are loaded.
    void run();

    /// Forgets the queue and ends the line under way; idle() follows.
    void stop();

    /// The text of the line under way; empty: there is none.
    [[nodiscard]] QString currentLine() const;

    /// Whether nothing is queued or under way.
    [[nodiscard]] bool isIdle() const;

    /// Loads lines, runs them and waits until they are done, in an event loop of the calling thread, which may be
    /// another one than the runner's.
    /// @return an empty text, or what went wrong: a wrong line, or a line that failed
    [[nodiscard]] QString runToEnd(const QString& lines, const QString& origin);

    // For the commands.

    [[nodiscard]] Simulator& simulator();
    [[nodiscard]] DaemonProcess* daemon();
    /// The line takes that long.
    void pauseFor(double seconds);
    /// The line takes until step returns false; step runs at once and then at every interval.
    void repeat(double intervalSeconds, std::function<bool()> step);
    /// The line takes until the condition is true, which is checked after every entry of the timeline; if it is not
    /// true in time, the line fails.
    /// @param found says what there is instead
    void expect(const QString& what, double withinSeconds, std::function<bool()> condition,
                std::function<QString()> found = {});
    /// As expect(), for an entry of the timeline since the last command that did something.
    void expectEntry(const QString& what, double withinSeconds, EntryTest test);
    /// The line fails if there is, or within that time comes, such an entry.
    void refuseEntry(const QString& what, double forSeconds, EntryTest test);
    /// Shows a text to whoever sent the line.
    void print(const QString& text);
    /// The line fails.
    void fail(const QString& reason);

Q_SIGNALS:
    /// The queue is empty and nothing is under way.
    void idle();
    /// An expectation did not come true, or a command could not be carried out; reason names origin and line.
    void failed(const QString& reason);
    void printed(const QString& text);

private:
    Q_DISABLE_COPY_MOVE(ScenarioRunner)

    void next();
    void finishLine();
    void onTimeout();
    void onEntryAdded();

    Simulator& m_simulator;
    DaemonProcess* m_daemon;
    QQueue<ScenarioLine> m_queue;
    ScenarioLine m_line;         ///< under way, if m_isBusy
    bool m_isRunning = false;    ///< run() was called
    bool m_isNextQueued = false; ///< next() will be called by the event loop
    bool m_isBusy = false;
    Evidence m_evidence;
    std::function<bool()> m_condition; ///< of an expectation under way
    std::function<void()> m_onTimeout; ///< what the line's timer does
    QTimer m_timer;
};
