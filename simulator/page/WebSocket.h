// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "HttpServer.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QSocketNotifier>

struct wslay_event_context;

/// A WebSocket that exchanges texts. Does not block: what can't be sent at once waits for the socket. What a peer does
/// against the protocol (frames that are not masked, too long or no UTF-8) closes the connection with the status that
/// the protocol has for it.
class WebSocket : public QObject
{
    Q_OBJECT

public:
    /// @param mostBytes that a text may have
    WebSocket(UpgradedConnection connection, qsizetype mostBytes, QObject* parent = nullptr);
    ~WebSocket() override;

    /// Reads what came with the request, and from then on what comes.
    void start();

    void send(const QByteArray& text);
    /// What waits for the socket.
    [[nodiscard]] qsizetype unsentBytes() const;
    /// For how long the socket has taken nothing of what waits, or the peer has not answered the close; 0 if nothing is
    /// waited for.
    [[nodiscard]] qint64 stalledMs() const;
    /// Asks the peer to close. @param status of the protocol, e.g. 1001
    void close(quint16 status, const QByteArray& reason);
    /// Closes at once. closed() follows.
    void drop();

    /// The answer to a WebSocket's key.
    [[nodiscard]] static QByteArray acceptOf(const QByteArray& key);

Q_SIGNALS:
    void received(const QByteArray& text);
    /// The connection has ended; comes once, from the event loop.
    void closed();

private:
    Q_DISABLE_COPY_MOVE(WebSocket)

    struct Callbacks; ///< what the library calls

    void read();
    void write();
    /// Waits for the peer's end, and ignores what comes before it: closed with something unread, the connection could
    /// lose what was sent last.
    void drain();

    UpgradedConnection m_connection;
    wslay_event_context* m_context = nullptr;
    QSocketNotifier m_readable;
    QSocketNotifier m_writable;
    qsizetype m_readBudget = 0; ///< bytes that may still be read before others have their turn
    QElapsedTimer m_stalled;    ///< runs while bytes wait
    bool m_isInLibrary = false;
    bool m_isDraining = false; ///< all is said; see drain()
    bool m_isClosed = false;
};
