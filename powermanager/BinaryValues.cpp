// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BinaryValues.h"

#include <QByteArray>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>

namespace {

constexpr QByteArrayView kBinaryForms[] = {"@Variant(", "@DateTime("};

/// A character of a value as Qt's reader decodes it, and its place in the file.
struct Character
{
    char16_t value;
    qsizetype begin;
};

/// The value of a digit, in either case; negative if it is no digit of that base.
int digitValue(char character, int base)
{
    const auto lower = static_cast<char>(std::tolower(static_cast<uchar>(character)));
    return static_cast<int>(QByteArrayView("0123456789abcdef").first(base).indexOf(lower));
}

/// The character of an escape; "at" is after its backslash and is moved to its end. Nothing if Qt's reader drops the
/// escape. Only 16 bits of a number count.
std::optional<char16_t> unescaped(QByteArrayView text, qsizetype* at)
{
    if (*at == text.size()) {
        return std::nullopt;
    }
    const bool isHex = text.at(*at) == 'x';
    const int base = isHex ? 16 : 8;
    const qsizetype begin = *at + (isHex ? 1 : 0);
    qsizetype end = begin;
    char16_t value = 0;
    for (; end < text.size() && digitValue(text.at(end), base) >= 0; ++end) {
        value = static_cast<char16_t>(value * base + digitValue(text.at(end), base));
    }
    if (end > begin) {
        *at = end;
        return value;
    }
    constexpr QByteArrayView kLetters("abfnrtv\"?'\\");
    const qsizetype letter = kLetters.indexOf(text.at((*at)++));
    return letter < 0 ? std::nullopt : std::optional(u"\a\b\f\n\r\t\v\"?'\\"[letter]);
}

/// The next character of a value; "at" is moved behind it. Skips what the reader may drop: blanks, quotes, parts of
/// longer characters, empty escapes.
std::optional<Character> nextCharacter(QByteArrayView text, qsizetype* at)
{
    while (*at < text.size()) {
        const qsizetype begin = (*at)++;
        const auto byte = static_cast<uchar>(text.at(begin));
        if (byte == '\\') {
            if (const std::optional<char16_t> value = unescaped(text, at)) {
                return Character{*value, begin};
            }
        } else if (byte > ' ' && byte < 0x80 && byte != '"') {
            return Character{byte, begin};
        }
    }
    return std::nullopt;
}

/// Whether the data of a binary value are a single number or text, according to the type in their first four bytes.
bool isNumberOrText(QByteArrayView data)
{
    uint type = 0;
    qsizetype at = 0;
    for (int i = 0; i < 4; ++i) {
        const qsizetype expected = at;
        const std::optional<Character> byte = nextCharacter(data, &at);
        if (!byte || byte->begin != expected || byte->value > 0xff) {
            return false;
        }
        type = type << 8 | byte->value;
    }
    // Type numbers of Qt's streams: up to 6 Boolean, integers and floating point; then a character, a text, a byte
    // array; then the other widths of numbers.
    return (type >= 1 && type <= 7) || type == 10 || type == 12 || (type >= 129 && type <= 135);
}

} // namespace

QByteArray withoutBinaryValues(const QByteArray& iniText)
{
    if (!iniText.contains('@') && !iniText.contains('\\')) {
        return iniText; // the usual case
    }
    // A value, or an element of a list, begins after each '=' and ','. The same characters in a comment, a text or a
    // name are treated alike: a change there does no harm.
    QByteArray result;
    QByteArray beginning; // of the value, as far as it may be a binary form
    bool isOpen = false;
    qsizetype valueBegin = 0;
    qsizetype copied = 0;
    qsizetype at = 0;
    while (const std::optional<Character> character = nextCharacter(iniText, &at)) {
        const char written = iniText.at(character->begin);
        if (written == '=' || written == ',') {
            beginning.truncate(0);
            isOpen = true;
            continue;
        }
        if (!isOpen) {
            continue;
        }
        if (beginning.isEmpty()) {
            valueBegin = character->begin;
        }
        beginning += character->value < 0x80 ? static_cast<char>(character->value) : '\0';
        isOpen = std::any_of(std::begin(kBinaryForms), std::end(kBinaryForms),
                             [&beginning](QByteArrayView form) { return form.startsWith(beginning); });
        if (isOpen && beginning.endsWith('(') && !isNumberOrText(QByteArrayView(iniText).sliced(at))) {
            // The spelling of '@' in names, where a backslash means '/'. It turns a value into text.
            result += QByteArrayView(iniText).sliced(copied, valueBegin - copied);
            result += iniText.at(valueBegin) == '@' ? "%40" : "%2F";
            copied = valueBegin + 1;
        }
    }
    return result += QByteArrayView(iniText).sliced(copied);
}
