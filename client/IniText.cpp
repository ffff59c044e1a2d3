// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "IniText.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

bool isLineEnd(char character)
{
    return character == '\n' || character == '\r';
}

bool isBlank(char character)
{
    return isLineEnd(character) || character == ' ' || character == '\t';
}

/// A group's or key's name: a backslash stands for '/', %20 and %U00e9 for characters.
QString unescapedName(const QByteArray& written)
{
    const QString text = QString::fromUtf8(written);
    QString name;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const qsizetype digits = text.mid(at, 2) == u"%U" ? 4 : 2;
        const qsizetype begin = at + (digits == 4 ? 2 : 1);
        bool isNumber = false;
        const QString number = text.mid(begin, digits);
        const ushort code = text.at(at) == u'%' && number.size() == digits ? number.toUShort(&isNumber, 16) : ushort(0);
        if (isNumber) {
            name += QChar(code);
            at = begin + digits - 1;
        } else {
            name += text.at(at) == u'\\' ? QChar(u'/') : text.at(at);
        }
    }
    return name;
}

} // namespace

IniText::IniText(const QByteArray& content) : m_content(content), m_lineBegins{0}
{
    for (qsizetype at = 0; at < content.size(); ++at) {
        const bool isPair = content.at(at) == '\r' && at + 1 < content.size() && content.at(at + 1) == '\n';
        if (isLineEnd(content.at(at)) && !isPair) {
            m_lineBegins.append(at + 1);
        }
    }
    qsizetype at = content.startsWith("\xef\xbb\xbf") ? 3 : 0;
    while (true) {
        while (at < content.size() && isBlank(content.at(at))) {
            ++at;
        }
        if (at == content.size()) {
            return;
        }
        if (content.at(at) == ';') {
            while (at < content.size() && !isLineEnd(content.at(at))) {
                ++at;
            }
            continue;
        }
        const qsizetype begin = at;
        qsizetype equals = -1;
        bool isQuoted = false;
        for (; at < content.size(); ++at) {
            const char character = content.at(at);
            if (!isQuoted && (isLineEnd(character) || character == ';')) {
                break;
            }
            if (character == '"') {
                isQuoted = !isQuoted;
            } else if (character == '=' && !isQuoted && equals < 0) {
                equals = at;
            } else if (character == '\\' && at + 1 < content.size()) {
                ++at;
                const bool isPair = at + 1 < content.size() && isLineEnd(content.at(at)) &&
                                    isLineEnd(content.at(at + 1)) && content.at(at) != content.at(at + 1);
                at += isPair ? 1 : 0;
            }
        }
        IniStatement statement = readStatement(begin, std::min(at, content.size()), equals);
        statement.isQuoteOpen = isQuoted;
        m_statements.append(statement);
    }
}

IniStatement IniText::readStatement(qsizetype begin, qsizetype end, qsizetype equals)
{
    IniStatement statement;
    statement.begin = begin;
    statement.valueBegin = end;
    if (m_content.at(begin) == '[') {
        const qsizetype close = QByteArrayView(m_content).sliced(begin, end - begin).indexOf(']');
        statement.isClosed = close >= 0;
        const qsizetype nameEnd = statement.isClosed ? begin + close : end;
        statement.kind = IniStatement::Kind::Group;
        statement.written = m_content.mid(begin + 1, nameEnd - begin - 1).trimmed();
        if (statement.isClosed) {
            statement.valueBegin = nameEnd + 1;
        }
        const QByteArray lower = statement.written.toLower();
        if (lower != "general") {
            statement.name = lower == "%general" ? QString::fromLatin1(statement.written.sliced(1))
                                                 : unescapedName(statement.written);
        }
        m_group = lower == "general" ? QString() : statement.name + u'/';
    } else if (equals >= 0) {
        statement.kind = IniStatement::Kind::Key;
        statement.written = m_content.mid(begin, equals - begin).trimmed();
        statement.name = m_group + unescapedName(statement.written);
        statement.valueBegin = equals + 1;
    } else {
        statement.kind = IniStatement::Kind::Other;
        statement.written = m_content.mid(begin, end - begin).trimmed();
    }
    while (statement.valueBegin < end && isBlank(m_content.at(statement.valueBegin))) {
        ++statement.valueBegin;
    }
    statement.value = m_content.mid(statement.valueBegin, end - statement.valueBegin).trimmed();
    return statement;
}

const QList<IniStatement>& IniText::statements() const
{
    return m_statements;
}

TextPlace IniText::placeOf(qsizetype offset) const
{
    const auto next = std::upper_bound(m_lineBegins.begin(), m_lineBegins.end(), offset);
    const qsizetype mark = m_content.startsWith("\xef\xbb\xbf") ? 3 : 0;
    const qsizetype begin = std::max(*std::prev(next), std::min(mark, offset));
    const auto isCharacter = [](char byte) { return (static_cast<uchar>(byte) & 0xc0U) != 0x80U; };
    const auto columns = std::count_if(m_content.begin() + begin, m_content.begin() + offset, isCharacter);
    return {std::distance(m_lineBegins.begin(), next), static_cast<qsizetype>(columns) + 1};
}
