// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BinaryValues.h"

#include <QByteArray>
#include <QFile>

#include <cctype>

namespace {

/// The value of a digit, of either case; negative for what is none of that base.
int digitValue(char character, int base)
{
    const auto lower = static_cast<char>(std::tolower(static_cast<uchar>(character)));
    return static_cast<int>(QByteArrayView("0123456789abcdef").first(base).indexOf(lower));
}

/// The next character of a value as Qt's reader takes it from a file: any may be an escape, of which 16 bits count.
/// Passes over what that reader may take out: blanks, quotes, parts of longer characters, escapes of nothing.
/// @return 0 at the end
char16_t nextCharacter(QByteArrayView text, qsizetype* at)
{
    while (*at < text.size()) {
        const auto byte = static_cast<uchar>(text.at((*at)++));
        if (byte != '\\') {
            if (byte > ' ' && byte < 0x80 && byte != '"') {
                return byte;
            }
            continue;
        }
        const bool isHex = *at < text.size() && text.at(*at) == 'x';
        const int base = isHex ? 16 : 8;
        const qsizetype begin = *at + (isHex ? 1 : 0);
        qsizetype end = begin;
        char16_t value = 0;
        for (; end < text.size(); ++end) {
            const int digit = digitValue(text.at(end), base);
            if (digit < 0) {
                break;
            }
            value = static_cast<char16_t>(value * base + digit);
        }
        if (end > begin) {
            *at = end;
            return value;
        }
        ++*at; // with the character behind the backslash
    }
    return 0;
}

bool beginsWith(QByteArrayView text, const char* word)
{
    qsizetype at = 0;
    while (*word != '\0' && nextCharacter(text, &at) == static_cast<uchar>(*word)) {
        ++word;
    }
    return *word == '\0';
}

} // namespace

bool mayHaveBinaryValue(const QString& filePath)
{
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray content = file.readAll();
    if (!content.contains('@') && !content.contains('\\')) {
        return false; // the usual file, and the cheap answer
    }
    for (qsizetype at = 0; at < content.size(); ++at) {
        if (content.at(at) == '=' || content.at(at) == ',') {
            const QByteArrayView value = QByteArrayView(content).sliced(at + 1);
            if (beginsWith(value, "@Variant(") || beginsWith(value, "@DateTime(")) {
                return true;
            }
        }
    }
    return false;
}
