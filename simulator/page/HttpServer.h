// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "AccessRules.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPair>
#include <QSocketNotifier>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

struct MHD_Daemon;

/// A connection that has become a WebSocket: its socket until close() is called, once.
struct UpgradedConnection
{
    int descriptor = -1;
    QByteArray received; ///< what came behind the request
    std::function<void()> close;
};

/// What is asked for, behind the access rules.
struct HttpRequest
{
    RequestHead head;
    QByteArray webSocketKey; ///< of a request for a WebSocket; empty: it is none
    QByteArray webSocketVersion;
};

struct HttpReply
{
    /// Makes the next part of a body; empty: that was all.
    using Producer = std::function<QByteArray()>;

    int status = 200;
    QByteArray contentType;
    QByteArray body;
    Producer producer; ///< in place of body
    QList<QPair<QByteArray, QByteArray>> headers;
    /// With status 101: takes over the connection.
    std::function<void(UpgradedConnection)> upgrade;
};

/// HTTP on one port of 127.0.0.1, between the events of its thread's loop. Nothing a peer does or leaves undone blocks:
/// libmicrohttpd reads and writes when the sockets are ready, and idle connections end after a time. Over the limit of
/// connections, one that has asked for nothing for a second gives way to a new one; if there is none, the new one gets
/// status 503.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<HttpReply(const HttpRequest&)>;

    explicit HttpServer(Handler handler, QObject* parent = nullptr);
    ~HttpServer() override;

    /// @param port 0: any that is free
    /// @return whether it listens; *error says why not
    [[nodiscard]] bool listen(quint16 port, QString* error);
    [[nodiscard]] quint16 port() const;

    static constexpr int kMostConnections = 64;

private:
    Q_DISABLE_COPY_MOVE(HttpServer)

    struct Connection
    {
        QElapsedTimer since;  ///< it came, or was answered
        bool isInUse = false; ///< a request is being answered, or it is a WebSocket
    };

    struct Callbacks; ///< what the library calls

    void acceptConnections();
    [[nodiscard]] bool makeRoom();
    void run();
    void runSoon();

    Handler m_handler;
    quint16 m_port = 0;
    int m_listener = -1;
    MHD_Daemon* m_daemon = nullptr;
    std::unique_ptr<QSocketNotifier> m_newConnections;
    std::unique_ptr<QSocketNotifier> m_activity; ///< of the library's set of sockets
    QTimer m_timer;                              ///< ends idle connections; runs while there are any
    QHash<int, Connection> m_connections;        ///< by descriptor
    bool m_isRunning = false;
};
