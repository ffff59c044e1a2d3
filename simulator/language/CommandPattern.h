// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Tokens.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <any>
#include <functional>
#include <optional>
#include <vector>

class Catalogue;

/// The values of a line that matched a pattern, in the pattern's order: the types that its parameters name; empty if
/// the line leaves one out.
using CommandValues = std::vector<std::any>;

/// The form of a command as a row of elements: words and values, of which some may be left out. Rows are put together
/// by form() in CommandForm.h, which keeps the types of the values.
class CommandPattern
{
public:
    /// Turns a word of a line into a value; *expected says what would have been one. Empty if it is none.
    using Parser = std::function<std::any(const QString& text, const Catalogue& catalogue, QString* expected)>;

    /// Words that are such a value, as far as they can be listed.
    using Candidates = std::function<QStringList(const Catalogue& catalogue)>;

    /// This word.
    void addWord(const QString& word);
    /// A value. @param shown the form for people, e.g. "PERCENT" or "{on|off}"
    /// @param candidates empty: none can be listed
    void addValue(const QString& name, const QString& shown, const Parser& parser, const Candidates& candidates = {});
    /// All words up to the pattern's next word, as a QStringList.
    void addRest(const QString& name);
    /// What is added between the two may be left out as a whole: it begins with a word, or is the pattern's end.
    void beginOptional();
    void endOptional();

    /// Matches a line. @return its values; on failure *error says what is wrong
    [[nodiscard]] std::optional<CommandValues> match(const QList<Token>& tokens, const Catalogue& catalogue,
                                                     LineError* error) const;

    /// The words that may follow a line's beginning, as far as they can be listed; none if it does not match.
    [[nodiscard]] QStringList wordsAfter(const QList<Token>& tokens, const Catalogue& catalogue) const;

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
        QString name;  ///< the word itself, or the value's name
        QString shown; ///< in the synopsis
        Parser parser; ///< of a value
        Candidates candidates;
    };

    [[nodiscard]] QString wordAfter(qsizetype at) const;
    /// The words that an element itself may be.
    [[nodiscard]] QStringList wordsOf(const Element& element, const Catalogue& catalogue) const;

    QList<Element> m_elements;
};
