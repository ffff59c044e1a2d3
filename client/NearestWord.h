// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// The candidate that was probably meant: the one with the fewest letters to change, insert, leave out or swap, if that
/// is at most a third of the word; empty if there is none.
[[nodiscard]] QString nearestWord(const QString& word, const QStringList& candidates);

/// `; did you mean "status"?`, or `; expected one of a, b, c` if no candidate is near.
[[nodiscard]] QString didYouMean(const QString& word, const QStringList& candidates);
