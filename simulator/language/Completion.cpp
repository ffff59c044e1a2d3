// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Completion.h"

#include "Commands.h"
#include "Tokens.h"

#include <algorithm>

Completion completionOf(const QString& line, const Catalogue& catalogue)
{
    Completion completion;
    const auto lastBlank = std::find_if(line.rbegin(), line.rend(), [](QChar sign) { return sign.isSpace(); });
    completion.from = std::distance(lastBlank, line.rend());
    const QString partial = line.mid(completion.from);
    std::optional<LineError> error;
    const QList<Token> before = tokenize(line.left(completion.from), &error);
    if (error) {
        return completion; // within a quoted text
    }
    for (const Command& command : commands()) {
        const QStringList words = command.pattern.wordsAfter(before, catalogue);
        for (const QString& word : words) {
            const qsizetype dot = partial.contains(u'.') ? -1 : word.indexOf(u'.');
            const QString offered = word.left(dot < 0 ? word.size() : dot + 1);
            if (offered.startsWith(partial) && !completion.words.contains(offered)) {
                completion.words.append(offered);
            }
        }
    }
    return completion;
}
