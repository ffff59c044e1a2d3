// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

class QString;

/// Whether an INI file may have a value in one of the binary forms "@Variant(...)" and "@DateTime(...)", which Qt's
/// reader takes from any key. One that nests too deep for the stack would end the process. False for a file that can't
/// be read.
[[nodiscard]] bool mayHaveBinaryValue(const QString& filePath);
