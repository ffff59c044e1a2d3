// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "StandardInput.h"

#include <array>
#include <cerrno>

#include <unistd.h>

StandardInput::StandardInput(QObject* parent) : QObject(parent), m_notifier(STDIN_FILENO, QSocketNotifier::Read, this)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &StandardInput::read);
}

void StandardInput::stop()
{
    m_notifier.setEnabled(false);
}

bool StandardInput::isOpen() const
{
    return m_notifier.isEnabled();
}

bool StandardInput::isTerminal()
{
    return ::isatty(STDIN_FILENO) != 0;
}

void StandardInput::read()
{
    std::array<char, 4096> buffer = {};
    const ssize_t length = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR) {
        return;
    }
    if (length > 0) {
        take(QByteArray(buffer.data(), static_cast<qsizetype>(length)));
    } else {
        take("\n"); // a last line without an end
        stop();
        Q_EMIT ended();
    }
}

void StandardInput::take(const QByteArray& bytes)
{
    m_partialLine += bytes;
    for (qsizetype end = 0; isOpen() && (end = m_partialLine.indexOf('\n')) >= 0;) {
        const QString text = QString::fromUtf8(m_partialLine.left(end));
        m_partialLine.remove(0, end + 1);
        Q_EMIT line(text, ++m_number);
    }
}
