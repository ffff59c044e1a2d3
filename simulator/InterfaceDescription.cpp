// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "InterfaceDescription.h"

#include <QDir>
#include <QFile>
#include <QXmlStreamReader>

#include <algorithm>

namespace {

const MemberDescription* find(const QList<MemberDescription>& members, const QString& name)
{
    const auto found =
        std::find_if(members.begin(), members.end(), [&name](const auto& member) { return member.name == name; });
    return found == members.end() ? nullptr : &*found;
}

} // namespace

QString MemberDescription::inSignature() const
{
    QString signature;
    for (const ArgumentDescription& argument : in) {
        signature += argument.type;
    }
    return signature;
}

const MemberDescription* InterfaceDescription::findMethod(const QString& name) const
{
    return find(methodList, name);
}

const MemberDescription* InterfaceDescription::findSignal(const QString& name) const
{
    return find(signalList, name);
}

std::optional<InterfaceDescription> InterfaceDescription::parse(const QByteArray& xml, QString* error)
{
    InterfaceDescription description;
    MemberDescription* member = nullptr;
    QXmlStreamReader reader(xml);
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        const QStringView element = reader.name();
        const QXmlStreamAttributes attributes = reader.attributes();
        const QString name = attributes.value(QLatin1StringView("name")).toString();
        if (element == u"node") {
            description.objectPath = name;
        } else if (element == u"interface") {
            description.interfaceName = name;
        } else if (element == u"annotation" && name == u"com.quillmark.zelt.BusName") {
            description.busName = attributes.value(QLatin1StringView("value")).toString();
            description.service = description.busName.section(u'.', -1);
        } else if (element == u"method" || element == u"signal") {
            auto& list = element == u"method" ? description.methodList : description.signalList;
            list.append({name, {}, {}});
            member = &list.last();
        } else if (element == u"arg" && member != nullptr) {
            const bool isIn = attributes.value(QLatin1StringView("direction")) == u"in";
            (isIn ? member->in : member->out).append({name, attributes.value(QLatin1StringView("type")).toString()});
        }
    }
    if (reader.hasError()) {
        *error = QStringLiteral("line %1: %2").arg(reader.lineNumber()).arg(reader.errorString());
        return std::nullopt;
    }
    if (description.interfaceName.isEmpty()) {
        *error = QStringLiteral("found no interface element; expected one");
        return std::nullopt;
    }
    const QString text = QString::fromUtf8(xml);
    const qsizetype begin = text.indexOf(u"  <interface ");
    const QLatin1StringView end("</interface>\n");
    description.interfaceXml = text.mid(begin, text.indexOf(end) + end.size() - begin);
    return description;
}

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
            qFatal("%s: %s", qPrintable(name), qPrintable(error)); // built in: a fault of the build
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
