// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Parameters.h"

using namespace Qt::Literals::StringLiterals;

namespace {

using Kind = parameters::Member::Kind;

QString memberNames(const QList<MemberDescription>& members)
{
    QStringList names;
    for (const MemberDescription& member : members) {
        names.append(member.name);
    }
    return names.isEmpty() ? u"none"_s : names.join(u", "_s);
}

/// The member of that name of a service; an empty reference if there is none.
MemberReference find(const InterfaceDescription& service, const QString& name, bool isMethod, bool isSignal)
{
    const MemberDescription* member = isMethod ? service.findMethod(name) : nullptr;
    member = member == nullptr && isSignal ? service.findSignal(name) : member;
    return {&service, member};
}

/// A member of the power daemon, with or without its service.
std::any findOfPowerDaemon(const QString& text, bool isMethod, const Catalogue& catalogue, QString* expected)
{
    const InterfaceDescription& daemon = catalogue.powerDaemon();
    *expected = isMethod ? u"a method of the power daemon ("_s + memberNames(daemon.methodList) + u')'
                         : u"a signal of the power daemon ("_s + memberNames(daemon.signalList) + u')';
    const bool isOther = text.contains(u'.') && text.section(u'.', 0, 0) != daemon.service;
    const MemberReference found = find(daemon, text.section(u'.', -1), isMethod, !isMethod);
    return isOther || found.member == nullptr ? std::any() : found;
}

std::any findMember(const QString& text, Kind kind, const Catalogue& catalogue, QString* expected)
{
    const bool isMethod = kind == Kind::Method || kind == Kind::Any;
    const bool isSignal = kind != Kind::Method;
    const QString what = isMethod && isSignal ? u"member"_s : isMethod ? u"method"_s : u"signal"_s;
    const InterfaceDescription* service = catalogue.findService(text.section(u'.', 0, 0));
    if (service == nullptr) {
        *expected = u"a "_s + what + u" such as "_s +
                    (isMethod ? u"soundmanager.GetStatus"_s : u"lightmanager.LedStatus"_s) +
                    u", with one of the services "_s + catalogue.serviceNames().join(u", "_s);
        return {};
    }
    QStringList known;
    if (isMethod) {
        known.append(u"methods: "_s + memberNames(service->methodList));
    }
    if (isSignal) {
        known.append(u"signals: "_s + memberNames(service->signalList));
    }
    *expected = u"a "_s + what + u" of "_s + service->service + u" ("_s + known.join(u"; "_s) + u')';
    const MemberReference found = find(*service, text.section(u'.', 1), isMethod, isSignal);
    return found.member == nullptr ? std::any() : found;
}

/// All members of that kind, as a line names them.
QStringList membersOf(Kind kind, const Catalogue& catalogue)
{
    QStringList names;
    const auto add = [&names](const QString& prefix, const QList<MemberDescription>& members) {
        for (const MemberDescription& member : members) {
            names.append(prefix + member.name);
        }
    };
    if (kind == Kind::Operation) {
        add({}, catalogue.powerDaemon().methodList);
        return names;
    }
    if (kind == Kind::AnySignal) {
        add({}, catalogue.powerDaemon().signalList);
    }
    for (const InterfaceDescription& service : catalogue.services()) {
        add(service.service + u'.',
            kind == Kind::Method || kind == Kind::Any ? service.methodList : QList<MemberDescription>());
        add(service.service + u'.', kind == Kind::Method ? QList<MemberDescription>() : service.signalList);
    }
    return names;
}

QString nameOf(Kind kind)
{
    switch (kind) {
    case Kind::Method:
        return u"SERVICE.METHOD"_s;
    case Kind::Signal:
        return u"SERVICE.SIGNAL"_s;
    case Kind::Any:
        return u"SERVICE.MEMBER"_s;
    case Kind::AnySignal:
        return u"[SERVICE.]SIGNAL"_s;
    case Kind::Operation:
        break;
    }
    return u"METHOD"_s;
}

} // namespace

QString MemberReference::name() const
{
    return service->service + u'.' + member->name;
}

namespace parameters {

void Whole::addTo(CommandPattern& pattern) const
{
    pattern.addValue(QString::fromLatin1(name), QString::fromLatin1(name),
                     [range = *this](const QString& text, const Catalogue&, QString* expected) {
                         bool isNumber = false;
                         const int value = text.toInt(&isNumber);
                         *expected = u"a whole number from "_s + QString::number(range.least) + u" to "_s +
                                     QString::number(range.most);
                         return isNumber && value >= range.least && value <= range.most ? std::any(value) : std::any();
                     });
}

void Number::addTo(CommandPattern& pattern) const
{
    pattern.addValue(QString::fromLatin1(name), QString::fromLatin1(name),
                     [range = *this](const QString& text, const Catalogue&, QString* expected) {
                         bool isNumber = false;
                         const double value = text.toDouble(&isNumber);
                         *expected = u"a number from "_s + QString::number(range.least) + u" to "_s +
                                     QString::number(range.most);
                         return isNumber && value >= range.least && value <= range.most ? std::any(value) : std::any();
                     });
}

void Text::addTo(CommandPattern& pattern) const
{
    pattern.addValue(
        QString::fromLatin1(name), QString::fromLatin1(name),
        [](const QString& text, const Catalogue&, QString*) { return std::any(text); },
        [words = QString::fromLatin1(usual)](const Catalogue&) { return words.split(u'|', Qt::SkipEmptyParts); });
}

void Switch::addTo(CommandPattern& pattern) const
{
    pattern.addValue(
        QString::fromLatin1(name), u"{on|off}"_s,
        [](const QString& text, const Catalogue&, QString* expected) {
            *expected = u"on or off"_s;
            return text == u"on" || text == u"off" ? std::any(text == u"on") : std::any();
        },
        [](const Catalogue&) {
            return QStringList{u"on"_s, u"off"_s};
        });
}

void Choice::addTo(CommandPattern& pattern) const
{
    pattern.addValue(
        QString::fromLatin1(name), u'{' + QString::fromLatin1(words) + u'}',
        [choices = QString::fromLatin1(words).split(u'|')](const QString& text, const Catalogue&, QString* expected) {
            *expected = choices.join(u" or "_s);
            return choices.contains(text) ? std::any(text) : std::any();
        },
        [choices = QString::fromLatin1(words).split(u'|')](const Catalogue&) { return choices; });
}

void Words::addTo(CommandPattern& pattern) const
{
    pattern.addRest(QString::fromLatin1(name));
}

void Service::addTo(CommandPattern& pattern) const
{
    pattern.addValue(
        u"SERVICE"_s, u"SERVICE"_s,
        [](const QString& text, const Catalogue& catalogue, QString* expected) {
            *expected = u"one of the services "_s + catalogue.serviceNames().join(u", "_s);
            return catalogue.findService(text) != nullptr ? std::any(text) : std::any();
        },
        [](const Catalogue& catalogue) { return catalogue.serviceNames(); });
}

void Member::addTo(CommandPattern& pattern) const
{
    pattern.addValue(
        nameOf(kind), nameOf(kind),
        [memberKind = kind](const QString& text, const Catalogue& catalogue, QString* expected) {
            const bool isOfPowerDaemon =
                memberKind == Kind::Operation ||
                (memberKind == Kind::AnySignal && catalogue.findService(text.section(u'.', 0, 0)) == nullptr);
            return isOfPowerDaemon ? findOfPowerDaemon(text, memberKind == Kind::Operation, catalogue, expected)
                                   : findMember(text, memberKind, catalogue, expected);
        },
        [memberKind = kind](const Catalogue& catalogue) { return membersOf(memberKind, catalogue); });
}

} // namespace parameters
