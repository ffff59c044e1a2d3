// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandArguments.h"

CommandArguments::CommandArguments(const QStringList& positionals, const QHash<QString, QString>& options)
    : m_positionals(positionals), m_options(options)
{
}

const QStringList& CommandArguments::positionals() const
{
    return m_positionals;
}

QString CommandArguments::positional(qsizetype place) const
{
    return m_positionals.value(place);
}

bool CommandArguments::isSet(const QString& option) const
{
    return m_options.contains(option);
}

QString CommandArguments::value(const QString& option) const
{
    return m_options.value(option);
}
