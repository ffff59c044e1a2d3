// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "NameOwners.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

using namespace Qt::Literals::StringLiterals;

NameOwners::NameOwners(QObject* parent) : QObject(parent)
{
    m_watcher.setConnection(QDBusConnection::sessionBus());
    m_watcher.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    connect(&m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString& busName, const QString&, const QString& owner) { set(busName, !owner.isEmpty()); });
}

void NameOwners::watch(const QString& busName)
{
    m_watcher.addWatchedService(busName);
    QDBusMessage question = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                           u"org.freedesktop.DBus"_s, u"NameHasOwner"_s);
    question.setArguments({busName});
    auto* answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, busName] {
        const QDBusPendingReply<bool> reply = *answer;
        if (!reply.isError()) {
            set(busName, reply.value());
        }
        answer->deleteLater();
    });
}

bool NameOwners::hasOwner(const QString& busName) const
{
    return m_owned.contains(busName);
}

void NameOwners::set(const QString& busName, bool hasOwner)
{
    if (hasOwner == m_owned.contains(busName)) {
        return;
    }
    if (hasOwner) {
        m_owned.insert(busName);
    } else {
        m_owned.remove(busName);
    }
    Q_EMIT changed(busName);
}
