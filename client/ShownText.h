// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/// A text of a file as a message shows it: cut after 40 characters, and without control characters.
[[nodiscard]] QString shown(const QString& text);
/// The same of UTF-8.
[[nodiscard]] QString shown(const QByteArray& text);

/// "21 %", or "16 % to 40 %".
[[nodiscard]] QString rangeText(int fromPercent, int toPercent);
