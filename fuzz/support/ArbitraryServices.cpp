// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ArbitraryServices.h"

#include "MessageValues.h"

#include <QDBusError>
#include <QMutexLocker>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

ArbitraryServices::ArbitraryServices(const Catalogue& catalogue)
    : m_catalogue(catalogue), m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"services"_s))
{
    const QList<InterfaceDescription>& services = catalogue.services();
    const bool isOnBus = m_connection.registerVirtualObject(u"/com"_s, this, QDBusConnection::SubPath) &&
                         std::all_of(services.begin(), services.end(), [this](const InterfaceDescription& description) {
                             return m_connection.registerService(description.busName);
                         });
    if (!isOnBus) {
        qFatal("services: %s", qPrintable(m_connection.lastError().message()));
    }
    moveToThread(&m_thread);
    m_thread.start();
}

void ArbitraryServices::addAnswer(const Answer& answer)
{
    const QMutexLocker lock(&m_mutex);
    m_answers.enqueue(answer);
}

QDBusConnection& ArbitraryServices::connection()
{
    return m_connection;
}

void ArbitraryServices::finish()
{
    // The bus keeps the order: calls that the daemon did not wait for came before this one.
    const InterfaceDescription& any = m_catalogue.services().constFirst();
    (void)QDBusConnection::sessionBus().call(QDBusMessage::createMethodCall(
        any.busName, any.objectPath, any.interfaceName, any.methodList.constFirst().name));
    const QMutexLocker lock(&m_mutex);
    m_answers.clear();
}

QString ArbitraryServices::introspect(const QString&) const
{
    return {};
}

bool ArbitraryServices::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    const QList<InterfaceDescription>& services = m_catalogue.services();
    const auto service = std::find_if(services.begin(), services.end(), [&message](const InterfaceDescription& each) {
        return each.interfaceName == message.interface();
    });
    const MemberDescription* method = service == services.end() ? nullptr : service->findMethod(message.member());
    if (method == nullptr) {
        return false;
    }
    Answer answer;
    {
        const QMutexLocker lock(&m_mutex);
        answer = m_answers.isEmpty() ? Answer() : m_answers.dequeue();
    }
    const QDBusMessage error = message.createErrorReply(QDBusError::Failed, answer.words.join(u' '));
    // A value that is none of D-Bus, such as a malformed path, can't be sent: an error takes its place, so that nobody
    // waits for ever.
    if (answer.isError || !connection.send(message.createReply(messageValues(method->out, answer.words)))) {
        (void)connection.send(error);
    }
    return true;
}
