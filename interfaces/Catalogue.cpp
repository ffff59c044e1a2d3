// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Catalogue.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace {

/// The power daemon's own interface, whose introspection text has no annotation with its bus name.
constexpr QLatin1StringView kPowerInterface("com.quillmark.zelt.powerinterface");

/// Parses a description. @return nothing if it is wrong: *error says how
std::optional<InterfaceDescription> readFile(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return std::nullopt;
    }
    std::optional<InterfaceDescription> description = InterfaceDescription::parse(file.readAll(), error);
    if (description && description->interfaceName == kPowerInterface) {
        description->busName = QStringLiteral("com.quillmark.zelt.powermanager");
        description->service = QStringLiteral("powermanager");
    }
    if (description && description->busName.isEmpty()) {
        *error =
            QStringLiteral("found no annotation com.quillmark.zelt.BusName, expected one with the service's bus name");
        return std::nullopt;
    }
    return description;
}

} // namespace

Catalogue::Catalogue(Empty) {}

Catalogue::Catalogue()
{
    QString error;
    const std::optional<Catalogue> builtIn = read(QStringLiteral(":/interfaces"), &error);
    if (!builtIn) {
        qFatal("%s", qPrintable(error));
    }
    *this = *builtIn;
}

std::optional<Catalogue> Catalogue::read(const QString& folder, QString* error)
{
    Catalogue catalogue{Empty()};
    const QDir files(folder);
    const QStringList names = files.entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        const std::optional<InterfaceDescription> description = readFile(files.filePath(name), error);
        if (!description) {
            *error = name + QLatin1StringView(": ") + *error;
            return std::nullopt;
        }
        if (description->interfaceName == kPowerInterface) {
            catalogue.m_powerDaemon = *description;
        } else {
            catalogue.m_services.append(*description);
        }
    }
    if (catalogue.m_powerDaemon.service.isEmpty()) {
        *error = folder + QLatin1StringView(": found no description of ") + kPowerInterface;
        return std::nullopt;
    }
    std::sort(catalogue.m_services.begin(), catalogue.m_services.end(),
              [](const auto& a, const auto& b) { return a.service < b.service; });
    return catalogue;
}

const QList<InterfaceDescription>& Catalogue::services() const
{
    return m_services;
}

const InterfaceDescription& Catalogue::powerDaemon() const
{
    return m_powerDaemon;
}

const InterfaceDescription* Catalogue::findService(const QString& service) const
{
    const auto found = std::find_if(m_services.begin(), m_services.end(),
                                    [&service](const auto& candidate) { return candidate.service == service; });
    return found == m_services.end() ? nullptr : &*found;
}

const MemberDescription* Catalogue::findSignal(const QString& name) const
{
    return findService(name.section(u'.', 0, 0))->findSignal(name.section(u'.', 1));
}

QStringList Catalogue::serviceNames() const
{
    QStringList names;
    for (const InterfaceDescription& description : m_services) {
        names.append(description.service);
    }
    return names;
}
