// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "HttpServer.h"

#include <QScopeGuard>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A connection that is idle, or does not take its answer, ends after that time.
constexpr unsigned int kIdleSeconds = 10;
constexpr unsigned int kIdleMs = kIdleSeconds * 1000;

/// What a request's head may take.
constexpr std::size_t kMemoryPerConnection = std::size_t{32} * 1024;

/// How long a connection may hold its place without a request if others wait for one.
constexpr qint64 kPatienceMs = 1000;

/// A part of a body that is made piece by piece.
constexpr std::size_t kPieceSize = std::size_t{64} * 1024;

constexpr char kBusy[] = "HTTP/1.1 503 Service Unavailable\r\n"
                         "Content-Length: 0\r\nRetry-After: 1\r\nConnection: close\r\n\r\n";

const std::pair<const char*, const char*> kHeaders[] = {
    {"Content-Security-Policy", "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
                                "connect-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

/// A body that is made piece by piece.
struct Pieces
{
    HttpReply::Producer producer;
    QByteArray rest; ///< made and not sent
};

ssize_t readPieces(void* pieces, std::uint64_t, char* buffer, std::size_t size)
{
    auto& [producer, rest] = *static_cast<Pieces*>(pieces);
    if (rest.isEmpty()) {
        rest = producer();
    }
    if (rest.isEmpty()) {
        return MHD_CONTENT_READER_END_OF_STREAM;
    }
    const qsizetype length = std::min(rest.size(), static_cast<qsizetype>(size));
    std::memcpy(buffer, rest.constData(), static_cast<std::size_t>(length));
    rest.remove(0, length);
    return length;
}

void freePieces(void* pieces)
{
    delete static_cast<Pieces*>(pieces);
}

QList<QByteArray> valuesOf(MHD_Connection* connection, const char* header)
{
    struct Search
    {
        const char* header;
        QList<QByteArray> values;
    } search{header, {}};
    const auto take = [](void* closure, MHD_ValueKind, const char* key, const char* value) {
        auto& into = *static_cast<Search*>(closure);
        if (qstricmp(key, into.header) == 0) {
            into.values.append(QByteArray(value));
        }
        return MHD_YES;
    };
    MHD_get_connection_values(connection, MHD_HEADER_KIND, take, &search);
    return search.values;
}

HttpRequest requestOf(MHD_Connection* connection, const char* path, const char* method)
{
    const auto header = [connection](const char* name) { return valuesOf(connection, name).value(0); };
    HttpRequest request;
    request.head.method = method;
    request.head.path = path;
    if (const char* token = MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, "token")) {
        request.head.token = QByteArray(token);
    }
    request.head.hosts = valuesOf(connection, MHD_HTTP_HEADER_HOST);
    request.head.origins = valuesOf(connection, MHD_HTTP_HEADER_ORIGIN);
    request.head.cookies = valuesOf(connection, MHD_HTTP_HEADER_COOKIE);
    const QByteArray length = header(MHD_HTTP_HEADER_CONTENT_LENGTH);
    request.head.hasBody =
        (!length.isEmpty() && length != "0") || !valuesOf(connection, MHD_HTTP_HEADER_TRANSFER_ENCODING).isEmpty();
    if (header(MHD_HTTP_HEADER_UPGRADE).toLower() == "websocket" &&
        header(MHD_HTTP_HEADER_CONNECTION).toLower().contains("upgrade")) {
        request.webSocketKey = header(MHD_HTTP_HEADER_SEC_WEBSOCKET_KEY);
        request.webSocketVersion = header(MHD_HTTP_HEADER_SEC_WEBSOCKET_VERSION);
    }
    return request;
}

int descriptorOf(MHD_Connection* connection)
{
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

/// Listens on 127.0.0.1. @return the socket; -1 if that failed
int openListener(quint16 port)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int isReusable = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    (void)::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &isReusable, sizeof(isReusable));
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listener, SOMAXCONN) != 0) {
        const int error = errno;
        ::close(listener);
        errno = error;
        return -1;
    }
    return listener;
}

quint16 portOf(int listener)
{
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    (void)::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

} // namespace

struct HttpServer::Callbacks
{
    struct Upgrade
    {
        HttpServer* server;
        std::function<void(UpgradedConnection)> take;
    };

    static MHD_Result handleRequest(void* closure, MHD_Connection* connection, const char* url, const char* method,
                                    const char*, const char*, std::size_t*, void** state)
    {
        auto* server = static_cast<HttpServer*>(closure);
        const HttpRequest request = requestOf(connection, url, method);
        // A first call for the head alone. Answered at once, the connection would end with the answer: as it should if
        // a body follows that nobody reads.
        if (*state == nullptr && !request.head.hasBody) {
            *state = server;
            return MHD_YES;
        }
        server->m_connections[descriptorOf(connection)].isInUse = true;
        return answer(*server, connection, server->m_handler(request));
    }

    static MHD_Result answer(HttpServer& server, MHD_Connection* connection, const HttpReply& reply)
    {
        MHD_Response* response = nullptr;
        if (reply.upgrade) {
            response = MHD_create_response_for_upgrade(&Callbacks::upgrade, new Upgrade{&server, reply.upgrade});
        } else if (reply.producer) {
            response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kPieceSize, &readPieces,
                                                         new Pieces{reply.producer, {}}, &freePieces);
        } else {
            // Copied by the library, which does not change it.
            response =
                MHD_create_response_from_buffer(static_cast<std::size_t>(reply.body.size()),
                                                const_cast<char*>(reply.body.constData()), MHD_RESPMEM_MUST_COPY);
        }
        if (response == nullptr) {
            return MHD_NO; // ends the connection
        }
        for (const auto& [name, value] : kHeaders) {
            MHD_add_response_header(response, name, value);
        }
        if (!reply.contentType.isEmpty()) {
            MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, reply.contentType.constData());
        }
        for (const auto& [name, value] : reply.headers) {
            MHD_add_response_header(response, name.constData(), value.constData());
        }
        const MHD_Result isQueued = MHD_queue_response(connection, static_cast<unsigned int>(reply.status), response);
        MHD_destroy_response(response);
        return isQueued;
    }

    static void upgrade(void* closure, MHD_Connection* connection, void*, const char* extra, std::size_t extraSize,
                        int descriptor, MHD_UpgradeResponseHandle* handle)
    {
        const std::unique_ptr<Upgrade> upgrade(static_cast<Upgrade*>(closure));
        HttpServer* server = upgrade->server;
        server->m_connections[descriptorOf(connection)].isInUse = true;
        (void)::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
        upgrade->take({descriptor, QByteArray(extra, static_cast<qsizetype>(extraSize)), [server, handle] {
                           MHD_upgrade_action(handle, MHD_UPGRADE_ACTION_CLOSE);
                           server->runSoon();
                       }});
    }

    static void onCompleted(void* closure, MHD_Connection* connection, void**, MHD_RequestTerminationCode)
    {
        Connection& entry = static_cast<HttpServer*>(closure)->m_connections[descriptorOf(connection)];
        entry.isInUse = false;
        entry.since.start();
    }

    static void onConnection(void* closure, MHD_Connection* connection, void**, MHD_ConnectionNotificationCode code)
    {
        if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
            static_cast<HttpServer*>(closure)->m_connections.remove(descriptorOf(connection));
        }
    }
};

HttpServer::HttpServer(Handler handler, QObject* parent) : QObject(parent), m_handler(std::move(handler)), m_timer(this)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &HttpServer::run);
}

HttpServer::~HttpServer()
{
    m_newConnections.reset();
    m_activity.reset();
    if (m_daemon != nullptr) {
        MHD_stop_daemon(m_daemon);
    }
    if (m_listener >= 0) {
        ::close(m_listener);
    }
}

bool HttpServer::listen(quint16 port, QString* error)
{
    m_listener = openListener(port);
    if (m_listener < 0) {
        *error = u"can't listen on port "_s + QString::number(port) + u" of 127.0.0.1: "_s + qt_error_string();
        return false;
    }
    m_port = portOf(m_listener);
    // The library would leave connections above its limit waiting; ours gets a clear answer.
    m_daemon = MHD_start_daemon(MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_UPGRADE, 0, nullptr, nullptr,
                                &Callbacks::handleRequest, this,                              //
                                MHD_OPTION_CONNECTION_LIMIT, unsigned{kMostConnections + 1},  //
                                MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMemoryPerConnection,     //
                                MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds,                  //
                                MHD_OPTION_NOTIFY_CONNECTION, &Callbacks::onConnection, this, //
                                MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::onCompleted, this,   //
                                MHD_OPTION_END);
    if (m_daemon == nullptr) {
        *error = u"the HTTP library does not start: "_s + qt_error_string();
        return false;
    }
    m_newConnections = std::make_unique<QSocketNotifier>(m_listener, QSocketNotifier::Read);
    connect(m_newConnections.get(), &QSocketNotifier::activated, this, &HttpServer::acceptConnections);
    m_activity = std::make_unique<QSocketNotifier>(MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd,
                                                   QSocketNotifier::Read);
    connect(m_activity.get(), &QSocketNotifier::activated, this, &HttpServer::run);
    return true;
}

quint16 HttpServer::port() const
{
    return m_port;
}

void HttpServer::acceptConnections()
{
    run(); // connections that have ended make room
    // Some at a time: the session goes on even if they keep coming.
    for (int i = 0; i < kMostConnections; ++i) {
        sockaddr_in address = {};
        socklen_t length = sizeof(address);
        const int connection =
            ::accept4(m_listener, reinterpret_cast<sockaddr*>(&address), &length, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (connection < 0) {
            break;
        }
        if (makeRoom()) {
            // Counted here, as libmicrohttpd 1.0 tells of a new connection only when it runs.
            m_connections[connection].since.start();
            if (MHD_add_connection(m_daemon, connection, reinterpret_cast<const sockaddr*>(&address), length) !=
                MHD_YES) {
                m_connections.remove(connection);
            }
        } else {
            (void)::send(connection, kBusy, sizeof(kBusy) - 1, MSG_NOSIGNAL);
            ::close(connection);
        }
    }
    run();
}

bool HttpServer::makeRoom()
{
    if (m_connections.size() < kMostConnections) {
        return true;
    }
    auto oldest = m_connections.constEnd();
    for (auto entry = m_connections.constBegin(); entry != m_connections.constEnd(); ++entry) {
        if (!entry->isInUse && entry->since.hasExpired(kPatienceMs) &&
            (oldest == m_connections.constEnd() || entry->since.elapsed() > oldest->since.elapsed())) {
            oldest = entry;
        }
    }
    if (oldest != m_connections.constEnd()) {
        (void)::shutdown(oldest.key(), SHUT_RDWR); // the library finds its end, and closes it
        run();
    }
    return m_connections.size() < kMostConnections;
}

void HttpServer::run()
{
    if (m_daemon == nullptr || std::exchange(m_isRunning, true)) {
        return;
    }
    MHD_run(m_daemon);
    m_isRunning = false;
    MHD_UNSIGNED_LONG_LONG timeoutMs = 0;
    if (MHD_get_timeout(m_daemon, &timeoutMs) == MHD_YES) {
        m_timer.start(static_cast<int>(std::min<MHD_UNSIGNED_LONG_LONG>(timeoutMs, kIdleMs)));
    } else {
        m_timer.stop();
    }
}

void HttpServer::runSoon()
{
    QMetaObject::invokeMethod(this, &HttpServer::run, Qt::QueuedConnection);
}
