// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Tokens.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

class Catalogue;

/// The form of a command, compiled from its synopsis. One element after the other, separated by single blanks:
///
///     word               this word
///     <name>             any text
///     <name:int:0:100>   a whole number of the range
///     <name:number:0:9>  a number of the range
///     <name:on|off>      one of these words
///     <name:service>     a service of the catalogue
///     <name:method>      a method of it, "service.Method"; signal, member: likewise
///     <name:operation>   a method of the power daemon
///     <name...>          all words up to the next keyword of the pattern
///     [ ... ]            may be left out as a whole
class CommandPattern
{
public:
    CommandPattern(const char* pattern); // NOLINT(google-explicit-constructor): tables of commands hold literals

    /// Matches a line. @return the values by name: bool (on|off), int, double, QString or QStringList (a rest)
    [[nodiscard]] std::optional<QVariantMap> match(const QList<Token>& tokens, const Catalogue& catalogue,
                                                   LineError* error) const;

    /// Whether the pattern begins with these words.
    [[nodiscard]] bool startsWith(const QStringList& words) const;

    /// The form for people, e.g. "charge PERCENT [over SECONDS]".
    [[nodiscard]] QString synopsis() const;

private:
    enum class Kind
    {
        Word,
        Value,
        Rest,
        OptionalBegin,
        OptionalEnd,
    };
    struct Element
    {
        Kind kind = Kind::Word;
        QString name;     ///< the word itself, or the value's name
        QStringList type; ///< of a value: its type and the type's parameters
    };

    [[nodiscard]] static Element parseElement(const QString& text);
    [[nodiscard]] qsizetype skipOptional(qsizetype at) const;
    [[nodiscard]] QString keywordAfter(qsizetype at) const;

    QList<Element> m_elements;
};
