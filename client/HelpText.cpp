// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "HelpText.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The text in lines of at most so many columns; those behind the first are indented.
QStringList wrapped(const QString& text, qsizetype width, const QString& indent)
{
    QStringList lines;
    QString line;
    const QStringList words = text.simplified().split(u' ');
    for (const QString& word : words) {
        if (!line.isEmpty() && line.size() + 1 + word.size() > width) {
            lines.append(line);
            line = indent + word;
        } else {
            line += (line.isEmpty() ? QString() : u" "_s) + word;
        }
    }
    lines.append(line);
    return lines;
}

/// Two columns: a word and what it means.
QStringList table(const QList<QStringList>& rows, int width)
{
    qsizetype column = 0;
    for (const QStringList& row : rows) {
        column = std::max(column, row.first().size());
    }
    QStringList lines;
    for (const QStringList& row : rows) {
        const QString indent(column + 4, u' ');
        QStringList text = wrapped(row.last(), width - indent.size(), QString());
        lines.append(u"  "_s + row.first().leftJustified(column + 2) + text.takeFirst());
        for (const QString& line : std::as_const(text)) {
            lines.append(indent + line);
        }
    }
    return lines;
}

} // namespace

namespace helptext {

QStringList overview(const QList<CommandDescription>& commands)
{
    QStringList lines = {u"Usage: zelt-power COMMAND [OPTION...] [ARGUMENT...]"_s,
                         {},
                         u"Looks at the power daemon and operates it, over the session bus."_s,
                         {},
                         u"Commands:"_s};
    QList<QStringList> rows;
    for (const CommandDescription& command : commands) {
        rows.append({command.name, command.summary});
    }
    lines += table(rows, 100);
    lines += QStringList{{}, u"zelt-power COMMAND --help explains a command; --version shows the version."_s};
    return lines;
}

QStringList command(const CommandDescription& description, int width)
{
    const int columns = std::clamp(width, 40, 100);
    QStringList lines = {u"Usage: "_s + description.usage(), {}};
    const QStringList paragraphs = description.details.split(u"\n\n"_s);
    for (const QString& paragraph : paragraphs) {
        lines += wrapped(paragraph, columns, QString());
        lines.append(QString());
    }
    QList<QStringList> rows;
    for (const PositionalDescription& positional : description.positionals) {
        rows.append({positional.name, positional.summary});
    }
    if (!rows.isEmpty()) {
        lines += table(rows, columns);
        lines.append(QString());
    }
    rows.clear();
    for (const OptionDescription& option : description.options) {
        rows.append({optionSyntax(option), option.summary});
    }
    rows.append({u"--help"_s, u"this text"_s});
    lines.append(u"Options:"_s);
    lines += table(rows, columns);
    if (!description.examples.isEmpty()) {
        lines += QStringList{{}, u"Examples:"_s};
        for (const ExampleDescription& example : description.examples) {
            lines.append(u"  zelt-power "_s + example.line);
            lines.append(u"      "_s + example.summary);
        }
    }
    rows.clear();
    for (const StatusDescription& status : description.statuses) {
        rows.append({QString::number(static_cast<int>(status.status)), status.summary});
    }
    lines += QStringList{{}, u"Exit status:"_s};
    return lines + table(rows, columns);
}

QString optionSyntax(const OptionDescription& option)
{
    QStringList names;
    for (const QString& name : option.names) {
        names.append((name.size() == 1 ? u"-"_s : u"--"_s) + name);
    }
    return names.join(u", "_s) + (option.value.isEmpty() ? QString() : u' ' + option.value);
}

} // namespace helptext
