// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ArbitraryServices.h"

#include "MessageValues.h"

#include <QDBusConnection>
#include <QDBusError>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

ArbitraryServices::ArbitraryServices(const Catalogue& catalogue) : m_catalogue(catalogue)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QList<InterfaceDescription>& services = catalogue.services();
    const bool isOnBus = std::all_of(services.begin(), services.end(), [this, &bus](const InterfaceDescription& each) {
        return bus.registerVirtualObject(each.objectPath, this) && bus.registerService(each.busName);
    });
    if (!isOnBus) {
        qFatal("services: %s", qPrintable(bus.lastError().message()));
    }
}

void ArbitraryServices::addAnswer(const Answer& answer)
{
    m_answers.enqueue(answer);
}

void ArbitraryServices::dropAnswers()
{
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
    const Answer answer = m_answers.isEmpty() ? Answer() : m_answers.dequeue();
    (void)connection.send(answer.isError ? message.createErrorReply(QDBusError::Failed, answer.words.join(u' '))
                                         : message.createReply(messageValues(method->out, answer.words)));
    return true;
}
