// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "OperationRun.h"

#include "BusMonitor.h"
#include "ReasonRecord.h"
#include "Terminal.h"

#include <QDBusPendingCallWatcher>
#include <QEventLoop>

#include <algorithm>
#include <limits>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The progress line appears when an answer takes longer than this.
constexpr auto kProgressInterval = 250ms;

/// The bus's timers are coarse.
constexpr double kSlack = 1.05;

/// After the daemon has gone, its end may still be told in an orderly way: the answer, or the bus's end.
constexpr auto kAfterEnd = 100ms;

} // namespace

OperationRun::OperationRun(SessionBus& bus, const Operation& operation, Terminal& terminal)
    : m_bus(bus), m_operation(operation), m_terminal(terminal)
{
    m_progressTimer.setInterval(kProgressInterval);
    connect(&m_progressTimer, &QTimer::timeout, this, &OperationRun::showProgress);
}

OperationRun::~OperationRun() = default;

Answer OperationRun::wait()
{
    subscribe();
    m_clock.start();
    QEventLoop loop;
    PendingAnswer pending =
        m_bus.call(m_bus.catalogue().powerDaemon().service, m_operation.member, m_operation.arguments, limit());
    const QDBusPendingCallWatcher watcher(pending.call());
    connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    connect(this, &OperationRun::ended, &loop, &QEventLoop::quit);
    m_progressTimer.start();
    if (!watcher.isFinished() && !m_isBusGone) {
        loop.exec();
    }
    m_progressTimer.stop();
    if (!watcher.isFinished()) {
        Answer answer;
        answer.outcome = m_isBusGone ? Answer::Outcome::BusGone : Answer::Outcome::NoAnswer;
        return answer;
    }
    // An error that the bus tells because the daemon ended, and the news of its end, come in either order.
    Answer answer = pending.wait();
    if (answer.outcome == Answer::Outcome::NoAnswer && !m_isDaemonGone) {
        QTimer::singleShot(kAfterEnd, &loop, &QEventLoop::quit);
        loop.exec();
    }
    if (answer.outcome == Answer::Outcome::BusGone) {
        m_isDaemonGone = true;
    }
    return answer;
}

bool OperationRun::wasAnnounced() const
{
    return m_wasAnnounced;
}

bool OperationRun::isDaemonGone() const
{
    return m_isDaemonGone;
}

qint64 OperationRun::secondsWaited() const
{
    return (m_clock.elapsed() + 500) / 1000; // the limit is a coarse timer
}

void OperationRun::onPowerEvent(const QString& name, const QString&)
{
    m_wasAnnounced = m_wasAnnounced || name.compare(m_operation.member, Qt::CaseInsensitive) == 0;
    for (qsizetype place = 0; place < m_operation.steps.size(); ++place) {
        if (m_operation.steps.at(place).text.contains(u"PowerEvent("_s + name + u')')) {
            m_step = std::max(m_step, std::min(place + 1, m_operation.steps.size() - 1));
        }
    }
}

void OperationRun::onOwnerChanged(const QString&, const QString&, const QString& newOwner)
{
    if (newOwner.isEmpty()) {
        m_isDaemonGone = true;
        QTimer::singleShot(kAfterEnd, this, &OperationRun::ended);
    }
}

void OperationRun::onDisconnected()
{
    m_isDaemonGone = true;
    m_isBusGone = true;
    Q_EMIT ended();
}

void OperationRun::subscribe()
{
    const InterfaceDescription& daemon = m_bus.catalogue().powerDaemon();
    QDBusConnection& connection = m_bus.connection();
    (void)connection.connect(daemon.busName, daemon.objectPath, daemon.interfaceName, u"PowerEvent"_s, this,
                             SLOT(onPowerEvent(QString, QString)));
    (void)connection.connect(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s,
                             u"NameOwnerChanged"_s, {daemon.busName}, u"sss"_s, this,
                             SLOT(onOwnerChanged(QString, QString, QString)));
    (void)connection.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                             u"Disconnected"_s, this, SLOT(onDisconnected()));
    if (sequence::services(m_operation.steps).isEmpty()) {
        return;
    }
    // Only a help to the one who waits: if the bus does not allow it, the announcement alone has to do.
    QHash<QString, QString> serviceByOwner;
    if (!m_bus.findOwners(&serviceByOwner)) {
        return;
    }
    m_daemonOwner = serviceByOwner.key(daemon.service);
    auto monitor = std::make_unique<BusMonitor>();
    QString fault;
    if (!m_daemonOwner.isEmpty() && monitor->start(SessionBus::address(),
                                                   {u"type='method_call',sender='%1'"_s.arg(m_daemonOwner),
                                                    u"type='method_return',destination='%1'"_s.arg(m_daemonOwner),
                                                    u"type='error',destination='%1'"_s.arg(m_daemonOwner)},
                                                   &fault)) {
        connect(monitor.get(), &BusMonitor::received, this, &OperationRun::receive);
        m_monitor = std::move(monitor);
    }
}

void OperationRun::receive(const WireMessage& message)
{
    if (message.type != WireMessage::Type::Call) {
        // Answered: a pause may follow, which nothing announces.
        const bool isAnswer = message.replySerial == m_callSerial && m_callSerial != 0;
        if (isAnswer && m_step + 1 < m_operation.steps.size() && m_operation.steps.at(m_step + 1).service.isEmpty()) {
            ++m_step;
        }
        return;
    }
    for (qsizetype place = std::max<qsizetype>(m_step, 0); place < m_operation.steps.size(); ++place) {
        const SequenceStep& step = m_operation.steps.at(place);
        if (!step.service.isEmpty() && step.member == message.member &&
            m_bus.describe(step.service).interfaceName == message.interfaceName) {
            m_step = place;
            m_callSerial = message.serial;
            return;
        }
    }
}

void OperationRun::showProgress()
{
    const QString doing = m_step < 0 ? u"waiting for the power daemon"_s : m_operation.steps.at(m_step).text;
    const QString until =
        m_operation.wakeUp.isValid() && m_step >= 0 && m_operation.steps.at(m_step).member == u"Suspend"
            ? u" at "_s + m_operation.wakeUp.toString(u"yyyy-MM-dd HH:mm:ss"_s)
            : QString();
    m_terminal.showProgress(QString::number(m_clock.elapsed() / 1000) + u" s"_s, doing + until);
}

std::chrono::milliseconds OperationRun::limit() const
{
    double seconds = sequence::worstSeconds(m_operation.steps) * kSlack + 5;
    if (m_operation.wakeUp.isValid()) {
        seconds += static_cast<double>(std::max<qint64>(0, QDateTime::currentDateTime().secsTo(m_operation.wakeUp)));
    }
    const double milliseconds = std::min(seconds * 1000, double{std::numeric_limits<int>::max()});
    return std::chrono::milliseconds(static_cast<qint64>(milliseconds));
}
