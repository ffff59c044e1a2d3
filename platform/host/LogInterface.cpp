// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LogInterface.h"

#include <QVarLengthArray>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Whether standard error is the journal's stream, which the service manager names as "device:inode".
bool isStandardErrorTheJournal()
{
    const QByteArray stream = qgetenv("JOURNAL_STREAM");
    struct stat info = {};
    if (stream.isEmpty() || fstat(STDERR_FILENO, &info) != 0) {
        return false;
    }
    return stream == QByteArray::number(qulonglong{info.st_dev}) + ':' + QByteArray::number(qulonglong{info.st_ino});
}

/// The syslog priority of a level.
char syslogPriority(unsigned int level)
{
    switch (level) {
    case 1:
        return '3'; // error
    case 2:
        return '4'; // warning
    case 4:
        return '6'; // informational
    case 5:
        return '5'; // notice: something on the device was changed
    case 9:
        return '7'; // debug
    default:
        return '6';
    }
}

/// A line as it grows: most never need the heap.
using Line = QVarLengthArray<char, 1024>;

void append(Line& line, const char* text)
{
    line.append(text, static_cast<qsizetype>(std::strlen(text)));
}

/// Appends a text with its control characters escaped, so that no text from outside can start a line of its own.
void appendEscaped(Line& line, const char* text)
{
    for (const char* at = text; *at != '\0'; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        if (byte == '\n') {
            append(line, "\\n");
        } else if (byte == '\t') {
            append(line, "\\t");
        } else if (byte == '\r') {
            append(line, "\\r");
        } else if (byte < 0x20 || byte == 0x7f) {
            std::array<char, 5> escape = {};
            (void)std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned int>(byte));
            append(line, escape.data());
        } else {
            line.append(*at);
        }
    }
}

} // namespace

struct LogInterface::Private
{
    bool isJournal = isStandardErrorTheJournal();
};

LogInterface::LogInterface(const QString&) : d(std::make_unique<Private>()) {}

LogInterface::~LogInterface() = default;

void LogInterface::EmitLogString(unsigned int level, const char* text, const char* objectPath)
{
    Line line;
    if (d->isJournal) {
        line.append('<');
        line.append(syslogPriority(level));
        line.append('>');
    }
    std::array<char, 16> number = {};
    const char* end = std::to_chars(number.data(), number.data() + number.size(), level).ptr;
    line.append(number.data(), end - number.data());
    line.append(' ');
    appendEscaped(line, objectPath);
    line.append(' ');
    appendEscaped(line, text);
    line.append('\n');
    // One write a line: lines of several processes on one pipe or terminal never mix.
    while (::write(STDERR_FILENO, line.data(), static_cast<std::size_t>(line.size())) < 0 && errno == EINTR) {
    }
}
