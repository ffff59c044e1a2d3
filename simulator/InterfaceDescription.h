// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

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

/// One remote interface, as its introspection XML describes it.
struct InterfaceDescription
{
    QString service;       ///< short name: the last part of the bus name, e.g. "soundmanager"
    QString busName;       ///< from the annotation com.quillmark.zelt.BusName
    QString objectPath;    ///< the node's name
    QString interfaceName; ///< D-Bus interface name
    QString interfaceXml;  ///< the interface element as it stands in the file
    QList<MemberDescription> methodList;
    QList<MemberDescription> signalList;

    /// Null where there is none of that name.
    [[nodiscard]] const MemberDescription* findMethod(const QString& name) const;
    [[nodiscard]] const MemberDescription* findSignal(const QString& name) const;

    /// Reads a description; on failure *error says what is wrong and in which line.
    [[nodiscard]] static std::optional<InterfaceDescription> parse(const QByteArray& xml, QString* error);
};

/// The interfaces of all daemons of the device that the power daemon knows, and its own.
class Catalogue
{
public:
    /// Reads the descriptions that are built into the program.
    Catalogue();

    /// The fourteen remote services, in alphabetical order.
    [[nodiscard]] const QList<InterfaceDescription>& services() const;
    /// The power daemon itself.
    [[nodiscard]] const InterfaceDescription& powerDaemon() const;

    /// A service by its short name; null where there is none.
    [[nodiscard]] const InterfaceDescription* findService(const QString& service) const;

    /// A signal by its full name, "service.Signal", of a service that exists; null where it has none.
    [[nodiscard]] const MemberDescription* findSignal(const QString& name) const;

    [[nodiscard]] QStringList serviceNames() const;

private:
    QList<InterfaceDescription> m_services;
    InterfaceDescription m_powerDaemon;
};
