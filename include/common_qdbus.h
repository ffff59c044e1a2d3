// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "common_log.h"

#include <QByteArray>
#include <QDBusError>
#include <QDBusPendingReply>
#include <QString>

/// Logs how an asynchronous call ended. Never waits: a reply still in flight is reported as "finished=false" (level 2),
/// a good one with its value (level 9), anything else with its error (level 2).
/// @param objectPath object path passed on with the log line
/// @param method     name of the remote method, as shown in the line
inline void PRINT_DBUS_RESULT(const char* objectPath, const QString& method, const QDBusPendingReply<int>& reply)
{
    const QByteArray name = method.toLocal8Bit();
    if (!reply.isFinished()) {
        COMMON_LOG(LogLevel::Warning, objectPath, "Dbus %s async call: finished=false", name.constData());
        return;
    }
    const bool valid = reply.isValid();
    const bool error = reply.isError();
    if (valid && !error) {
        COMMON_LOG(LogLevel::Detail, objectPath, "Dbus %s async call: finished=true, valid=true, error=false, value=%d",
                   name.constData(), reply.value());
        return;
    }
    const QByteArray message = error ? reply.error().message().toLocal8Bit() : QByteArrayLiteral("nd");
    const QByteArray value = valid ? QByteArray::number(reply.value()) : QByteArrayLiteral("nd");
    COMMON_LOG(LogLevel::Warning, objectPath, "Dbus %s async call: finished=true, valid=%s, error=%s (%s), value=%s",
               name.constData(), valid ? "true" : "false", error ? "true" : "false", message.constData(),
               value.constData());
}
