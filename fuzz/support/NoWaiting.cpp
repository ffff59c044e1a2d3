// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include <QDBusConnectionInterface>
#include <QFileInfo>
#include <QProcess>

// In place of Qt's functions, for the whole program: the two that would wait for another process.

/// The fuzzer's services own all names.
QDBusReply<bool> QDBusConnectionInterface::isServiceRegistered(const QString&) const
{
    return {QDBusMessage().createReply(true)};
}

/// Makes no process that would only find that its program is missing, as the device's scripts are here.
void QProcess::start(const QString& program, const QStringList& arguments, OpenMode mode)
{
    if (QFileInfo(program).isRelative() || QFileInfo::exists(program)) {
        setProgram(program);
        setArguments(arguments);
        start(mode);
    }
}
