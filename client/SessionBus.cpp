// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SessionBus.h"

#include "Terminal.h"

#include <QDBusError>
#include <QDBusPendingReply>
#include <QFileInfo>
#include <QThread>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char kConnectionName[] = "zelt-power";

/// How long the bus itself may take for anything.
constexpr int kBusLimitMs = 1000;
constexpr int kOpenLimitMs = 2000;

constexpr QLatin1StringView kBus("org.freedesktop.DBus");

/// Statuses of the power daemon, and what each of them means.
struct StatusMeaning
{
    int status;
    const char* meaning;
};

constexpr StatusMeaning kStatusMeanings[] = {
    {-50, "the frequency service did not accept the restart; the peripherals stay switched off"},
    {-51, "the frequency service did not accept the power-off"},
    {-52, "the frequency service did not accept it"},
    {-53, "the CPU frequency can't be read"},
    {-54, "a peripheral could not be switched"},
};

} // namespace

int Answer::status() const
{
    return values.isEmpty() ? 0 : values.constFirst().toInt();
}

bool Answer::isDone() const
{
    return outcome == Outcome::Answered && status() == 0;
}

QString Answer::problem() const
{
    switch (outcome) {
    case Outcome::Absent:
        return u"missing"_s;
    case Outcome::NoAnswer:
        return u"no answer"_s;
    case Outcome::BusGone:
        return u"the session bus went away"_s;
    case Outcome::Failed:
        return error;
    case Outcome::Answered:
        break;
    }
    if (status() == 0) {
        return {};
    }
    for (const StatusMeaning& candidate : kStatusMeanings) {
        if (candidate.status == status()) {
            return u"status %1: %2"_s.arg(status()).arg(QLatin1StringView(candidate.meaning));
        }
    }
    return u"status %1"_s.arg(status());
}

PendingAnswer::PendingAnswer(const QDBusPendingCall& call, const MemberDescription& method)
    : m_call(call), m_method(&method)
{
}

Answer PendingAnswer::wait()
{
    m_call.waitForFinished();
    return read(m_call.reply(), *m_method);
}

const QDBusPendingCall& PendingAnswer::call() const
{
    return m_call;
}

Answer PendingAnswer::read(const QDBusMessage& reply, const MemberDescription& method)
{
    Answer answer;
    if (reply.type() != QDBusMessage::ReplyMessage) {
        const QDBusError error(reply);
        answer.error = printable(error.name() + u": "_s + error.message());
        switch (error.type()) {
        case QDBusError::ServiceUnknown:
            answer.outcome = Answer::Outcome::Absent;
            break;
        case QDBusError::NoReply:
        case QDBusError::TimedOut:
        case QDBusError::Timeout:
            answer.outcome = Answer::Outcome::NoAnswer;
            break;
        case QDBusError::Disconnected:
            answer.outcome = Answer::Outcome::BusGone;
            break;
        default:
            answer.outcome = error.name() == u"org.freedesktop.DBus.Error.NameHasNoOwner" ? Answer::Outcome::Absent
                                                                                          : Answer::Outcome::Failed;
        }
        return answer;
    }
    QString expected;
    for (const ArgumentDescription& argument : method.out) {
        expected += argument.type;
    }
    if (reply.signature() != expected) {
        answer.outcome = Answer::Outcome::Failed;
        answer.error = u"found an answer of types \"%1\"; expected \"%2\""_s.arg(reply.signature(), expected);
        return answer;
    }
    answer.outcome = Answer::Outcome::Answered;
    answer.values = reply.arguments();
    return answer;
}

SessionBus::SessionBus() = default;

SessionBus::~SessionBus()
{
    m_connection.reset();
    if (!m_isHanging) {
        QDBusConnection::disconnectFromBus(QLatin1StringView(kConnectionName));
    }
}

bool SessionBus::open(QString* fault)
{
    const QString where = address();
    if (where.isEmpty()) {
        *fault =
            u"there is no session bus: DBUS_SESSION_BUS_ADDRESS is not set, and the user's runtime folder has none"_s;
        return false;
    }
    // A bus that hangs would hold its caller for 25 s.
    std::unique_ptr<QThread> thread(
        QThread::create([&where] { (void)QDBusConnection::connectToBus(where, QLatin1StringView(kConnectionName)); }));
    thread->start();
    if (!thread->wait(kOpenLimitMs)) {
        (void)thread.release(); // still at it; the program is about to end
        m_isHanging = true;
        *fault = u"no answer from the session bus at %1"_s.arg(where);
        return false;
    }
    m_connection = std::make_unique<QDBusConnection>(QLatin1StringView(kConnectionName));
    if (!m_connection->isConnected()) {
        *fault = u"can't connect to the session bus at %1: %2"_s.arg(where, m_connection->lastError().message());
        return false;
    }
    return true;
}

QString SessionBus::address()
{
    // Not left to the bus library, which may start a bus of its own.
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty()) {
        return address.startsWith(u"autolaunch:") ? QString() : address;
    }
    const QString socket = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s;
    return QFileInfo::exists(socket) ? u"unix:path="_s + socket : QString();
}

QDBusConnection& SessionBus::connection()
{
    return *m_connection;
}

const Catalogue& SessionBus::catalogue() const
{
    return m_catalogue;
}

PendingAnswer SessionBus::call(const QString& service, const QString& member, const QVariantList& arguments,
                               std::chrono::milliseconds limit)
{
    const InterfaceDescription& description = describe(service);
    const MemberDescription* method = description.findMethod(member);
    Q_ASSERT(method != nullptr);
    QDBusMessage message =
        QDBusMessage::createMethodCall(description.busName, description.objectPath, description.interfaceName, member);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return {m_connection->asyncCall(message, static_cast<int>(limit.count())), *method};
}

const InterfaceDescription& SessionBus::describe(const QString& service) const
{
    const InterfaceDescription& daemon = m_catalogue.powerDaemon();
    return service == daemon.service ? daemon : *m_catalogue.findService(service);
}

bool SessionBus::findOwners(QHash<QString, QString>* serviceByOwner)
{
    QDBusPendingCall names = askBus(u"ListNames"_s, {});
    names.waitForFinished();
    if (names.isError()) {
        return false;
    }
    QList<std::pair<QString, QDBusPendingCall>> calls;
    for (const QString& service : presentServices(names.reply())) {
        calls.append({service, askBus(u"GetNameOwner"_s, {describe(service).busName})});
    }
    for (auto& [service, call] : calls) {
        call.waitForFinished();
        if (!call.isError()) {
            serviceByOwner->insert(call.reply().arguments().value(0).toString(), service);
        }
    }
    return true;
}

qint64 SessionBus::processOf(const QString& busName)
{
    QDBusPendingCall call = askBus(u"GetConnectionUnixProcessID"_s, {busName});
    call.waitForFinished();
    return call.isError() ? 0 : call.reply().arguments().value(0).toLongLong();
}

QDBusPendingCall SessionBus::askBus(const QString& member, const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(kBus, u"/org/freedesktop/DBus"_s, kBus, member);
    message.setArguments(arguments);
    return m_connection->asyncCall(message, kBusLimitMs);
}

QStringList SessionBus::presentServices(const QDBusMessage& names) const
{
    const QStringList present = names.arguments().value(0).toStringList();
    QStringList services;
    for (const QString& service : QStringList{m_catalogue.powerDaemon().service} + m_catalogue.serviceNames()) {
        if (present.contains(describe(service).busName)) {
            services.append(service);
        }
    }
    return services;
}
