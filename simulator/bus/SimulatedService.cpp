// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SimulatedService.h"

#include "DBusValues.h"
#include "Device.h"

#include <QAtomicInt>
#include <QDBusError>
#include <QTimer>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// How often a flooding service sends each of its signals.
constexpr int kFloodCount = 2000;

/// The values after the fault was applied to them.
QVariantList applied(const Fault& fault, QVariantList values)
{
    switch (fault.kind) {
    case Fault::Kind::Status:
        // Where there is no status (a method that only answers a bool), there is nothing to set.
        if (!values.isEmpty() && values.constFirst().typeId() == QMetaType::Int) {
            values.first() = fault.status;
        }
        break;
    case Fault::Kind::Few:
        if (!values.isEmpty()) {
            values.removeLast();
        }
        break;
    case Fault::Kind::Many:
        values.append(u"one too many"_s);
        break;
    case Fault::Kind::Types:
        for (QVariant& value : values) {
            value = value.typeId() == QMetaType::QString ? QVariant(0) : QVariant(value.toString());
        }
        break;
    case Fault::Kind::Arrays:
        for (QVariant& value : values) {
            value = QVariant::fromValue(QList<int>{1, 2});
        }
        break;
    default:
        break;
    }
    return values;
}

/// The name of the error reply of a method that fails.
constexpr QLatin1StringView kErrorName("com.quillmark.zelt.Error.Failed");

} // namespace

bool Fault::preventsEffect() const
{
    return kind == Kind::Error || kind == Kind::Mute || kind == Kind::Dies || (kind == Kind::Status && status != 0);
}

QString Fault::toString() const
{
    switch (kind) {
    case Kind::None:
        return {};
    case Kind::Error:
        return u"error"_s;
    case Kind::Status:
        return u"status "_s + QString::number(status);
    case Kind::Few:
        return u"few"_s;
    case Kind::Many:
        return u"many"_s;
    case Kind::Types:
        return u"types"_s;
    case Kind::Arrays:
        return u"arrays"_s;
    case Kind::Mute:
        return u"mute"_s;
    case Kind::Late:
        return u"late "_s + QString::number(delayMs / 1000.0);
    case Kind::Dies:
        return u"dies"_s;
    case Kind::Floods:
        break;
    }
    return u"floods"_s;
}

SimulatedService::SimulatedService(const InterfaceDescription& description, Device& device, Timeline& timeline,
                                   QObject* parent)
    : QDBusVirtualObject(parent), m_description(description), m_device(device), m_timeline(timeline)
{
}

SimulatedService::~SimulatedService()
{
    stop();
}

bool SimulatedService::start(QString* error)
{
    static QAtomicInt connectionCount = 0;
    if (isRunning()) {
        return true;
    }
    m_connectionName = m_description.service + u'-' + QString::number(connectionCount.fetchAndAddRelaxed(1));
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    if (bus.isConnected() && bus.registerVirtualObject(m_description.objectPath, this) &&
        bus.registerService(m_description.busName)) {
        return true;
    }
    if (bus.isConnected()) {
        *error = m_description.busName + u" is taken: is another "_s + m_description.service + u" on this bus?"_s;
    } else {
        *error = u"no session bus: "_s + bus.lastError().message();
    }
    stop();
    return false;
}

void SimulatedService::stop()
{
    if (isRunning()) {
        // The bus notices the end of a connection some time later; a restart wants the name at once.
        QDBusConnection(m_connectionName).unregisterService(m_description.busName);
        // Qt closes the connection on a thread of its own, which must not meet an object that ends meanwhile.
        QDBusConnection(m_connectionName).unregisterObject(m_description.objectPath);
        QDBusConnection::disconnectFromBus(m_connectionName);
        m_connectionName.clear();
        m_heldReplies.clear();
    }
}

bool SimulatedService::isRunning() const
{
    return !m_connectionName.isEmpty();
}

void SimulatedService::setFault(const QString& member, const Fault& fault)
{
    m_faults.insert(member, fault);
}

void SimulatedService::repairAll()
{
    m_faults.clear();
}

const QHash<QString, Fault>& SimulatedService::faults() const
{
    return m_faults;
}

void SimulatedService::send(const MemberDescription& signal, const QVariantList& values)
{
    if (!isRunning()) {
        return;
    }
    QDBusMessage message =
        QDBusMessage::createSignal(m_description.objectPath, m_description.interfaceName, signal.name);
    message.setArguments(applied(m_faults.value(signal.name), values));

    m_timeline.add(events::Signal{m_description.service, signal.name, {message.arguments(), signal.out}});
    QDBusConnection(m_connectionName).send(message);
}

QString SimulatedService::introspect(const QString&) const
{
    return m_description.interfaceXml;
}

bool SimulatedService::handleMessage(const QDBusMessage& message, const QDBusConnection&)
{
    if (!message.interface().isEmpty() && message.interface() != m_description.interfaceName) {
        return false; // Qt answers: introspection, peer, and the error for what does not exist
    }
    const MemberDescription* method = m_description.findMethod(message.member());
    if (method == nullptr) {
        QDBusConnection(m_connectionName)
            .send(message.createErrorReply(QDBusError::UnknownMethod, u"no method "_s + memberName(message.member())));
        return true;
    }
    events::Call call{m_description.service, method->name, {message.arguments(), method->in}, {}, {}, {}};
    if (message.signature() != method->inSignature()) {
        const QString text =
            u"found arguments \""_s + message.signature() + u"\", expected \""_s + method->inSignature() + u'"';
        const QDBusMessage refusal = message.createErrorReply(QDBusError::InvalidArgs, text);
        call.outcome = events::Error{refusal.errorName(), text};
        m_timeline.add(call);
        QDBusConnection(m_connectionName).send(refusal);
        return true;
    }
    const Fault fault = m_faults.value(method->name);
    if (fault.kind == Fault::Kind::None && m_recorded.contains(method->name)) {
        answerAsRecorded(message, call);
        return true;
    }
    Device untouched = m_device;
    const Device::Answer good =
        (fault.preventsEffect() ? untouched : m_device).call(memberName(method->name), message.arguments());
    const QVariantList values = applied(fault, dbusvalues::fill(method->out, good.values));
    const bool isHeld = good.isHeld && !fault.preventsEffect();
    call.fault = fault.toString();
    if (isHeld) {
        call.id = m_timeline.nextId();
    } else {
        call.outcome = outcome(*method, values, fault);
    }
    m_timeline.add(call);
    Q_EMIT called(memberName(method->name));
    if (isHeld) {
        m_heldReplies.append({message, values, fault, method->name, call.id, m_timeline.elapsedMs()});
    } else {
        answer(message, values, fault);
    }
    return true;
}

void SimulatedService::release()
{
    const QList<HeldReply> replies = std::exchange(m_heldReplies, {});
    for (const HeldReply& reply : replies) {
        const MemberDescription* method = m_description.findMethod(reply.member);
        const double seconds = static_cast<double>(m_timeline.elapsedMs() - reply.msec) / 1000;
        m_timeline.add(events::Answer{m_description.service, reply.member, outcome(*method, reply.values, reply.fault),
                                      seconds, reply.id});
        answer(reply.call, reply.values, reply.fault);
    }
}

void SimulatedService::replay(const QString& method, const QList<Record::Reply>& replies)
{
    m_recorded.insert(method, replies);
}

void SimulatedService::answerAsRecorded(const QDBusMessage& message, events::Call& call)
{
    QList<Record::Reply>& replies = m_recorded[call.member];
    const Record::Reply recorded = replies.size() > 1 ? replies.takeFirst() : replies.constFirst();
    const auto* values = std::get_if<events::Values>(&recorded.outcome);
    if (values != nullptr && values->values.value(0) == QVariant(0)) {
        (void)m_device.call(memberName(call.member), message.arguments());
        m_device.notifications.clear(); // the record has those signals
    }
    call.outcome = recorded.outcome;
    m_timeline.add(call);
    Q_EMIT called(memberName(call.member));
    if (!message.isReplyRequired() || std::holds_alternative<std::monostate>(recorded.outcome)) {
        return;
    }
    const auto* error = std::get_if<events::Error>(&recorded.outcome);
    const QDBusMessage reply =
        error != nullptr ? message.createErrorReply(error->name, error->message) : message.createReply(values->values);
    QTimer::singleShot(recorded.delay, this, [this, reply] { QDBusConnection(m_connectionName).send(reply); });
}

events::Outcome SimulatedService::outcome(const MemberDescription& method, const QVariantList& values,
                                          const Fault& fault) const
{
    switch (fault.kind) {
    case Fault::Kind::Error:
        return events::Error{kErrorName, fault.errorText};
    case Fault::Kind::Mute:
    case Fault::Kind::Dies:
        return {};
    default:
        return events::Values{values, method.out};
    }
}

void SimulatedService::answer(const QDBusMessage& call, const QVariantList& values, const Fault& fault)
{
    if (!call.isReplyRequired() || fault.kind == Fault::Kind::Mute) {
        return;
    }
    QDBusMessage reply = call.createReply(values);
    if (fault.kind == Fault::Kind::Error) {
        reply = call.createErrorReply(kErrorName, fault.errorText);
    }
    if (fault.kind == Fault::Kind::Floods) {
        flood();
    }
    if (fault.kind == Fault::Kind::Dies) {
        // Not from within the connection's own delivery.
        QTimer::singleShot(0, this, &SimulatedService::stop);
    } else if (fault.kind == Fault::Kind::Late) {
        QTimer::singleShot(fault.delayMs, this, [this, reply] { QDBusConnection(m_connectionName).send(reply); });
    } else {
        QDBusConnection(m_connectionName).send(reply);
    }
}

void SimulatedService::flood()
{
    for (const MemberDescription& signal : m_description.signalList) {
        QDBusMessage message =
            QDBusMessage::createSignal(m_description.objectPath, m_description.interfaceName, signal.name);
        message.setArguments(dbusvalues::fill(signal.out, {}));
        for (int i = 0; i < kFloodCount; ++i) {
            QDBusConnection(m_connectionName).send(message);
        }
        m_timeline.note(memberName(signal.name) + u" sent "_s + QString::number(kFloodCount) + u" times"_s);
    }
}

QString SimulatedService::memberName(const QString& member) const
{
    return m_description.service + u'.' + member;
}
