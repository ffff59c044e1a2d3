// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Tokens.h"

using namespace Qt::Literals::StringLiterals;

QString LineError::toString() const
{
    return u"found "_s + found + u", expected "_s + expected;
}

QList<Token> tokenize(const QString& line, std::optional<LineError>* error)
{
    QList<Token> tokens;
    qsizetype at = 0;
    while (at < line.size()) {
        if (line.at(at).isSpace()) {
            ++at;
            continue;
        }
        if (line.at(at) == u'#') {
            break;
        }
        Token token;
        token.isQuoted = line.at(at) == u'"';
        at += token.isQuoted ? 1 : 0;
        const auto isEnd = [&line, &token](qsizetype i) {
            return token.isQuoted ? line.at(i) == u'"' : line.at(i).isSpace();
        };
        for (; at < line.size() && !isEnd(at); ++at) {
            QChar character = line.at(at);
            if (token.isQuoted && character == u'\\' && at + 1 < line.size()) {
                character = line.at(++at);
                character = character == u'n' ? u'\n' : character == u't' ? u'\t' : character;
            }
            token.text += character;
        }
        if (token.isQuoted && at++ == line.size()) {
            *error = LineError{u"the end of the line"_s, u"a closing quotation mark"_s, tokens.size()};
            return {};
        }
        tokens.append(token);
    }
    return tokens;
}
