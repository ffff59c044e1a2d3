// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "EventStream.h"

#include "DBusValues.h"

#include <QJsonArray>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr QLatin1StringView kBus("org.freedesktop.DBus");

/// More calls are never open at a time, unless their callers do not wait for answers: those are forgotten.
constexpr qsizetype kMostOpenCalls = 4096;

QString key(const QString& caller, quint32 serial)
{
    return caller + u'/' + QString::number(serial);
}

QJsonObject errorToJson(const WireMessage& message)
{
    return {{u"name"_s, message.errorName}, {u"message"_s, message.values.value(0).toString()}};
}

} // namespace

EventStream::EventStream(SessionBus& bus, bool isAll) : m_bus(bus), m_isAll(isAll), m_callers(bus)
{
    m_wanted.append(&bus.catalogue().powerDaemon());
    if (isAll) {
        for (const InterfaceDescription& description : bus.catalogue().services()) {
            m_wanted.append(&description);
        }
    }
    m_clock.start();
}

EventStream::~EventStream() = default;

bool EventStream::start()
{
    return m_bus.findOwners(&m_serviceByOwner);
}

QStringList EventStream::rules() const
{
    QStringList rules{u"sender='%1',member='NameOwnerChanged'"_s.arg(kBus), u"type='method_return'"_s,
                      u"type='error'"_s};
    for (const InterfaceDescription* description : m_wanted) {
        rules.append(u"interface='%1'"_s.arg(description->interfaceName));
    }
    return rules;
}

void EventStream::receive(const WireMessage& message)
{
    switch (message.type) {
    case WireMessage::Type::Call:
        receiveCall(message);
        break;
    case WireMessage::Type::Reply:
    case WireMessage::Type::Error:
        receiveAnswer(message);
        break;
    case WireMessage::Type::Signal:
        receiveSignal(message);
        break;
    }
}

void EventStream::note(const QString& text)
{
    emitEvent(u"note"_s, {{u"text"_s, text}});
}

void EventStream::receiveCall(const WireMessage& message)
{
    const InterfaceDescription* service = findByInterface(message.interfaceName);
    const MemberDescription* method = service == nullptr ? nullptr : service->findMethod(message.member);
    if (method == nullptr || findByDestination(message.destination) != service) {
        return;
    }
    const QString id = QString::number(++m_lastId);
    if (m_openCalls.size() >= kMostOpenCalls) {
        m_openCalls.clear();
    }
    m_openCalls.insert(key(message.sender, message.serial), {id, service, message.member, m_clock.elapsed()});
    QJsonObject event{{u"member"_s, message.member},
                      {u"arguments"_s, dbusvalues::toJson(message.values, method->in)},
                      {u"id"_s, id},
                      {u"sender"_s, m_callers.find(message.sender).toJson()}};
    if (!isDaemon(*service)) {
        event.insert(u"service"_s, service->service);
    }
    emitEvent(isDaemon(*service) ? u"request"_s : u"call"_s, event);
}

void EventStream::receiveAnswer(const WireMessage& message)
{
    const QString callKey = key(message.destination, message.replySerial);
    if (!m_openCalls.contains(callKey)) {
        return;
    }
    const OpenCall call = m_openCalls.take(callKey);
    QJsonObject event{{u"service"_s, call.service->service},
                      {u"member"_s, call.member},
                      {u"seconds"_s, static_cast<double>(m_clock.elapsed() - call.msec) / 1000},
                      {u"id"_s, call.id}};
    if (message.type == WireMessage::Type::Error) {
        event.insert(u"error"_s, errorToJson(message));
    } else {
        event.insert(u"reply"_s, dbusvalues::toJson(message.values, call.service->findMethod(call.member)->out));
    }
    emitEvent(u"answer"_s, event);
}

void EventStream::receiveSignal(const WireMessage& message)
{
    if (message.interfaceName == kBus && message.member == u"NameOwnerChanged" && message.sender == kBus &&
        message.values.size() == 3) {
        receiveOwner(message.values.at(0).toString(), message.values.at(1).toString(), message.values.at(2).toString());
        return;
    }
    const InterfaceDescription* service = findByInterface(message.interfaceName);
    const MemberDescription* signal = service == nullptr ? nullptr : service->findSignal(message.member);
    // Anybody may send a signal of any name; only the service's own count.
    if (signal == nullptr || m_serviceByOwner.value(message.sender) != service->service) {
        return;
    }
    emitEvent(u"signal"_s, {{u"service"_s, service->service},
                            {u"member"_s, message.member},
                            {u"arguments"_s, dbusvalues::toJson(message.values, signal->out)}});
}

void EventStream::receiveOwner(const QString& name, const QString& oldOwner, const QString& newOwner)
{
    if (name.startsWith(u':')) {
        if (newOwner.isEmpty()) {
            m_callers.forget(name);
        } else {
            (void)m_callers.find(name); // kept, for the call that comes
        }
        return;
    }
    const InterfaceDescription* service = findByDestination(name);
    if (service == nullptr) {
        return;
    }
    if (m_serviceByOwner.value(oldOwner) == service->service) {
        m_serviceByOwner.remove(oldOwner);
    }
    if (!newOwner.isEmpty()) {
        m_serviceByOwner.insert(newOwner, service->service);
    }
    const QString state = newOwner.isEmpty() ? u"down"_s : u"up"_s;
    if (isDaemon(*service)) {
        emitEvent(u"process"_s, {{u"state"_s, state}, {u"text"_s, QString()}});
    } else if (m_isAll) {
        note(u"%1 %2"_s.arg(service->service, newOwner.isEmpty() ? u"went away"_s : u"came"_s));
    }
}

const InterfaceDescription* EventStream::findByInterface(const QString& interfaceName) const
{
    for (const InterfaceDescription* description : m_wanted) {
        if (description->interfaceName == interfaceName) {
            return description;
        }
    }
    return nullptr;
}

const InterfaceDescription* EventStream::findByDestination(const QString& name) const
{
    const QString service = m_serviceByOwner.value(name);
    for (const InterfaceDescription* description : m_wanted) {
        if (description->busName == name || description->service == service) {
            return description;
        }
    }
    return nullptr;
}

bool EventStream::isDaemon(const InterfaceDescription& description) const
{
    return &description == &m_bus.catalogue().powerDaemon();
}

void EventStream::emitEvent(const QString& kind, QJsonObject members)
{
    members.insert(u"time"_s, static_cast<double>(m_clock.elapsed()) / 1000);
    members.insert(u"clock"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    members.insert(u"kind"_s, kind);
    Q_EMIT happened(members);
}
