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

/// Signals with more arguments than this are shown by what changed since the last one.
constexpr int kMaxShownArguments = 8;

/// How often a flooding service sends each of its signals.
constexpr int kFloodCount = 2000;

/// The values as the fault leaves them.
QVariantList spoil(QVariantList values, const Fault& fault)
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

/// The answer as the timeline shows it.
QString shownAnswer(const QVariantList& values, const Fault& fault)
{
    switch (fault.kind) {
    case Fault::Kind::Error:
        return u"error "_s + fault.errorText;
    case Fault::Kind::Mute:
    case Fault::Kind::Dies:
        return u"no answer"_s;
    default:
        return dbusvalues::toTexts(values.mid(0, kMaxShownArguments)).join(u", "_s);
    }
}

} // namespace

bool Fault::preventsEffect() const
{
    return kind == Kind::Error || kind == Kind::Mute || kind == Kind::Dies || (kind == Kind::Status && status != 0);
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
        *error = m_description.busName + u" can't be had: is another "_s + m_description.service + u" on this bus?"_s;
    } else {
        *error = u"no session bus: "_s + bus.lastError().message();
    }
    stop();
    return false;
}

void SimulatedService::stop()
{
    if (isRunning()) {
        // The bus learns of the end of a connection at its leisure; without the name, a restart can have it at once.
        QDBusConnection(m_connectionName).unregisterService(m_description.busName);
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

void SimulatedService::send(const MemberDescription& signal, const QVariantList& values)
{
    if (!isRunning()) {
        return;
    }
    QDBusMessage message =
        QDBusMessage::createSignal(m_description.objectPath, m_description.interfaceName, signal.name);
    message.setArguments(spoil(values, m_faults.value(signal.name)));

    QStringList shown = dbusvalues::toTexts(message.arguments());
    if (shown.size() > kMaxShownArguments) {
        const QVariantList last = m_lastValues.value(signal.name);
        QStringList changed;
        for (qsizetype i = 0; i < shown.size() && i < signal.out.size() && !last.isEmpty(); ++i) {
            if (values.value(i) != last.value(i)) {
                changed.append(signal.out.at(i).name + u'=' + shown.at(i));
            }
        }
        changed.append(QString::number(shown.size()) + u" values"_s);
        shown = changed;
        m_lastValues.insert(signal.name, values);
    }
    m_timeline.add(Timeline::Kind::Signal, memberName(signal.name), shown);
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
    Timeline::Entry entry;
    entry.kind = Timeline::Kind::Call;
    entry.name = memberName(method->name);
    entry.arguments = dbusvalues::toTexts(message.arguments());
    if (message.signature() != method->inSignature()) {
        entry.result = u"refused: arguments "_s + message.signature() + u", expected "_s + method->inSignature();
        m_timeline.add(entry);
        QDBusConnection(m_connectionName).send(message.createErrorReply(QDBusError::InvalidArgs, entry.result));
        return true;
    }
    const Fault fault = m_faults.value(method->name);
    Device untouched = m_device;
    const Device::Answer good = (fault.preventsEffect() ? untouched : m_device).call(entry.name, message.arguments());
    const QVariantList values = spoil(dbusvalues::fill(method->out, good.values), fault);
    const bool isHeld = good.isHeld && !fault.preventsEffect();
    entry.result = isHeld ? u"..."_s : shownAnswer(values, fault);
    m_timeline.add(entry);
    Q_EMIT called(entry.name);
    if (isHeld) {
        m_heldReplies.append({message, values, fault});
    } else {
        answer(message, values, fault);
    }
    return true;
}

void SimulatedService::release()
{
    const QList<HeldReply> replies = std::exchange(m_heldReplies, {});
    for (const HeldReply& reply : replies) {
        answer(reply.call, reply.values, reply.fault);
    }
}

void SimulatedService::answer(const QDBusMessage& call, const QVariantList& values, const Fault& fault)
{
    if (!call.isReplyRequired() || fault.kind == Fault::Kind::Mute) {
        return;
    }
    QDBusMessage reply = call.createReply(values);
    if (fault.kind == Fault::Kind::Error) {
        reply = call.createErrorReply(u"com.quillmark.zelt.Error.Failed"_s, fault.errorText);
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
