// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LogInterface.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

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

/// Appends a text with its control characters escaped, so that no text from outside can start a line of its own.
void appendEscaped(std::string& line, const char* text)
{
    for (const char* at = text; *at != '\0'; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        if (byte == '\n') {
            line += "\\n";
        } else if (byte == '\t') {
            line += "\\t";
        } else if (byte == '\r') {
            line += "\\r";
        } else if (byte < 0x20 || byte == 0x7f) {
            std::array<char, 5> escape = {};
            (void)std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned int>(byte));
            line += escape.data();
        } else {
            line += *at;
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
    std::string line;
    line.reserve(std::strlen(text) + std::strlen(objectPath) + 32);
    if (d->isJournal) {
        line += '<';
        line += syslogPriority(level);
        line += '>';
    }
    std::array<char, 16> number = {};
    line.append(number.data(), std::to_chars(number.data(), number.data() + number.size(), level).ptr);
    line += ' ';
    appendEscaped(line, objectPath);
    line += ' ';
    appendEscaped(line, text);
    line += '\n';
    // One write a line: lines of several processes on one pipe or terminal never mix.
    while (::write(STDERR_FILENO, line.data(), line.size()) < 0 && errno == EINTR) {
    }
}
