// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

class QByteArray;

/// An INI file's text with its binary values, "@Variant(...)" and "@DateTime(...)", turned into plain text. Qt's reader
/// decodes these forms in any key, even a foreign one, and trusts their content: one that nests too deep for the stack,
/// or has a false length, ends the process. Single numbers and texts are kept, because they are safe, and so is the
/// rest of the file, except that names may be spelled differently.
[[nodiscard]] QByteArray withoutBinaryValues(const QByteArray& iniText);
