// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ScenarioRunner.h"

#include "Commands.h"
#include "Simulator.h"

#include <chrono>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

std::chrono::milliseconds fromSeconds(double seconds)
{
    return std::chrono::milliseconds(qRound64(seconds * 1000));
}

} // namespace

ScenarioRunner::ScenarioRunner(Simulator& simulator, DaemonProcess* daemon, QObject* parent)
    : QObject(parent), m_simulator(simulator), m_daemon(daemon), m_timer(this)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ScenarioRunner::onTimeout);
    // Queued where another thread adds to the timeline.
    connect(&simulator.timeline(), &Timeline::added, this, &ScenarioRunner::onEntryAdded);
}

bool ScenarioRunner::load(const QString& text, const QString& origin, int firstLine, QString* error)
{
    QList<Line> lines;
    int number = firstLine;
    const QStringList texts = text.split(u'\n');
    for (const QString& lineText : texts) {
        std::optional<LineError> lineError;
        std::optional<Line> line = parse(lineText, &lineError);
        if (lineError) {
            *error = origin + u':' + QString::number(number) + u": \""_s + lineText.trimmed() + u"\": "_s +
                     lineError->toString();
            return false;
        }
        if (line) {
            line->origin = origin;
            line->number = number;
            lines.append(*line);
        }
        ++number;
    }
    m_queue.append(lines);
    return true;
}

std::optional<ScenarioRunner::Line> ScenarioRunner::parse(const QString& text, std::optional<LineError>* error) const
{
    const QList<Token> tokens = tokenize(text, error);
    if (tokens.isEmpty()) {
        return std::nullopt;
    }
    // Several commands may begin with the same words: the one that understands most of the line tells what is wrong.
    LineError furthest{u'"' + tokens.constFirst().text + u'"', u"a command (\"help\" lists them)"_s, 0};
    for (const Command& command : commands()) {
        LineError lineError;
        if (auto values = command.pattern.match(tokens, m_simulator.catalogue(), &lineError)) {
            *error = command.check != nullptr ? command.check(*values, m_simulator.catalogue()) : std::nullopt;
            return Line{{}, 0, text.trimmed(), &command, *values};
        }
        if (lineError.position > furthest.position) {
            furthest = lineError;
        } else if (lineError.position == furthest.position && lineError.position > 0 &&
                   !furthest.expected.contains(lineError.expected)) {
            furthest.expected += u", or "_s + lineError.expected;
        }
    }
    *error = furthest;
    return std::nullopt;
}

void ScenarioRunner::run()
{
    if (!m_isBusy) {
        QTimer::singleShot(0, this, &ScenarioRunner::next);
    }
}

bool ScenarioRunner::isIdle() const
{
    return !m_isBusy && m_queue.isEmpty();
}

void ScenarioRunner::next()
{
    if (m_isBusy) {
        return;
    }
    if (m_queue.isEmpty()) {
        Q_EMIT idle();
        return;
    }
    m_line = m_queue.dequeue();
    m_isBusy = true;
    if (m_line.command->isAction) {
        m_mark = m_simulator.timeline().position();
        m_used.clear();
        m_simulator.timeline().add(Timeline::Kind::Command, m_line.text);
    }
    m_line.command->run(*this);
    if (m_isBusy && !m_condition && !m_timer.isActive()) {
        finishLine();
    }
}

void ScenarioRunner::finishLine()
{
    m_condition = nullptr;
    m_onTimeout = nullptr;
    m_timer.stop();
    m_isBusy = false;
    run();
}

void ScenarioRunner::onTimeout()
{
    // Moved out first: what runs may set the next one.
    const std::function<void()> action = std::exchange(m_onTimeout, nullptr);
    action();
}

void ScenarioRunner::onEntryAdded()
{
    if (!m_condition) {
        return;
    }
    // Moved out while it runs: a condition that fails the run ends itself. And back, with how far it has looked.
    std::function<bool()> condition = std::exchange(m_condition, nullptr);
    const bool isTrue = condition();
    if (!m_isBusy) {
        return;
    }
    if (isTrue) {
        finishLine();
    } else {
        m_condition = std::move(condition);
    }
}

qsizetype ScenarioRunner::findEntry(const EntryTest& matches, qsizetype* from) const
{
    const QList<Timeline::Entry> entries = m_simulator.timeline().entries(*from, from);
    const qsizetype first = *from - entries.size();
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (!m_used.contains(first + i) && matches(entries.at(i))) {
            return first + i;
        }
    }
    return -1;
}

Simulator& ScenarioRunner::simulator()
{
    return m_simulator;
}

DaemonProcess* ScenarioRunner::daemon()
{
    return m_daemon;
}

QVariant ScenarioRunner::value(const QString& name) const
{
    return m_line.values.value(name);
}

void ScenarioRunner::pauseFor(double seconds)
{
    m_onTimeout = [this] { finishLine(); };
    m_timer.start(fromSeconds(seconds));
}

void ScenarioRunner::repeat(double intervalSeconds, std::function<bool()> step)
{
    if (!step()) {
        return;
    }
    m_onTimeout = [this, intervalSeconds, step = std::move(step)] {
        repeat(intervalSeconds, step);
        if (!m_timer.isActive()) {
            finishLine();
        }
    };
    m_timer.start(fromSeconds(intervalSeconds));
}

void ScenarioRunner::expect(const QString& what, double withinSeconds, std::function<bool()> condition,
                            std::function<QString()> found)
{
    if (condition()) {
        return;
    }
    m_condition = std::move(condition);
    m_onTimeout = [this, what, withinSeconds, found = std::move(found)] {
        // Not everything that may have become true has come with an entry.
        if (m_condition()) {
            finishLine();
        } else {
            fail(u"expected "_s + what + u" within "_s + QString::number(withinSeconds) + u" s"_s +
                 (found ? u", found "_s + found() : QString()));
        }
    };
    m_timer.start(fromSeconds(withinSeconds));
}

void ScenarioRunner::expectEntry(const QString& what, double withinSeconds, EntryTest matches)
{
    expect(what, withinSeconds, [this, matches = std::move(matches), from = m_mark]() mutable {
        const qsizetype found = findEntry(matches, &from);
        if (found >= 0) {
            m_used.insert(found);
        }
        return found >= 0;
    });
}

void ScenarioRunner::refuseEntry(const QString& what, double forSeconds, EntryTest matches)
{
    std::function<bool()> failIfFound = [this, what, matches = std::move(matches), from = m_mark]() mutable {
        const qsizetype found = findEntry(matches, &from);
        if (found >= 0) {
            fail(u"expected no "_s + what + u", but there was "_s +
                 m_simulator.timeline().entries(found).constFirst().toString());
        }
        return found >= 0;
    };
    if (failIfFound()) {
        return;
    }
    m_condition = std::move(failIfFound);
    m_onTimeout = [this] { finishLine(); };
    m_timer.start(fromSeconds(forSeconds));
}

void ScenarioRunner::print(const QString& text)
{
    Q_EMIT printed(text);
}

void ScenarioRunner::fail(const QString& reason)
{
    const QString where = m_line.origin + u':' + QString::number(m_line.number) + u": \""_s + m_line.text + u"\": "_s;
    m_queue.clear();
    m_condition = nullptr;
    m_simulator.timeline().note(u"FAILED "_s + where + reason);
    Q_EMIT failed(where + reason);
    finishLine();
}
