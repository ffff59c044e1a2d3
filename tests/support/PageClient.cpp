// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PageClient.h"

#include <QJsonDocument>
#include <QTest>
#include <QUrl>
#include <QUrlQuery>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kAnswerWithinMs = 10'000 * TIME_FACTOR;

} // namespace

PageClient::PageClient(const QString& address)
{
    const QUrl url(address);
    m_port = static_cast<quint16>(url.port());
    m_token = QUrlQuery(url).queryItemValue(u"token"_s).toLatin1();
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this] {
        m_received += socket.readAll();
        if (m_isStream) {
            readFrames();
        }
    });
    socket.connectToHost(u"127.0.0.1"_s, m_port);
}

QByteArray PageClient::get(const QByteArray& path) const
{
    const QByteArray port = QByteArray::number(m_port);
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + port + "\r\nCookie: a=b; zelt-" + port + '=' + m_token +
           "\r\n";
}

int PageClient::ask(const QByteArray& request)
{
    if (!request.isEmpty()) {
        m_received.clear(); // of the request before
    }
    socket.write(request);
    (void)QTest::qWaitFor(
        [this] { return m_received.contains("\r\n\r\n") || socket.state() == QAbstractSocket::UnconnectedState; },
        kAnswerWithinMs);
    constexpr QByteArrayView kVersion("HTTP/1.1 ");
    return m_received.mid(kVersion.size(), 3).toInt();
}

QByteArray PageClient::header(const QByteArray& name) const
{
    const qsizetype begin = m_received.indexOf(QByteArray("\r\n" + name + ": "));
    const qsizetype end = m_received.indexOf("\r\n", begin + 2);
    return begin < 0 ? QByteArray() : m_received.mid(begin + name.size() + 4, end - begin - name.size() - 4);
}

QByteArray PageClient::body()
{
    return m_received.mid(m_received.indexOf("\r\n\r\n") + 4);
}

bool PageClient::openStream(qint64 from)
{
    const int status =
        ask(get("/stream") + "Connection: keep-alive, Upgrade\r\nUpgrade: websocket\r\n"
                             "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
    // The key and its answer are the example of the protocol's own text.
    if (status != 101 || !m_received.contains("Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n")) {
        return false;
    }
    m_received = body();
    m_isStream = true;
    readFrames();
    send({{u"from"_s, from}});
    return true;
}

void PageClient::send(const QJsonObject& frame)
{
    sendFrame(0x81, QJsonDocument(frame).toJson(QJsonDocument::Compact));
}

void PageClient::sendFrame(quint8 firstByte, const QByteArray& payload, bool isMasked)
{
    const quint8 maskBit = isMasked ? 0x80 : 0;
    QByteArray frame(1, static_cast<char>(firstByte));
    const auto size = static_cast<quint64>(payload.size());
    const int sizeBytes = size < 126 ? 0 : size < 65536 ? 2 : 8;
    frame += static_cast<char>(maskBit | (sizeBytes == 0 ? size : sizeBytes == 2 ? 126 : 127));
    for (int i = sizeBytes - 1; i >= 0; --i) {
        frame += static_cast<char>(size >> (8 * i));
    }
    constexpr char kMask[] = {0x12, 0x34, 0x56, 0x78};
    frame += isMasked ? QByteArray(kMask, 4) : QByteArray();
    const qsizetype begin = frame.size();
    frame += payload;
    for (qsizetype i = begin; isMasked && i < frame.size(); ++i) {
        frame[i] = static_cast<char>(frame.at(i) ^ kMask[(i - begin) % 4]);
    }
    socket.write(frame);
}

void PageClient::readFrames()
{
    const auto byte = [this](qsizetype at) { return static_cast<quint8>(m_received.at(at)); };
    while (m_received.size() >= 2) {
        const int sizeBytes = byte(1) == 127 ? 8 : byte(1) == 126 ? 2 : 0;
        if (m_received.size() < 2 + sizeBytes) {
            return;
        }
        qsizetype size = sizeBytes == 0 ? byte(1) : 0;
        for (int i = 0; i < sizeBytes; ++i) {
            size = size << 8 | byte(2 + i);
        }
        if (m_received.size() < 2 + sizeBytes + size) {
            return;
        }
        const QByteArray payload = m_received.mid(2 + sizeBytes, size);
        const int opcode = byte(0) & 0x0f;
        m_received.remove(0, 2 + sizeBytes + size);
        if (opcode == 1) {
            m_frames.append(QJsonDocument::fromJson(payload).object());
            const QJsonObject changes = m_frames.constLast().value(u"state"_s).toObject();
            for (auto member = changes.constBegin(); member != changes.constEnd(); ++member) {
                m_state.insert(member.key(), member.value());
            }
        } else if (opcode == 8) {
            m_closeStatus = static_cast<quint8>(payload.at(0)) << 8 | static_cast<quint8>(payload.at(1));
        } else if (opcode == 10) {
            m_hasPong = true;
        }
    }
}

QJsonValue PageClient::state(const QString& member) const
{
    return m_state.value(member);
}

QJsonObject PageClient::frameWith(const QString& member)
{
    QJsonObject found;
    (void)QTest::qWaitFor(
        [this, &member, &found] {
            while (!m_frames.isEmpty() && found.isEmpty()) {
                const QJsonObject frame = m_frames.takeFirst();
                found = frame.contains(member) ? frame : QJsonObject();
            }
            return !found.isEmpty();
        },
        kAnswerWithinMs);
    return found;
}

QJsonObject PageClient::answerTo(int id)
{
    QJsonObject answer;
    do {
        answer = frameWith(u"answer"_s);
    } while (!answer.isEmpty() && answer.value(u"answer"_s).toInt() != id);
    return answer;
}

int PageClient::closeStatus()
{
    const bool isClosed = QTest::qWaitFor(
        [this] { return socket.state() == QAbstractSocket::UnconnectedState || m_closeStatus != 0; }, kAnswerWithinMs);
    return isClosed ? m_closeStatus : -1;
}

bool PageClient::hasPong() const
{
    return m_hasPong;
}
