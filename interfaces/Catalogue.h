// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"

#include <QStringList>

#include <optional>

/// The interfaces of all services that the power daemon uses, and its own.
class Catalogue
{
public:
    /// Parses the descriptions built into the program. If one is wrong, the program ends here and says which.
    Catalogue();

    /// Parses the descriptions in a folder.
    /// @return nothing if one is wrong: *error names the file, what was found and what was expected
    [[nodiscard]] static std::optional<Catalogue> read(const QString& folder, QString* error);

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
    struct Empty
    {
    };
    explicit Catalogue(Empty);

    QList<InterfaceDescription> m_services;
    InterfaceDescription m_powerDaemon;
};
