// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// A place in a text, as editors count: both from 1, columns in characters.
struct TextPlace
{
    qsizetype line;
    qsizetype column;
};

/// One statement of an INI file: a group's header, a key with its value, or what is neither and is ignored.
struct IniStatement
{
    enum class Kind
    {
        Group,
        Key,
        Other,
    };

    Kind kind;
    QByteArray written;   ///< the name as it is written, without blanks around it; of Other, all of it
    QString name;         ///< what Qt's reader makes of it; of a key, with its group: "Low/volume"
    QByteArray value;     ///< of a key, as it is written, without blanks around it; of a group, what follows the ']'
    qsizetype begin;      ///< where the statement begins in the text
    qsizetype valueBegin; ///< where the value begins
    bool isClosed = true; ///< of a group: whether it has its ']'
    bool isQuoteOpen = false; ///< whether a '"' has no partner, so that following lines belong to the statement
};

/// An INI file's text, divided into statements as Qt's reader divides it: quotes and a backslash join lines, ';' ends a
/// statement. It serves to find places; what a statement means is for that reader to say.
class IniText
{
public:
    /// @param content has to outlive the object
    explicit IniText(const QByteArray& content);

    [[nodiscard]] const QList<IniStatement>& statements() const;

    /// The place of a byte. Lines end with a line feed, a carriage return, or both; a byte order mark takes no column.
    [[nodiscard]] TextPlace placeOf(qsizetype offset) const;

private:
    IniStatement readStatement(qsizetype begin, qsizetype end, qsizetype equals);

    const QByteArray& m_content;
    QString m_group; ///< prefix of the keys
    QList<IniStatement> m_statements;
    QList<qsizetype> m_lineBegins;
};
