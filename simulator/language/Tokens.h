// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

#include <optional>

/// A word of a line of the command language.
struct Token
{
    QString text;
    bool isQuoted = false; ///< a quoted word is never a keyword
};

/// What is wrong with a line.
struct LineError
{
    QString found;
    QString expected;
    qsizetype position = 0; ///< index of the token at fault

    /// 'found "x", expected y'
    [[nodiscard]] QString toString() const;
};

/// Splits a line into tokens at blanks. A text in double quotes is one token, with the escapes \n \t \" and \\; a "#"
/// at the start of a token begins a comment.
/// @return the tokens; on failure none, and *error says why
[[nodiscard]] QList<Token> tokenize(const QString& line, std::optional<LineError>* error);
