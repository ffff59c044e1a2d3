// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Tab.h"

#include <QJsonDocument>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What may wait for the socket before more is sent.
constexpr qsizetype kMostUnsent = qsizetype{256} * 1024;

/// Rows of a frame.
constexpr qsizetype kMostRowBytes = qsizetype{1024} * 1024;

constexpr quint16 kGoingAway = 1001;

} // namespace

Tab::Tab(UpgradedConnection connection, const PageRequests::Common& common, QObject* parent)
    : QObject(parent), m_socket(std::move(connection), PageRequests::kMostBytesWithFile), m_requests(common)
{
    connect(&m_socket, &WebSocket::received, &m_requests, &PageRequests::take);
    connect(&m_socket, &WebSocket::closed, this, &Tab::closed);
    connect(&m_requests, &PageRequests::answered, this, &Tab::send);
    connect(&m_requests, &PageRequests::clearRequested, this, &Tab::clearRequested);
    connect(&m_requests, &PageRequests::sourceChanged, this, &Tab::due);
    connect(&m_requests, &PageRequests::positioned, this, [this](qint64 from) {
        m_next = static_cast<qsizetype>(qMax<qint64>(0, from));
        Q_EMIT arrived();
    });
    m_socket.start();
}

void Tab::show(const News& news, const QByteArray& hello)
{
    if (m_next < 0 || m_socket.unsentBytes() > kMostUnsent) {
        return;
    }
    if (!std::exchange(m_isGreeted, true)) {
        send(hello);
    }
    sendState(news.state);
    // A tab of an earlier run may name a row that is yet to come.
    m_next = qMin(m_next, news.rows.next());
    if (m_next == news.rows.next()) {
        return;
    }
    const RowLog::Part part = news.rows.part(m_next, kMostRowBytes);
    m_next = part.next;
    send("{\"events\":[" + part.rows + "],\"next\":" + QByteArray::number(part.next) +
         ",\"skipped\":" + QByteArray::number(part.skipped) + '}');
}

void Tab::sendState(const QJsonObject& state)
{
    QJsonObject whole = state;
    whole.insert(u"source"_s, m_requests.source());
    QJsonObject changes;
    for (auto member = whole.constBegin(); member != whole.constEnd(); ++member) {
        if (m_state.value(member.key()) != member.value()) {
            changes.insert(member.key(), member.value());
        }
    }
    m_state = whole;
    if (!changes.isEmpty()) {
        send(QJsonDocument(QJsonObject{{u"state"_s, changes}}).toJson(QJsonDocument::Compact));
    }
}

bool Tab::isBehind(const RowLog& rows) const
{
    return m_next >= 0 && m_next < rows.next();
}

bool Tab::isGreeted() const
{
    return m_isGreeted;
}

void Tab::send(const QByteArray& frame)
{
    m_socket.send(frame);
}

void Tab::close(const QByteArray& reason)
{
    m_socket.close(kGoingAway, reason);
}

void Tab::dropIfStalled(qint64 patienceMs)
{
    if (m_socket.stalledMs() > patienceMs) {
        m_socket.drop();
    }
}

QString Tab::farewell() const
{
    return m_requests.farewell();
}
