// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ExpectedArguments.h"

#include "DBusValues.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

bool isSameValue(const QString& actual, const QString& expected)
{
    bool isActualNumber = false;
    bool isExpectedNumber = false;
    const double actualNumber = actual.toDouble(&isActualNumber);
    const double expectedNumber = expected.toDouble(&isExpectedNumber);
    return actual == expected || (isActualNumber && isExpectedNumber && actualNumber == expectedNumber);
}

bool areSameValues(const QStringList& actual, const QStringList& expected)
{
    return std::equal(actual.begin(), actual.end(), expected.begin(), expected.end(), &isSameValue);
}

} // namespace

ExpectedArguments::ExpectedArguments(const QStringList& words, const QList<ArgumentDescription>& arguments)
    : m_words(words), m_arguments(arguments)
{
    // A text may hold "=", too: then it takes a known name, or a number of words that would not do for all arguments.
    const bool mayBeValues =
        words.size() == arguments.size() &&
        std::any_of(arguments.begin(), arguments.end(), [](const auto& argument) { return argument.type == u"s"; });
    m_areNamed = std::any_of(words.begin(), words.end(), [&arguments, mayBeValues](const QString& word) {
        const QString name = word.section(u'=', 0, 0);
        const bool isKnown = std::any_of(arguments.begin(), arguments.end(),
                                         [&name](const auto& argument) { return argument.name == name; });
        return word.contains(u'=') && (isKnown || !mayBeValues);
    });
}

std::optional<LineError> ExpectedArguments::error() const
{
    if (!m_areNamed) {
        return std::nullopt;
    }
    QStringList names;
    for (const ArgumentDescription& argument : m_arguments) {
        if (!argument.name.isEmpty()) {
            names.append(argument.name);
        }
    }
    for (const QString& word : m_words) {
        if (!word.contains(u'=') || !names.contains(word.section(u'=', 0, 0))) {
            return LineError{u'"' + word + u'"', u"NAME=VALUE with one of the names "_s + names.join(u", "_s)};
        }
    }
    return std::nullopt;
}

bool ExpectedArguments::match(const events::Values& values) const
{
    if (!m_areNamed) {
        return m_words.isEmpty() || areSameValues(dbusvalues::toTexts(values.values), m_words);
    }
    return std::all_of(m_words.begin(), m_words.end(), [&values](const QString& word) {
        const std::optional<QString> actual = values.find(word.section(u'=', 0, 0));
        return actual && isSameValue(*actual, word.section(u'=', 1));
    });
}

bool ExpectedArguments::match(const events::Outcome& outcome) const
{
    const auto* values = std::get_if<events::Values>(&outcome);
    return values != nullptr ? match(*values) : m_words.isEmpty() || areSameValues(events::toTexts(outcome), m_words);
}
