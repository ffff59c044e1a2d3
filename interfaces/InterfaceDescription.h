// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// One argument of a method or signal.
struct ArgumentDescription
{
    QString name; ///< may be empty
    QString type; ///< D-Bus signature, a basic type
};

/// A method (in- and out-arguments) or a signal (out-arguments only).
struct MemberDescription
{
    QString name;
    QList<ArgumentDescription> in;
    QList<ArgumentDescription> out;

    [[nodiscard]] QString inSignature() const;
};

/// One remote interface, parsed from its introspection XML.
struct InterfaceDescription
{
    QString service;       ///< short name: the last part of the bus name, e.g. "soundmanager"
    QString busName;       ///< from the annotation com.quillmark.zelt.BusName
    QString objectPath;    ///< the node's name
    QString interfaceName; ///< D-Bus interface name
    QString interfaceXml;  ///< the interface element, verbatim
    QList<MemberDescription> methodList;
    QList<MemberDescription> signalList;

    /// Null if there is none of that name.
    [[nodiscard]] const MemberDescription* findMethod(const QString& name) const;
    [[nodiscard]] const MemberDescription* findSignal(const QString& name) const;

    /// Parses a description; on failure *error says what is wrong and in which line.
    [[nodiscard]] static std::optional<InterfaceDescription> parse(const QByteArray& xml, QString* error);
};
