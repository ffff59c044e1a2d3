// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PageRequests.h"
#include "WebSocket.h"

#include <QJsonObject>
#include <QObject>

/// One open tab: what it has been sent, what it asks for. It is sent no more than it takes; one that takes nothing for
/// a time is dropped.
class Tab : public QObject
{
    Q_OBJECT

public:
    /// What all tabs get, and each at its own pace.
    struct News
    {
        const RowLog& rows;
        const QJsonObject& state;
    };

    Tab(UpgradedConnection connection, const PageRequests::Common& common, QObject* parent = nullptr);

    /// Sends what the tab does not have yet. @param hello for its first time
    void show(const News& news, const QByteArray& hello);
    /// Whether there is more to be sent than was taken so far.
    [[nodiscard]] bool isBehind(const RowLog& rows) const;
    /// Whether it has got its first frame.
    [[nodiscard]] bool isGreeted() const;

    void send(const QByteArray& frame);
    /// Takes leave. @param reason for a person
    void close(const QByteArray& reason);
    /// Drops the connection if it has taken nothing for that time.
    void dropIfStalled(qint64 patienceMs);

    /// Lines to carry out when it has gone.
    [[nodiscard]] QString farewell() const;

Q_SIGNALS:
    /// There is something to show.
    void due();
    /// It waits for its first frame.
    void arrived();
    void clearRequested();
    void closed();

private:
    Q_DISABLE_COPY_MOVE(Tab)

    void sendState(const QJsonObject& state);

    WebSocket m_socket;
    PageRequests m_requests;
    qsizetype m_next = -1; ///< row to be sent; negative: it has not said
    bool m_isGreeted = false;
    QJsonObject m_state; ///< as it knows it
};
