// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Program.h"

#include "HelpText.h"
#include "NearestWord.h"
#include "Terminal.h"

#include <QCommandLineParser>

using namespace Qt::Literals::StringLiterals;

namespace {

bool isHelp(const QString& word)
{
    return word == u"--help" || word == u"-h" || word == u"help";
}

/// The options as they stand on a command line.
QStringList optionWords(const CommandDescription& description)
{
    QStringList words;
    for (const OptionDescription& option : description.options) {
        words.append(u"--"_s + option.names.last());
    }
    return words << u"--help"_s;
}

/// What is wrong with the number of positionals, or with one that has to be one of a few words; empty: nothing.
QString positionalFault(const CommandDescription& description, const QStringList& words)
{
    qsizetype place = 0;
    for (const PositionalDescription& positional : description.positionals) {
        if (place >= words.size() && !positional.isOptional) {
            return u"found no %1; expected %2"_s.arg(positional.name, positional.summary);
        }
        const qsizetype last = positional.isRepeated ? words.size() : std::min(place + 1, words.size());
        for (; place < last; ++place) {
            if (!positional.choices.isEmpty() && !positional.choices.contains(words.at(place))) {
                return u"%1: found \"%2\""_s.arg(positional.name, printable(words.at(place))) +
                       didYouMean(words.at(place), positional.choices);
            }
        }
    }
    return place < words.size() ? u"found \"%1\"; expected nothing more"_s.arg(printable(words.at(place))) : QString();
}

} // namespace

Program::Program(Terminal& terminal) : m_terminal(terminal) {}

ExitStatus Program::run(const QStringList& words)
{
    QStringList rest = words;
    const QString first = words.value(0);
    if (first == u"--version") {
        m_terminal.print(u"zelt-power "_s + QLatin1StringView(PROJECT_VERSION));
        return ExitStatus::Done;
    }
    bool asksForHelp = isHelp(first);
    if (asksForHelp) {
        rest.removeFirst();
    }
    if (rest.isEmpty()) {
        const QStringList lines = helptext::overview(m_table.descriptions());
        if (!asksForHelp) {
            m_terminal.complain(u"found no command; expected one of these\n\n"_s + lines.join(u'\n'));
            return ExitStatus::WrongUse;
        }
        m_terminal.print(lines.join(u'\n'));
        return ExitStatus::Done;
    }
    Subcommand* command = takeCommand(rest);
    if (command == nullptr) {
        return ExitStatus::WrongUse;
    }
    if (asksForHelp) {
        m_terminal.print(helptext::command(command->describe(), m_terminal.width()).join(u'\n'));
        return ExitStatus::Done;
    }
    return runCommand(*command, rest);
}

Subcommand* Program::takeCommand(QStringList& words)
{
    const QString first = words.takeFirst();
    QStringList firstWords;
    QStringList secondWords;
    for (const auto& command : m_table.commands()) {
        const CommandDescription description = command->describe();
        const QString second = description.name.section(u' ', 1);
        if (description.name.section(u' ', 0, 0) == first) {
            if (second.isEmpty() || second == words.value(0)) {
                words = words.mid(second.isEmpty() ? 0 : 1);
                return command.get();
            }
            secondWords.append(second);
        }
        if (!description.isHidden && !firstWords.contains(description.name.section(u' ', 0, 0))) {
            firstWords.append(description.name.section(u' ', 0, 0));
        }
    }
    if (!secondWords.isEmpty()) {
        const QString found = words.value(0);
        m_terminal.complain(
            found.isEmpty()
                ? u"found only \"%1\"; expected one of these behind it: %2"_s.arg(first, secondWords.join(u", "_s))
                : u"unknown command \"%1 %2\""_s.arg(first, printable(found)) + didYouMean(found, secondWords));
        return nullptr;
    }
    m_terminal.complain(
        (first.startsWith(u'-') ? u"unknown option \"%1\""_s : u"unknown command \"%1\""_s).arg(printable(first)) +
        didYouMean(first, firstWords + QStringList{u"--help"_s, u"--version"_s}));
    return nullptr;
}

ExitStatus Program::runCommand(Subcommand& command, const QStringList& words)
{
    const CommandDescription description = command.describe();
    QCommandLineParser parser;
    parser.addOption({{u"h"_s, u"help"_s}, QString()});
    for (const OptionDescription& option : description.options) {
        parser.addOption({option.names, option.summary, option.value});
    }
    const auto refuse = [this, &description](const QString& reason) {
        m_terminal.complain(u"%1: %2\nTry: zelt-power %1 --help"_s.arg(description.name, reason));
        return ExitStatus::WrongUse;
    };
    const bool isParsed = parser.parse(QStringList{u"zelt-power"_s} + words);
    if (isParsed && parser.isSet(u"help"_s)) {
        m_terminal.print(helptext::command(description, m_terminal.width()).join(u'\n'));
        return ExitStatus::Done;
    }
    if (!parser.unknownOptionNames().isEmpty()) {
        const QString name = parser.unknownOptionNames().constFirst();
        const QString word = (name.size() == 1 ? u"-"_s : u"--"_s) + name;
        return refuse(u"unknown option \"%1\""_s.arg(printable(word)) + didYouMean(word, optionWords(description)));
    }
    if (!isParsed) {
        return refuse(printable(parser.errorText()));
    }
    const QString fault = positionalFault(description, parser.positionalArguments());
    if (!fault.isEmpty()) {
        return refuse(fault);
    }
    QHash<QString, QString> options;
    for (const OptionDescription& option : description.options) {
        if (parser.isSet(option.names.last())) {
            options.insert(option.names.last(), option.value.isEmpty() ? QString() : parser.value(option.names.last()));
        }
    }
    return command.run(CommandArguments(parser.positionalArguments(), options), m_terminal);
}
