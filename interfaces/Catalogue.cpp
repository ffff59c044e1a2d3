// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Catalogue.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <optional>

Catalogue::Catalogue()
{
    const QDir folder(QStringLiteral(":/interfaces"));
    const QStringList files = folder.entryList(QDir::Files, QDir::Name);
    for (const QString& name : files) {
        QFile file(folder.filePath(name));
        QString error;
        if (!file.open(QIODevice::ReadOnly)) {
            qFatal("%s: %s", qPrintable(name), qPrintable(file.errorString()));
        }
        const std::optional<InterfaceDescription> description = InterfaceDescription::parse(file.readAll(), &error);
        if (!description) {
            qFatal("%s: %s", qPrintable(name), qPrintable(error)); // built in, so the build is broken
        }
        if (description->busName.isEmpty()) {
            m_powerDaemon = *description;
            m_powerDaemon.busName = QStringLiteral("com.quillmark.zelt.powermanager");
            m_powerDaemon.service = QStringLiteral("powermanager");
        } else {
            m_services.append(*description);
        }
    }
    std::sort(m_services.begin(), m_services.end(), [](const auto& a, const auto& b) { return a.service < b.service; });
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
