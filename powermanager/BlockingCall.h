// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusAbstractInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QString>
#include <QVariant>

#include <tuple>

/// The out-arguments of a client's blocking call as one tuple, each value starting at its type's default. The client
/// is the only place that lists them.
template <typename Client, typename... Values>
std::tuple<Values...> makeSnapshot(QDBusReply<int> (Client::*)(Values&...))
{
    return {};
}

/// Reads the values that follow the status in a reply. A value that does not convert reads as its type's default.
/// @param values filled by a reply that has exactly as many; untouched otherwise
template <typename... Values>
void decode(const QDBusMessage& reply, Values&... values)
{
    const QVariantList arguments = reply.arguments();
    if (reply.type() == QDBusMessage::ReplyMessage && arguments.size() == 1 + qsizetype{sizeof...(Values)}) {
        qsizetype index = 0;
        // Not qdbus_cast(), as the generated clients do: it would hand an array or structure to the bus library as a
        // basic type, which aborts the process.
        ((values = qvariant_cast<Values>(arguments.at(++index))), ...);
    }
}

/// Calls a remote method that answers with a status and these values, and waits for it.
/// @param values as for decode()
/// @return the status, or the D-Bus error, which reads as 0
template <typename... Values>
QDBusReply<int> fetch(QDBusAbstractInterface& client, const QString& method, Values&... values)
{
    const QDBusMessage reply = client.call(method);
    decode(reply, values...);
    return reply;
}
