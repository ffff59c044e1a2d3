// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

/// The arguments of one command, checked against its description: no unknown option, no missing positional.
class CommandArguments
{
public:
    CommandArguments() = default;
    CommandArguments(const QStringList& positionals, const QHash<QString, QString>& options);

    [[nodiscard]] const QStringList& positionals() const;
    /// A positional by its place; empty if it was left out.
    [[nodiscard]] QString positional(qsizetype place) const;

    /// @param option the long name, e.g. "json"
    [[nodiscard]] bool isSet(const QString& option) const;
    /// The option's value; empty if it was left out.
    [[nodiscard]] QString value(const QString& option) const;

private:
    QStringList m_positionals;
    QHash<QString, QString> m_options;
};
