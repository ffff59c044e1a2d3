// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "NearestWord.h"

#include <QList>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Optimal string alignment: the number of letters to change, insert, leave out, or swap with the next.
qsizetype distance(const QString& from, const QString& to)
{
    QList<QList<qsizetype>> rows(from.size() + 1, QList<qsizetype>(to.size() + 1));
    for (qsizetype i = 0; i <= from.size(); ++i) {
        for (qsizetype k = 0; k <= to.size(); ++k) {
            if (i == 0 || k == 0) {
                rows[i][k] = i + k;
                continue;
            }
            const bool isSame = from.at(i - 1) == to.at(k - 1);
            rows[i][k] = std::min({rows[i - 1][k] + 1, rows[i][k - 1] + 1, rows[i - 1][k - 1] + (isSame ? 0 : 1)});
            if (i > 1 && k > 1 && from.at(i - 1) == to.at(k - 2) && from.at(i - 2) == to.at(k - 1)) {
                rows[i][k] = std::min(rows[i][k], rows[i - 2][k - 2] + 1);
            }
        }
    }
    return rows.last().last();
}

} // namespace

QString nearestWord(const QString& word, const QStringList& candidates)
{
    constexpr qsizetype kLongestWord = 40; // nobody means anything by a longer one
    if (word.size() > kLongestWord) {
        return {};
    }
    QString nearest;
    qsizetype least = std::max<qsizetype>(1, (word.size() + 1) / 3) + 1;
    for (const QString& candidate : candidates) {
        const qsizetype changes = distance(word.toLower(), candidate.toLower());
        const bool isBeginning = word.size() > 1 && candidate.startsWith(word, Qt::CaseInsensitive);
        if (changes < least || (isBeginning && nearest.isEmpty())) {
            least = std::min(changes, least);
            nearest = candidate;
        }
    }
    return nearest;
}

QString didYouMean(const QString& word, const QStringList& candidates)
{
    const QString nearest = nearestWord(word, candidates);
    return nearest.isEmpty() ? u"; expected one of "_s + candidates.join(u", "_s)
                             : u"; did you mean \"%1\"?"_s.arg(nearest);
}
