// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusAbstractInterface>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusReply>
#include <QString>

#include <tuple>

/// The out-arguments of a client's blocking call as one tuple, each value starting at its type's default. The client
/// is the only place that lists them.
template <typename Client, typename... Values>
std::tuple<Values...> makeSnapshot(QDBusReply<int> (Client::*)(Values&...))
{
    return {};
}

/// A value of a reply as a basic type: converted where that is possible, otherwise the type's default.
template <typename T>
T basicValue(const QVariant& value)
{
    return value.userType() == qMetaTypeId<QDBusArgument>() ? T() : qvariant_cast<T>(value);
}

/// Calls a remote method that answers with a status and so many values, and waits for it. As the client's own blocking
/// form, but for a value that is an array or structure: handing that to the bus library as a basic type would abort the
/// process.
/// @param values filled by a reply that has exactly as many; untouched otherwise
/// @return the status, or the D-Bus error, which reads as 0
template <typename... Values>
QDBusReply<int> fetch(QDBusAbstractInterface& client, const QString& method, Values&... values)
{
    const QDBusMessage reply = client.call(method);
    const QVariantList arguments = reply.arguments();
    if (reply.type() == QDBusMessage::ReplyMessage && arguments.size() == 1 + qsizetype{sizeof...(Values)}) {
        qsizetype index = 0;
        ((values = basicValue<Values>(arguments.at(++index))), ...);
    }
    return reply;
}
