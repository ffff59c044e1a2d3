// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ScenarioRunner.h"

#include "Simulator.h"

#include <QEventLoop>
#include <QThread>

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
    : QObject(parent), m_simulator(simulator), m_daemon(daemon), m_evidence(simulator.timeline()), m_timer(this)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ScenarioRunner::onTimeout);
    // Queued if another thread adds to the timeline.
    connect(&simulator.timeline(), &Timeline::added, this, &ScenarioRunner::onEntryAdded);
}

bool ScenarioRunner::load(const QString& text, const QString& origin, int firstLine, QString* error)
{
    const std::optional<QList<ScenarioLine>> lines =
        parseScenario(text, origin, firstLine, m_simulator.catalogue(), error);
    if (!lines) {
        return false;
    }
    m_queue.append(*lines);
    if (m_isRunning) {
        run();
    }
    return true;
}

void ScenarioRunner::run()
{
    m_isRunning = true;
    // Once, or idle() would come again when the next lines have been loaded.
    if (!m_isBusy && !std::exchange(m_isNextQueued, true)) {
        QTimer::singleShot(0, this, &ScenarioRunner::next);
    }
}

void ScenarioRunner::stop()
{
    m_queue.clear();
    if (m_isBusy) {
        finishLine();
    }
}

QString ScenarioRunner::currentLine() const
{
    return m_isBusy ? m_line.text : QString();
}

bool ScenarioRunner::isIdle() const
{
    return !m_isBusy && m_queue.isEmpty();
}

QString ScenarioRunner::runToEnd(const QString& lines, const QString& origin)
{
    QString error;
    QEventLoop loop;
    bool isLoaded = false;
    // On the runner's thread: from the moment the lines are loaded, the next idle() is theirs.
    const auto begin = [this, &lines, &origin, &error, &loop, &isLoaded] {
        isLoaded = load(lines, origin, 1, &error);
        if (isLoaded) {
            connect(this, &ScenarioRunner::idle, &loop, &QEventLoop::quit);
            connect(this, &ScenarioRunner::failed, &loop,
                    [&error](const QString& reason) { error = reason; }); // clazy:exclude=lambda-in-connect
            run();
        }
    };
    QMetaObject::invokeMethod(
        this, begin, thread() == QThread::currentThread() ? Qt::DirectConnection : Qt::BlockingQueuedConnection);
    if (isLoaded) {
        loop.exec();
    }
    return error;
}

void ScenarioRunner::next()
{
    m_isNextQueued = false;
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
        m_evidence.beginAnew();
        m_simulator.timeline().add(events::Command{m_line.text});
    }
    m_line.command->run(*this, m_line.values);
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

Simulator& ScenarioRunner::simulator()
{
    return m_simulator;
}

DaemonProcess* ScenarioRunner::daemon()
{
    return m_daemon;
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

void ScenarioRunner::expectEntry(const QString& what, double withinSeconds, EntryTest test)
{
    expect(what, withinSeconds, [this, test = std::move(test), from = m_evidence.begin()]() mutable {
        const std::optional<qsizetype> found = m_evidence.find(test, &from);
        if (found) {
            m_evidence.use(*found);
        }
        return found.has_value();
    });
}

void ScenarioRunner::refuseEntry(const QString& what, double forSeconds, EntryTest test)
{
    std::function<bool()> failIfFound = [this, what, test = std::move(test), from = m_evidence.begin()]() mutable {
        const std::optional<qsizetype> found = m_evidence.find(test, &from);
        if (found) {
            fail(u"expected no "_s + what + u", but there was "_s +
                 m_simulator.timeline().entries(*found).constFirst().toString());
        }
        return found.has_value();
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
    m_queue.clear();
    m_condition = nullptr;
    const QString text = m_line.place() + u": "_s + reason;
    m_simulator.timeline().note(u"FAILED "_s + text);
    Q_EMIT failed(text);
    finishLine();
}
