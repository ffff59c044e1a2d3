// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QTcpSocket>

/// A browser as far as the page's server sees it: requests of any form, and the frames of a WebSocket. Reads while the
/// event loop runs.
class PageClient
{
public:
    /// @param address that opens the page, with its token
    explicit PageClient(const QString& address);

    /// Sends a request as it is. @return the answer's status; 0 if the connection ended without one
    [[nodiscard]] int ask(const QByteArray& request);
    /// The head of a GET with the cookie and the right Host, without its last line.
    [[nodiscard]] QByteArray get(const QByteArray& path) const;
    /// The value of a header of the answer; empty: there is none.
    [[nodiscard]] QByteArray header(const QByteArray& name) const;
    /// What came behind the head of the answer.
    [[nodiscard]] QByteArray body();

    /// Opens the stream. @param from see docs/page.md
    [[nodiscard]] bool openStream(qint64 from = 0);
    void send(const QJsonObject& frame);
    /// Sends a frame as it is, masked unless it is not to be. @param firstByte FIN and opcode
    void sendFrame(quint8 firstByte, const QByteArray& payload, bool isMasked = true);

    /// The device's state, as all frames so far tell it.
    [[nodiscard]] QJsonValue state(const QString& member) const;
    /// Waits for the first frame that has that member, and forgets those before it. Empty if none comes.
    [[nodiscard]] QJsonObject frameWith(const QString& member);
    /// Waits for the answer to that request.
    [[nodiscard]] QJsonObject answerTo(int id);
    /// Waits for the end of the connection. @return the status that the server closed with; 0 without one, -1: no end
    [[nodiscard]] int closeStatus();
    [[nodiscard]] bool hasPong() const;

    QTcpSocket socket;

private:
    void readFrames();

    quint16 m_port = 0;
    QByteArray m_token;
    QByteArray m_received;
    QList<QJsonObject> m_frames;
    QJsonObject m_state;
    int m_closeStatus = 0;
    bool m_isStream = false;
    bool m_hasPong = false;
};
