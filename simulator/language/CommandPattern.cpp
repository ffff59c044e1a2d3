// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandPattern.h"

using namespace Qt::Literals::StringLiterals;

void CommandPattern::addWord(const QString& word)
{
    m_elements.append({Kind::Word, word, word, {}, {}});
}

void CommandPattern::addValue(const QString& name, const QString& shown, const Parser& parser,
                              const Candidates& candidates)
{
    m_elements.append({Kind::Value, name, shown, parser, candidates});
}

void CommandPattern::addRest(const QString& name)
{
    m_elements.append({Kind::Rest, name, u'[' + name + u"...]"_s, {}, {}});
}

void CommandPattern::beginOptional()
{
    m_elements.append({Kind::OptionalBegin, {}, u"["_s, {}, {}});
}

void CommandPattern::endOptional()
{
    m_elements.append({Kind::OptionalEnd, {}, u"]"_s, {}, {}});
}

QString CommandPattern::wordAfter(qsizetype at) const
{
    for (++at; at < m_elements.size(); ++at) {
        if (m_elements.at(at).kind == Kind::Word) {
            return m_elements.at(at).name;
        }
    }
    return {};
}

std::optional<CommandValues> CommandPattern::match(const QList<Token>& tokens, const Catalogue& catalogue,
                                                   LineError* error) const
{
    CommandValues values;
    bool isLeftOut = false; // the optional part under way
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
        if (element.kind == Kind::OptionalEnd) {
            isLeftOut = false;
        } else if (isLeftOut) {
            if (element.kind != Kind::Word) {
                values.emplace_back();
            }
        } else if (element.kind == Kind::OptionalBegin) {
            const Element& first = m_elements.at(i + 1);
            isLeftOut = first.kind == Kind::Word ? !isWord(first.name) : next == tokens.size();
        } else if (element.kind == Kind::Word) {
            if (!isWord(element.name)) {
                return fail(u'"' + element.name + u'"');
            }
            ++next;
        } else if (element.kind == Kind::Rest) {
            const QString end = wordAfter(i);
            QStringList rest;
            for (; next < tokens.size() && (end.isEmpty() || !isWord(end)); ++next) {
                rest.append(tokens.at(next).text);
            }
            values.emplace_back(rest);
        } else {
            QString expected = u"a text"_s;
            const bool isThere = next < tokens.size();
            std::any value = element.parser(isThere ? tokens.at(next).text : QString(), catalogue, &expected);
            if (!isThere || !value.has_value()) {
                return fail(expected + u" for "_s + element.name);
            }
            values.push_back(std::move(value));
            ++next;
        }
    }
    if (next < tokens.size()) {
        return fail(u"the end of the line"_s);
    }
    return values;
}

QStringList CommandPattern::wordsOf(const Element& element, const Catalogue& catalogue) const
{
    if (element.kind == Kind::Word) {
        return {element.name};
    }
    return element.candidates ? element.candidates(catalogue) : QStringList();
}

QStringList CommandPattern::wordsAfter(const QList<Token>& tokens, const Catalogue& catalogue) const
{
    QStringList words;
    bool isLeftOut = false; // the optional part under way
    qsizetype next = 0;
    const auto isWord = [&tokens, &next](const QString& word) {
        return next < tokens.size() && !tokens.at(next).isQuoted && tokens.at(next).text == word;
    };
    for (qsizetype i = 0; i < m_elements.size(); ++i) {
        const Element& element = m_elements.at(i);
        const bool isAtEnd = next == tokens.size();
        if (element.kind == Kind::OptionalEnd) {
            isLeftOut = false;
        } else if (isLeftOut) {
            continue;
        } else if (element.kind == Kind::OptionalBegin) {
            const Element& first = m_elements.at(i + 1);
            isLeftOut = isAtEnd || (first.kind == Kind::Word && !isWord(first.name));
            words += isAtEnd ? wordsOf(first, catalogue) : QStringList();
        } else if (element.kind == Kind::Rest) {
            const QString end = wordAfter(i);
            while (next < tokens.size() && (end.isEmpty() || !isWord(end))) {
                ++next;
            }
        } else if (isAtEnd) {
            return words + wordsOf(element, catalogue);
        } else {
            QString expected;
            const bool isFitting = element.kind == Kind::Word
                                       ? isWord(element.name)
                                       : element.parser(tokens.at(next).text, catalogue, &expected).has_value();
            if (!isFitting) {
                return {};
            }
            ++next;
        }
    }
    return next == tokens.size() ? words : QStringList();
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
    bool isFirst = true; // of the line, or within brackets
    for (const Element& element : m_elements) {
        text += (isFirst || element.kind == Kind::OptionalEnd ? QString() : u" "_s) + element.shown;
        isFirst = element.kind == Kind::OptionalBegin;
    }
    return text;
}
