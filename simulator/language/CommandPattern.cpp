// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandPattern.h"

#include "Catalogue.h"

using namespace Qt::Literals::StringLiterals;

namespace {

QString memberNames(const QList<MemberDescription>& members)
{
    QStringList names;
    for (const MemberDescription& member : members) {
        names.append(member.name);
    }
    return names.isEmpty() ? u"none"_s : names.join(u", "_s);
}

/// Checks "service.Member"; returns what was expected, or an empty text where it fits.
QString expectedMember(const QString& text, const QString& type, const Catalogue& catalogue)
{
    const InterfaceDescription* service = catalogue.findService(text.section(u'.', 0, 0));
    if (service == nullptr) {
        return u"a "_s + type + u" such as soundmanager.GetStatus, with one of the services "_s +
               catalogue.serviceNames().join(u", "_s);
    }
    const QString member = text.section(u'.', 1);
    const bool isMethod = type != u"signal" && service->findMethod(member) != nullptr;
    const bool isSignal = type != u"method" && service->findSignal(member) != nullptr;
    if (isMethod || isSignal) {
        return {};
    }
    QStringList known;
    if (type != u"signal") {
        known.append(u"methods: "_s + memberNames(service->methodList));
    }
    if (type != u"method") {
        known.append(u"signals: "_s + memberNames(service->signalList));
    }
    return u"a "_s + type + u" of "_s + service->service + u" ("_s + known.join(u"; "_s) + u')';
}

/// Turns a token into a value of the type; where it does not fit, *expected says what would.
QVariant convertToken(const QString& text, const QStringList& type, const Catalogue& catalogue, QString* expected)
{
    const QString kind = type.value(0, u"text"_s);
    bool isNumber = false;
    if (kind == u"text") {
        return text;
    }
    if (kind == u"int") {
        const int value = text.toInt(&isNumber);
        *expected = u"a whole number from "_s + type.at(1) + u" to "_s + type.at(2);
        return isNumber && value >= type.at(1).toInt() && value <= type.at(2).toInt() ? value : QVariant();
    }
    if (kind == u"number") {
        const double value = text.toDouble(&isNumber);
        *expected = u"a number from "_s + type.at(1) + u" to "_s + type.at(2);
        return isNumber && value >= type.at(1).toDouble() && value <= type.at(2).toDouble() ? value : QVariant();
    }
    if (kind == u"service") {
        *expected = u"one of the services "_s + catalogue.serviceNames().join(u", "_s);
        return catalogue.findService(text) != nullptr ? text : QVariant();
    }
    if (kind == u"operation") {
        const QString operation = text.section(u'.', -1);
        *expected = u"a method of the power daemon ("_s + memberNames(catalogue.powerDaemon().methodList) + u')';
        return catalogue.powerDaemon().findMethod(operation) != nullptr ? operation : QVariant();
    }
    if (kind == u"method" || kind == u"signal" || kind == u"member") {
        *expected = expectedMember(text, kind, catalogue);
        return expected->isEmpty() ? text : QVariant();
    }
    const QStringList choices = kind.split(u'|');
    *expected = choices.join(u" or "_s);
    if (!choices.contains(text)) {
        return {};
    }
    return kind == u"on|off" ? QVariant(text == u"on") : QVariant(text);
}

} // namespace

CommandPattern::CommandPattern(const char* pattern)
{
    const QStringList parts = QString::fromLatin1(pattern).split(u' ');
    for (QString part : parts) {
        if (part.startsWith(u'[')) {
            m_elements.append({Kind::OptionalBegin, {}, {}});
            part.remove(0, 1);
        }
        const bool isGroupEnd = part.endsWith(u']');
        m_elements.append(parseElement(isGroupEnd ? part.chopped(1) : part));
        if (isGroupEnd) {
            m_elements.append({Kind::OptionalEnd, {}, {}});
        }
    }
}

CommandPattern::Element CommandPattern::parseElement(const QString& text)
{
    if (!text.startsWith(u'<')) {
        return {Kind::Word, text, {}};
    }
    const QString inner = text.mid(1, text.size() - 2);
    if (inner.endsWith(u"...")) {
        return {Kind::Rest, inner.chopped(3), {}};
    }
    return {Kind::Value, inner.section(u':', 0, 0), inner.split(u':').mid(1)};
}

qsizetype CommandPattern::skipOptional(qsizetype at) const
{
    while (m_elements.at(at).kind != Kind::OptionalEnd) {
        ++at;
    }
    return at;
}

QString CommandPattern::keywordAfter(qsizetype at) const
{
    for (++at; at < m_elements.size(); ++at) {
        if (m_elements.at(at).kind == Kind::Word) {
            return m_elements.at(at).name;
        }
    }
    return {};
}

std::optional<QVariantMap> CommandPattern::match(const QList<Token>& tokens, const Catalogue& catalogue,
                                                 LineError* error) const
{
    QVariantMap values;
    qsizetype next = 0;
    const auto isWord = [&tokens, &next](const QString& word) {
        return next < tokens.size() && !tokens.at(next).isQuoted && tokens.at(next).text == word;
    };
    const auto fail = [&tokens, &next, error](const QString& expected) {
        *error = {next < tokens.size() ? u'"' + tokens.at(next).text + u'"' : u"the end of the line"_s, expected, next};
        return std::nullopt;
    };
    for (qsizetype i = 0; i < m_elements.size(); ++i) {
        const Element& element = m_elements.at(i);
        switch (element.kind) {
        case Kind::OptionalBegin: {
            const Element& first = m_elements.at(i + 1);
            if (first.kind == Kind::Word ? !isWord(first.name) : next == tokens.size()) {
                i = skipOptional(i);
            }
            break;
        }
        case Kind::OptionalEnd:
            break;
        case Kind::Word:
            if (!isWord(element.name)) {
                return fail(u'"' + element.name + u'"');
            }
            ++next;
            break;
        case Kind::Rest: {
            const QString end = keywordAfter(i);
            QStringList rest;
            for (; next < tokens.size() && (end.isEmpty() || !isWord(end)); ++next) {
                rest.append(tokens.at(next).text);
            }
            values.insert(element.name, rest);
            break;
        }
        case Kind::Value: {
            QString expected = element.name;
            const QVariant value = next < tokens.size()
                                       ? convertToken(tokens.at(next).text, element.type, catalogue, &expected)
                                       : convertToken(QString(), element.type, catalogue, &expected);
            if (!value.isValid() || next == tokens.size()) {
                return fail(expected + u" for "_s + element.name.toUpper());
            }
            values.insert(element.name, value);
            ++next;
            break;
        }
        }
    }
    if (next < tokens.size()) {
        return fail(u"the end of the line"_s);
    }
    return values;
}

bool CommandPattern::startsWith(const QStringList& words) const
{
    for (qsizetype i = 0; i < words.size(); ++i) {
        if (i == m_elements.size() || m_elements.at(i).kind != Kind::Word || m_elements.at(i).name != words.at(i)) {
            return false;
        }
    }
    return true;
}

QString CommandPattern::synopsis() const
{
    QString text;
    bool isFirst = true;
    for (const Element& element : m_elements) {
        if (element.kind == Kind::OptionalEnd) {
            text += u']';
            continue;
        }
        if (!isFirst) {
            text += u' ';
        }
        isFirst = element.kind == Kind::OptionalBegin;
        const bool isChoice = element.type.value(0).contains(u'|');
        switch (element.kind) {
        case Kind::OptionalBegin:
            text += u'[';
            break;
        case Kind::Rest:
            text += element.name.toUpper() + u"..."_s;
            break;
        case Kind::Value:
            text += isChoice ? u'{' + element.type.value(0) + u'}' : element.name.toUpper();
            break;
        default:
            text += element.name;
        }
    }
    return text;
}
