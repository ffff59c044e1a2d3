// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ExitStatus.h"

#include <QList>
#include <QString>
#include <QStringList>

/// An argument that is not an option.
struct PositionalDescription
{
    QString name;    ///< as the usage shows it, e.g. "TIME"
    QString summary; ///< without a full stop
    bool isOptional = false;
    bool isRepeated = false;  ///< may be given more than once
    bool isFile = false;      ///< completed by the names of files
    QStringList choices = {}; ///< nothing else is accepted; empty: checked by the command
    QStringList hints = {};   ///< words that completions offer, though others are accepted
};

/// An option, with or without a value.
struct OptionDescription
{
    QStringList names;   ///< without dashes, the long one last, e.g. {"y", "yes"}
    QString summary;     ///< without a full stop
    QString value = {};  ///< the value's name, e.g. "FILE"; empty: takes none
    bool isFile = false; ///< the value is completed by the names of files
};

/// A line to try, and what it does.
struct ExampleDescription
{
    QString line; ///< without the program's name
    QString summary;
};

/// What an exit status means for this command.
struct StatusDescription
{
    ExitStatus status;
    QString summary;
};

/// Everything about a command that its help, the completions and the manual page say.
struct CommandDescription
{
    QString name;    ///< one word, or two for a command of a group: "zones check"
    QString summary; ///< one line without a full stop
    QString details; ///< whole sentences, paragraphs separated by an empty line
    QList<PositionalDescription> positionals;
    QList<OptionDescription> options; ///< "--help" is every command's and not in the list
    QList<ExampleDescription> examples;
    QList<StatusDescription> statuses;
    bool isHidden = false; ///< left out of the overview, the completions and the manual page

    /// "zelt-power suspend [OPTION...] TIME"
    [[nodiscard]] QString usage() const;
};
