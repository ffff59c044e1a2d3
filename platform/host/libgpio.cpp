// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "libgpio.h"

#include <QByteArray>
#include <QStringBuilder>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The kernel's GPIO class: a folder gpioN for each exported line, with its level as the text "0" or "1" in the file
// "value". ZELT_GPIO_ROOT is the folder of the class, fixed at build time.

namespace {

/// An open file of the GPIO class. Non-blocking: anything else in the file's place (a pipe, say) must not block us.
class GpioFile
{
public:
    GpioFile(const QByteArray& path, int flags) : m_fd(::open(path.constData(), flags | O_CLOEXEC | O_NONBLOCK))
    {
        m_error = m_fd < 0 ? -errno : 0;
    }
    ~GpioFile()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    GpioFile(const GpioFile&) = delete;
    GpioFile& operator=(const GpioFile&) = delete;

    /// Writes a text at the start of the file; 0 or a negative errno.
    [[nodiscard]] int write(QByteArrayView text) const
    {
        if (m_error != 0) {
            return m_error;
        }
        const ssize_t written = ::write(m_fd, text.data(), static_cast<std::size_t>(text.size()));
        if (written < 0) {
            return -errno;
        }
        return written == text.size() ? 0 : -EIO;
    }

    /// Reads a whole number at the start of the file; 0 or a negative errno.
    [[nodiscard]] int read(int* number) const
    {
        if (m_error != 0) {
            return m_error;
        }
        std::array<char, 16> text = {};
        const ssize_t length = ::read(m_fd, text.data(), text.size());
        if (length < 0) {
            return -errno;
        }
        int value = 0;
        const char* const end = text.data() + length;
        const auto [rest, status] = std::from_chars(text.data(), end, value);
        if (status != std::errc() || (rest != end && *rest != '\n')) {
            return -EINVAL;
        }
        *number = value;
        return 0;
    }

private:
    int m_fd;
    int m_error;
};

QByteArray lineFile(int line, const char* name)
{
    return QByteArrayLiteral(ZELT_GPIO_ROOT "/gpio") + QByteArray::number(line) + '/' + name;
}

/// Exports a line that the kernel does not show yet; returns whether that was needed. A failure shows in the access
/// that follows, whose error concerns the line itself.
bool exportIfMissing(int line)
{
    struct stat info = {};
    if (::stat(lineFile(line, "").constData(), &info) == 0) {
        return false;
    }
    return GpioFile(ZELT_GPIO_ROOT "/export", O_WRONLY).write(QByteArray::number(line)) == 0;
}

} // namespace

int LIBGPIO_set_enabled(int line, int on)
{
    if (line < 0) {
        return -EINVAL;
    }
    if (exportIfMissing(line)) {
        // A line starts as an input; one without a direction file needs none set.
        (void)GpioFile(lineFile(line, "direction"), O_WRONLY).write("out");
    }
    return GpioFile(lineFile(line, "value"), O_WRONLY).write(on != 0 ? "1" : "0");
}

int LIBGPIO_get_enabled(int line, int* value)
{
    if (line < 0 || value == nullptr) {
        return -EINVAL;
    }
    exportIfMissing(line);
    return GpioFile(lineFile(line, "value"), O_RDONLY).read(value);
}
