// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Scenario.h"

#include "Tokens.h"

#include <QStringList>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Finds the command of a line and its values. @return whether there is one; else *error says what is wrong
bool findCommand(ScenarioLine& line, const QList<Token>& tokens, const Catalogue& catalogue,
                 std::optional<LineError>* error)
{
    // Several commands may begin with the same words: the one that understands most of the line says what is wrong.
    LineError furthest{u'"' + tokens.constFirst().text + u'"', u"a command (\"help\" lists them)"_s, 0};
    for (const Command& command : commands()) {
        LineError lineError;
        if (auto values = command.pattern.match(tokens, catalogue, &lineError)) {
            *error = command.check ? command.check(*values) : std::nullopt;
            line.command = &command;
            line.values = std::move(*values);
            return !error->has_value();
        }
        if (lineError.position > furthest.position) {
            furthest = lineError;
        } else if (lineError.position == furthest.position && lineError.position > 0 &&
                   !furthest.expected.contains(lineError.expected)) {
            furthest.expected += u", or "_s + lineError.expected;
        }
    }
    *error = furthest;
    return false;
}

} // namespace

QString ScenarioLine::place() const
{
    return origin + u':' + QString::number(number) + u": \""_s + text + u'"';
}

std::optional<QList<ScenarioLine>> parseScenario(const QString& text, const QString& origin, int firstLine,
                                                 const Catalogue& catalogue, QString* error)
{
    QList<ScenarioLine> lines;
    int number = firstLine;
    const QStringList texts = text.split(u'\n');
    for (const QString& lineText : texts) {
        ScenarioLine line{origin, number++, lineText.trimmed(), nullptr, {}};
        std::optional<LineError> lineError;
        const QList<Token> tokens = tokenize(lineText, &lineError);
        if (!tokens.isEmpty() && findCommand(line, tokens, catalogue, &lineError)) {
            lines.append(line);
        }
        if (lineError) {
            *error = line.place() + u": "_s + lineError->toString();
            return std::nullopt;
        }
    }
    return lines;
}
