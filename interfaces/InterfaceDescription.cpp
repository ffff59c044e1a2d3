// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "InterfaceDescription.h"

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
