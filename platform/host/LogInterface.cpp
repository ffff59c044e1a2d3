// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LogInterface.h"

#include <QByteArray>
#include <QVarLengthArray>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
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
        return '5'; // notice: a setting of the device was changed
    case 9:
        return '7'; // debug
    default:
        return '6';
    }
}

/// A line under construction: most never need the heap.
using Line = QVarLengthArray<char, 1024>;

void append(Line& line, const char* text)
{
    line.append(text, static_cast<qsizetype>(std::strlen(text)));
}

/// Appends a text with its control characters escaped, so that a text from outside can't forge a line.
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

/// Standard error, written without ever waiting for its reader. Not by O_NONBLOCK: that flag belongs to the open file,
/// which other programs share.
class StandardError
{
public:
    StandardError();
    ~StandardError();

    /// Writes one line or nothing. If the system accepts only a part of a line (a terminal may), the rest is written
    /// before anything else. @return whether the line was accepted
    bool write(const Line& line);

private:
    Q_DISABLE_COPY_MOVE(StandardError)

    /// One write that does not wait. @return the number of bytes accepted, negative for none
    [[nodiscard]] ssize_t writeSome(QByteArrayView bytes) const;

    int m_descriptor = STDERR_FILENO;
    bool m_isSocket = false;
    bool m_mayWait = false; ///< no open file of its own: check for room before each write
    QByteArray m_rest;      ///< of a line that was accepted in part
};

StandardError::StandardError()
{
    struct stat info = {};
    if (fstat(STDERR_FILENO, &info) != 0) {
        if (errno == EBADF) {
            // Closed. The next file that the process opens would get the number, and the log lines.
            const int null = open("/dev/null", O_WRONLY);
            if (null >= 0 && null != STDERR_FILENO) {
                dup2(null, STDERR_FILENO);
                close(null);
            }
        }
        return;
    }
    m_isSocket = S_ISSOCK(info.st_mode);
    const bool isPipeOrDevice = S_ISFIFO(info.st_mode) || S_ISCHR(info.st_mode);
    if (!m_isSocket && !isPipeOrDevice && !S_ISREG(info.st_mode)) {
        m_descriptor = -1; // something of this process that got the number of a closed descriptor
        return;
    }
    if (isPipeOrDevice) {
        // Opened anew, the same pipe or terminal has flags of its own. O_DIRECT keeps the writes to a pipe apart.
        const int kept = fcntl(STDERR_FILENO, F_GETFL) & O_DIRECT;
        const int own = open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | kept);
        m_mayWait = own < 0; // somebody else's, or no /proc
        m_descriptor = own < 0 ? STDERR_FILENO : own;
    }
}

StandardError::~StandardError()
{
    if (m_descriptor > STDERR_FILENO) {
        close(m_descriptor);
    }
}

ssize_t StandardError::writeSome(QByteArrayView bytes) const
{
    const auto size = static_cast<std::size_t>(bytes.size());
    if (m_isSocket) {
        return send(m_descriptor, bytes.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (m_mayWait) {
        pollfd room = {m_descriptor, POLLOUT, 0};
        if (poll(&room, 1, 0) != 1) {
            return -1;
        }
    }
    ssize_t written = 0;
    do {
        written = ::write(m_descriptor, bytes.data(), size);
    } while (written < 0 && errno == EINTR);
    return written;
}

bool StandardError::write(const Line& line)
{
    if (!m_rest.isEmpty()) {
        m_rest.remove(0, std::max<ssize_t>(0, writeSome(m_rest)));
        if (!m_rest.isEmpty()) {
            return false;
        }
    }
    const ssize_t written = writeSome(line);
    if (written > 0 && written < line.size()) {
        m_rest = QByteArray(line.data() + written, line.size() - written);
    }
    return written > 0;
}

/// A line in the form of the host: priority for the journal, level, object path and text.
void format(Line& line, bool isJournal, unsigned int level, const char* text, const char* objectPath)
{
    if (isJournal) {
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
}

/// The level of the line that says how many were lost.
constexpr unsigned int kWarning = 2;

} // namespace

struct LogInterface::Private
{
    std::mutex mutex; // lines may come from any thread
    StandardError standardError;
    bool isJournal = isStandardErrorTheJournal();
    unsigned long lostLines = 0; ///< since the last line written
};

LogInterface::LogInterface(const QString&) : d(std::make_unique<Private>()) {}

LogInterface::~LogInterface() = default;

void LogInterface::EmitLogString(unsigned int level, const char* text, const char* objectPath)
{
    const std::lock_guard lock(d->mutex);
    if (d->lostLines > 0) {
        std::array<char, 160> note = {};
        (void)std::snprintf(note.data(), note.size(), "[%s:%d] %s: Log lines lost: %lu", __FILE_NAME__, __LINE__,
                            __PRETTY_FUNCTION__, d->lostLines);
        Line line;
        format(line, d->isJournal, kWarning, note.data(), objectPath);
        if (d->standardError.write(line)) {
            d->lostLines = 0;
        }
    }
    // One write per line, so that lines of several processes on one pipe or terminal never mix.
    Line line;
    format(line, d->isJournal, level, text, objectPath);
    if (d->lostLines > 0 || !d->standardError.write(line)) {
        ++d->lostLines;
    }
}
