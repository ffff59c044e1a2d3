// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantList>

/// A message as it stands on the bus's socket. Qt's binding gives a program only what is meant for it; a monitor sees
/// everything, and reads the socket by itself.
struct WireMessage
{
    enum class Type
    {
        Call = 1,
        Reply = 2,
        Error = 3,
        Signal = 4,
    };

    enum class Result
    {
        Taken,
        Incomplete, ///< more bytes are needed
        Broken,     ///< no D-Bus message; what follows can't be read either
    };

    Type type = Type::Call;
    quint32 serial = 0;
    quint32 replySerial = 0; ///< of a reply or error: the call's serial
    QString path;
    QString interfaceName;
    QString member;
    QString errorName;
    QString destination;
    QString sender;
    QString signature;
    QVariantList values; ///< containers as lists; what can't be read is left out

    /// Takes the first message off the buffer.
    [[nodiscard]] static Result take(QByteArray& buffer, WireMessage* message);

    /// A call of the bus itself whose arguments are texts, a list of texts and a number, in the order of the signature:
    /// "s", "as", "u".
    [[nodiscard]] static QByteArray callBus(quint32 serial, const QString& interfaceName, const QString& member,
                                            const QString& signature = {}, const QVariantList& arguments = {});
};
