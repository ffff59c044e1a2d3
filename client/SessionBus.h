// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Catalogue.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QHash>
#include <QString>

#include <chrono>
#include <memory>

/// An answer of a service, or why there is none.
struct Answer
{
    enum class Outcome
    {
        Answered,
        Absent,   ///< nobody owns the service's name; nothing was started by asking
        NoAnswer, ///< not in time, or the service went away before it answered
        Failed,   ///< a D-Bus error: `error` has its name and text
        BusGone,  ///< the session bus went away
    };

    Outcome outcome = Outcome::NoAnswer;
    QVariantList values; ///< of the described types, as many as described; empty unless Answered
    QString error;

    /// The first value: what the methods of the device's services answer first.
    [[nodiscard]] int status() const;
    /// Whether the answer came and its status is 0.
    [[nodiscard]] bool isDone() const;
    /// The reason in words; empty if the answer came with status 0.
    [[nodiscard]] QString problem() const;
};

/// A call whose answer may be waited for later, so that several are under way at a time.
class PendingAnswer
{
public:
    /// @param method describes the answer
    PendingAnswer(const QDBusPendingCall& call, const MemberDescription& method);

    /// Blocks until the answer or the time limit of the call.
    [[nodiscard]] Answer wait();
    [[nodiscard]] const QDBusPendingCall& call() const;
    /// The answer to a call that is finished, as it came or as it did not.
    [[nodiscard]] static Answer read(const QDBusMessage& reply, const MemberDescription& method);

private:
    QDBusPendingCall m_call;
    const MemberDescription* m_method;
};

/// The program's connection to the session bus. Asking never starts anything: neither a bus, nor the power daemon, nor
/// a service.
class SessionBus
{
public:
    SessionBus();
    ~SessionBus();
    Q_DISABLE_COPY_MOVE(SessionBus)

    /// Connects; blocks for two seconds at most. @return whether it succeeded; *fault says why not
    [[nodiscard]] bool open(QString* fault);

    /// Where the bus is, as DBUS_SESSION_BUS_ADDRESS or the user's runtime folder says; empty: nowhere.
    [[nodiscard]] static QString address();

    [[nodiscard]] QDBusConnection& connection();
    [[nodiscard]] const Catalogue& catalogue() const;

    /// Calls a method of a service of the catalogue, or of the power daemon.
    /// @param service short name
    [[nodiscard]] PendingAnswer call(const QString& service, const QString& member, const QVariantList& arguments,
                                     std::chrono::milliseconds limit);

    /// The description of a service of the catalogue, or of the power daemon; the service has to exist.
    [[nodiscard]] const InterfaceDescription& describe(const QString& service) const;

    /// Short names of the services that are there, by the unique names that own them. Blocks for a second at most.
    /// @return whether the bus answered
    [[nodiscard]] bool findOwners(QHash<QString, QString>* serviceByOwner);

    /// The process behind a name on the bus; 0 if that can't be found out. Blocks for a second at most.
    [[nodiscard]] qint64 processOf(const QString& busName);

    /// Asks the bus itself, and does not wait.
    [[nodiscard]] QDBusPendingCall askBus(const QString& member, const QVariantList& arguments);
    /// The names that are there, from the answer to "ListNames", as short names of services.
    [[nodiscard]] QStringList presentServices(const QDBusMessage& names) const;

private:
    Catalogue m_catalogue;
    std::unique_ptr<QDBusConnection> m_connection;
    bool m_isHanging = false; ///< the bus holds up the attempt to connect
};
