// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "WebSocket.h"

#include <QCryptographicHash>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>
#include <wslay/wslay.h>

namespace {

/// What is read in one go.
constexpr qsizetype kReadBudget = qsizetype{256} * 1024;

/// Of what is read and not wanted.
constexpr std::size_t kIgnoredAtOnce = 65'536;

/// Small, so that a reader that has stopped is noticed.
constexpr int kSendBuffer = 256 * 1024;

/// What the protocol has a server put behind the client's key.
constexpr char kKeyEnd[] = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";

} // namespace

struct WebSocket::Callbacks
{
    static ssize_t receive(wslay_event_context* context, std::uint8_t* buffer, std::size_t size, int, void* closure)
    {
        auto& self = *static_cast<WebSocket*>(closure);
        QByteArray& before = self.m_connection.received;
        if (!before.isEmpty()) {
            const qsizetype length = std::min(before.size(), static_cast<qsizetype>(size));
            std::memcpy(buffer, before.constData(), static_cast<std::size_t>(length));
            before.remove(0, length);
            return length;
        }
        const ssize_t length = self.m_readBudget <= 0 ? -1 : ::recv(self.m_connection.descriptor, buffer, size, 0);
        if (length > 0) {
            self.m_readBudget -= length;
            return length;
        }
        const bool isLater = self.m_readBudget <= 0 || (length < 0 && (errno == EAGAIN || errno == EINTR));
        wslay_event_set_error(context, isLater ? WSLAY_ERR_WOULDBLOCK : WSLAY_ERR_CALLBACK_FAILURE);
        return -1;
    }

    static ssize_t send(wslay_event_context* context, const std::uint8_t* data, std::size_t size, int, void* closure)
    {
        auto& self = *static_cast<WebSocket*>(closure);
        const ssize_t length = ::send(self.m_connection.descriptor, data, size, MSG_NOSIGNAL);
        if (length > 0) {
            self.m_stalled.start();
            return length;
        }
        const bool isLater = errno == EAGAIN || errno == EINTR;
        wslay_event_set_error(context, isLater ? WSLAY_ERR_WOULDBLOCK : WSLAY_ERR_CALLBACK_FAILURE);
        return -1;
    }

    static void onMessage(wslay_event_context* context, const wslay_event_on_msg_recv_arg* message, void* closure)
    {
        if (message->opcode == WSLAY_TEXT_FRAME) {
            Q_EMIT static_cast<WebSocket*>(closure)->received(
                QByteArray(reinterpret_cast<const char*>(message->msg), static_cast<qsizetype>(message->msg_length)));
        } else if (message->opcode == WSLAY_BINARY_FRAME) {
            wslay_event_queue_close(context, WSLAY_CODE_UNSUPPORTED_DATA, nullptr, 0);
        }
        // The library itself answers pings and the peer's close.
    }
};

WebSocket::WebSocket(UpgradedConnection connection, qsizetype mostBytes, QObject* parent)
    : QObject(parent),
      m_connection(std::move(connection)),
      m_readable(m_connection.descriptor, QSocketNotifier::Read),
      m_writable(m_connection.descriptor, QSocketNotifier::Write)
{
    wslay_event_callbacks callbacks = {};
    callbacks.recv_callback = &Callbacks::receive;
    callbacks.send_callback = &Callbacks::send;
    callbacks.on_msg_recv_callback = &Callbacks::onMessage;
    if (wslay_event_context_server_init(&m_context, &callbacks, this) != 0) {
        qFatal("no memory for a WebSocket");
    }
    wslay_event_config_set_max_recv_msg_length(m_context, static_cast<std::uint64_t>(mostBytes));
    (void)::setsockopt(m_connection.descriptor, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
    m_writable.setEnabled(false);
    m_readable.setEnabled(false);
    connect(&m_readable, &QSocketNotifier::activated, this, &WebSocket::read);
    connect(&m_writable, &QSocketNotifier::activated, this, &WebSocket::write);
}

WebSocket::~WebSocket()
{
    drop();
    wslay_event_context_free(m_context);
}

void WebSocket::start()
{
    m_readable.setEnabled(true);
    // From the event loop, as all that comes.
    QMetaObject::invokeMethod(this, &WebSocket::read, Qt::QueuedConnection);
}

void WebSocket::send(const QByteArray& text)
{
    if (m_isClosed) {
        return;
    }
    if (unsentBytes() == 0) {
        m_stalled.start();
    }
    const wslay_event_msg message = {WSLAY_TEXT_FRAME, reinterpret_cast<const std::uint8_t*>(text.constData()),
                                     static_cast<std::size_t>(text.size())};
    (void)wslay_event_queue_msg(m_context, &message); // after a close, none is taken
    write();
}

qsizetype WebSocket::unsentBytes() const
{
    return static_cast<qsizetype>(wslay_event_get_queued_msg_length(m_context));
}

qint64 WebSocket::stalledMs() const
{
    const bool isLeaving = m_isDraining || wslay_event_get_close_sent(m_context) != 0;
    return unsentBytes() > 0 || isLeaving ? m_stalled.elapsed() : 0;
}

void WebSocket::close(quint16 status, const QByteArray& reason)
{
    if (!m_isClosed) {
        (void)wslay_event_queue_close(m_context, status, reinterpret_cast<const std::uint8_t*>(reason.constData()),
                                      static_cast<std::size_t>(reason.size()));
        write();
    }
}

void WebSocket::drop()
{
    if (!std::exchange(m_isClosed, true)) {
        m_readable.setEnabled(false);
        m_writable.setEnabled(false);
        m_connection.close();
        QMetaObject::invokeMethod(this, &WebSocket::closed, Qt::QueuedConnection);
    }
}

void WebSocket::read()
{
    if (m_isClosed) {
        return;
    }
    if (m_isDraining) {
        drain();
        return;
    }
    m_readBudget = kReadBudget;
    m_isInLibrary = true;
    const bool isRead = wslay_event_recv(m_context) == 0;
    m_isInLibrary = false;
    if (isRead) {
        write();
    } else {
        drop();
    }
}

void WebSocket::write()
{
    if (m_isClosed || m_isInLibrary) {
        return; // read() goes on
    }
    if (m_isDraining) {
        return;
    }
    if (wslay_event_send(m_context) != 0) {
        drop();
        return;
    }
    if (wslay_event_want_read(m_context) == 0 && wslay_event_want_write(m_context) == 0) {
        m_isDraining = true;
        m_writable.setEnabled(false);
        (void)::shutdown(m_connection.descriptor, SHUT_WR);
        drain();
        return;
    }
    m_readable.setEnabled(wslay_event_want_read(m_context) != 0);
    m_writable.setEnabled(wslay_event_want_write(m_context) != 0);
}

void WebSocket::drain()
{
    std::array<char, kIgnoredAtOnce> ignored = {};
    ssize_t length = 0;
    for (qsizetype left = kReadBudget; left > 0; left -= length) {
        length = ::recv(m_connection.descriptor, ignored.data(), ignored.size(), 0);
        if (length <= 0) {
            break;
        }
    }
    if (length == 0 || (length < 0 && errno != EAGAIN && errno != EINTR)) {
        drop();
    } else {
        m_readable.setEnabled(true);
    }
}

QByteArray WebSocket::acceptOf(const QByteArray& key)
{
    return QCryptographicHash::hash(QByteArray(key + kKeyEnd), QCryptographicHash::Sha1).toBase64();
}
