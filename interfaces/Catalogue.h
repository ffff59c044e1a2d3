// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"

#include <QStringList>

/// The interfaces of all services that the power daemon uses, and its own.
class Catalogue
{
public:
    /// Parses the descriptions built into the program.
    Catalogue();

    /// The fourteen remote services, in alphabetical order.
    [[nodiscard]] const QList<InterfaceDescription>& services() const;
    /// The power daemon itself.
    [[nodiscard]] const InterfaceDescription& powerDaemon() const;

    /// A service by its short name; null if there is none.
    [[nodiscard]] const InterfaceDescription* findService(const QString& service) const;

    /// A signal by its full name, "service.Signal", of a service that exists; null if it has no such signal.
    [[nodiscard]] const MemberDescription* findSignal(const QString& name) const;

    [[nodiscard]] QStringList serviceNames() const;

private:
    QList<InterfaceDescription> m_services;
    InterfaceDescription m_powerDaemon;
};
