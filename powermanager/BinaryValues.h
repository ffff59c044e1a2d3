// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

class QByteArray;

/// An INI file's text with its binary values, "@Variant(...)" and "@DateTime(...)", turned into plain text. Qt's reader
/// takes these forms from any key, foreign ones included, and trusts what they hold: one that nests too deep for the
/// stack, or tells a false length, ends the process. Kept are single numbers and texts, which it reads safely, and all
/// else, byte for byte but for other spellings of the same names.
[[nodiscard]] QByteArray withoutBinaryValues(const QByteArray& iniText);
