// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerDaemonClient.h"

#include "Timeline.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusPendingCallWatcher>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A power action blocks the power daemon for 7.5 s and the replies it waits for; a suspend lasts as long as it lasts.
constexpr int kCallTimeoutMs = 600'000;

} // namespace

PowerDaemonClient::PowerDaemonClient(const InterfaceDescription& description, Timeline& timeline, QObject* parent)
    : QObject(parent),
      m_description(description),
      m_timeline(timeline),
      m_connectionName(u"observer-"_s + QString::number(reinterpret_cast<quintptr>(this), 16))
{
}

PowerDaemonClient::~PowerDaemonClient()
{
    QDBusConnection::disconnectFromBus(m_connectionName);
}

bool PowerDaemonClient::start(QString* error)
{
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    if (!bus.isConnected()) {
        *error = u"no session bus: "_s + bus.lastError().message();
        return false;
    }
    m_watcher.setConnection(bus);
    m_watcher.addWatchedService(m_description.busName);
    connect(&m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &PowerDaemonClient::onOwnerChanged);
    for (const MemberDescription& signal : m_description.signalList) {
        if (!bus.connect(m_description.busName, m_description.objectPath, m_description.interfaceName, signal.name,
                         this, SLOT(onSignal(QDBusMessage)))) {
            *error = u"can't observe "_s + signal.name + u" of the power daemon"_s;
            return false;
        }
    }
    return true;
}

void PowerDaemonClient::call(const MemberDescription& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_description.busName, m_description.objectPath,
                                                       m_description.interfaceName, method.name);
    call.setArguments(arguments);
    events::Answer answer{m_description.service, method.name, {}, 0, m_timeline.nextId()};
    m_timeline.add(events::Request{method.name, {arguments, method.in}, answer.id});
    auto* watcher =
        new QDBusPendingCallWatcher(QDBusConnection(m_connectionName).asyncCall(call, kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, answer, watcher, out = method.out, begin = m_timeline.elapsedMs()]() mutable {
                answer.outcome =
                    watcher->isError()
                        ? events::Outcome(events::Error{watcher->error().name(), watcher->error().message()})
                        : events::Values{watcher->reply().arguments(), out};
                answer.seconds = static_cast<double>(m_timeline.elapsedMs() - begin) / 1000;
                m_timeline.add(answer);
                watcher->deleteLater();
            });
}

void PowerDaemonClient::onOwnerChanged(const QString&, const QString& oldOwner, const QString& newOwner)
{
    if (!oldOwner.isEmpty()) {
        m_timeline.add(events::Process{events::Process::State::Down, {}});
    }
    if (!newOwner.isEmpty()) {
        m_timeline.add(events::Process{events::Process::State::Up, {}});
        Q_EMIT up();
    }
}

void PowerDaemonClient::onSignal(const QDBusMessage& message)
{
    const MemberDescription* signal = m_description.findSignal(message.member()); // subscribed by its description
    m_timeline.add(events::Signal{m_description.service, signal->name, {message.arguments(), signal->out}});
}
