// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "TabSource.h"

#include "Scenario.h"

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What a line printed and is shown of it.
constexpr qsizetype kMostPrinted = qsizetype{64} * 1024;

} // namespace

TabSource::TabSource(Session& session, QObject* parent)
    : QObject(parent), m_session(session), m_runner(&session.addSource())
{
    connect(m_runner, &ScenarioRunner::printed, this,
            [this](const QString& text) { m_printed += text.left(kMostPrinted - m_printed.size()); });
    connect(m_runner, &ScenarioRunner::failed, this, [this](const QString& reason) { m_failure = reason; });
    connect(m_runner, &ScenarioRunner::idle, this, &TabSource::onIdle);
}

TabSource::~TabSource()
{
    m_runner->disconnect(this);
    m_session.removeSource(*m_runner);
}

bool TabSource::load(const QJsonValue& id, const QString& lines, const QString& origin, QString* error)
{
    // Checked now, though they may have to wait.
    if (!parseScenario(lines, origin, 1, m_session.simulator().catalogue(), error)) {
        return false;
    }
    m_waiting.enqueue({id, lines, origin});
    next();
    return true;
}

void TabSource::stop()
{
    const QQueue<Lines> waiting = std::exchange(m_waiting, {});
    if (m_isBusy) {
        m_failure = u"stopped"_s;
        m_runner->stop();
        onIdle();
    }
    for (const Lines& lines : waiting) {
        Q_EMIT done(lines.id, false, u"stopped"_s);
    }
}

bool TabSource::isIdle() const
{
    return !m_isBusy;
}

QString TabSource::line() const
{
    return m_isBusy ? m_runner->currentLine() : QString();
}

QString TabSource::origin() const
{
    return m_isBusy ? m_underWay.origin : QString();
}

void TabSource::next()
{
    if (m_isBusy || m_waiting.isEmpty()) {
        return;
    }
    m_underWay = m_waiting.dequeue();
    m_isBusy = true;
    QString error;
    (void)m_runner->load(m_underWay.text, m_underWay.origin, 1, &error); // checked before
    Q_EMIT changed();
}

void TabSource::onIdle()
{
    if (!std::exchange(m_isBusy, false)) {
        return;
    }
    const QString failure = std::exchange(m_failure, {});
    const QString printed = std::exchange(m_printed, {});
    Q_EMIT done(m_underWay.id, failure.isEmpty(), failure.isEmpty() ? printed : printed + failure);
    Q_EMIT changed();
    next();
}
