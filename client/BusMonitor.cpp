// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BusMonitor.h"

#include <QUrl>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// How long the bus may take for each step of the set-up.
constexpr int kLimitMs = 500;

/// The socket of the first address that is one of this machine; empty if there is none. An abstract one begins with a
/// zero byte, as the kernel has it.
QByteArray socketPath(const QString& addresses)
{
    for (const QString& address : addresses.split(u';')) {
        if (!address.startsWith(u"unix:")) {
            continue;
        }
        for (const QString& part : address.mid(5).split(u',')) {
            QByteArray value = QByteArray::fromPercentEncoding(part.section(u'=', 1).toUtf8());
            if (part.startsWith(u"path=")) {
                return value;
            }
            if (part.startsWith(u"abstract=")) {
                return QByteArray(1, '\0') + value;
            }
        }
    }
    return {};
}

} // namespace

BusMonitor::BusMonitor() = default;

BusMonitor::~BusMonitor()
{
    m_notifier.reset();
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

bool BusMonitor::start(const QString& address, const QStringList& rules, QString* fault)
{
    if (!connectTo(address, fault)) {
        return false;
    }
    const QByteArray identity = QByteArray::number(::getuid()).toHex();
    QByteArray line;
    if (!send(QByteArray(1, '\0') + "AUTH EXTERNAL " + identity + "\r\n") || !readLine(&line) ||
        !line.startsWith("OK ")) {
        *fault = u"the bus does not let this user in"_s;
        return false;
    }
    QByteArray calls = "BEGIN\r\n";
    calls += WireMessage::callBus(1, u"org.freedesktop.DBus"_s, u"Hello"_s);
    if (!send(calls) || !waitForAnswer(1, fault) ||
        !send(
            WireMessage::callBus(2, u"org.freedesktop.DBus.Monitoring"_s, u"BecomeMonitor"_s, u"asu"_s, {rules, 0U})) ||
        !waitForAnswer(2, fault)) {
        if (fault->isEmpty()) {
            *fault = u"no answer from the bus"_s;
        }
        return false;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_socket, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &BusMonitor::onReadable);
    return true;
}

bool BusMonitor::connectTo(const QString& address, QString* fault)
{
    const QByteArray path = socketPath(address);
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    if (path.isEmpty() || path.size() >= qsizetype{sizeof(name.sun_path)}) {
        *fault = u"found the address \"%1\"; expected a socket of this machine"_s.arg(address);
        return false;
    }
    std::memcpy(name.sun_path, path.constData(), static_cast<size_t>(path.size()));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<size_t>(path.size()));
    m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    // NOLINTNEXTLINE(*-reinterpret-cast): the way this function is made
    if (m_socket < 0 || ::connect(m_socket, reinterpret_cast<const sockaddr*>(&name), length) != 0) {
        *fault = QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    return true;
}

bool BusMonitor::readMore()
{
    pollfd descriptor = {m_socket, POLLIN, 0};
    if (::poll(&descriptor, 1, kLimitMs) <= 0) {
        return false;
    }
    std::array<char, 65536> bytes;
    const ssize_t size = ::read(m_socket, bytes.data(), bytes.size());
    if (size <= 0) {
        return size < 0 && (errno == EAGAIN || errno == EINTR);
    }
    m_buffer.append(bytes.data(), size);
    return true;
}

bool BusMonitor::readLine(QByteArray* line)
{
    while (!m_buffer.contains("\r\n")) {
        if (!readMore()) {
            return false;
        }
    }
    const qsizetype end = m_buffer.indexOf("\r\n");
    *line = m_buffer.left(end);
    m_buffer.remove(0, end + 2);
    return true;
}

bool BusMonitor::waitForAnswer(quint32 serial, QString* fault)
{
    while (true) {
        WireMessage message;
        const WireMessage::Result result = WireMessage::take(m_buffer, &message);
        if (result == WireMessage::Result::Broken || (result == WireMessage::Result::Incomplete && !readMore())) {
            return false;
        }
        if (result == WireMessage::Result::Taken && message.replySerial == serial) {
            *fault = message.type == WireMessage::Type::Error ? message.values.value(0).toString() : QString();
            return message.type == WireMessage::Type::Reply;
        }
    }
}

bool BusMonitor::send(const QByteArray& bytes) const
{
    return ::send(m_socket, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL) == bytes.size();
}

void BusMonitor::onReadable()
{
    std::array<char, 65536> bytes;
    const ssize_t size = ::read(m_socket, bytes.data(), bytes.size());
    if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) {
        m_notifier->setEnabled(false);
        Q_EMIT ended(u"the session bus went away"_s);
        return;
    }
    m_buffer.append(bytes.data(), std::max<ssize_t>(size, 0));
    WireMessage message;
    WireMessage::Result result = WireMessage::take(m_buffer, &message);
    while (result == WireMessage::Result::Taken) {
        Q_EMIT received(message);
        result = WireMessage::take(m_buffer, &message);
    }
    if (result == WireMessage::Result::Broken) {
        m_notifier->setEnabled(false);
        Q_EMIT ended(u"the session bus sent something that is no message"_s);
    }
}
