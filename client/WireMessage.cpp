// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "WireMessage.h"

#include <QtEndian>

#include <cstring>
#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr quint32 kMostBytes = 128 * 1024 * 1024; ///< of a message, as the protocol has it
constexpr qsizetype kFixedHeader = 16;            ///< up to the length of the header's fields
constexpr int kMostDepth = 64;                    ///< of containers

enum Field : uchar
{
    Path = 1,
    Interface = 2,
    Member = 3,
    ErrorName = 4,
    ReplySerial = 5,
    Destination = 6,
    Sender = 7,
    Signature = 8,
};

qsizetype alignmentOf(char type)
{
    switch (type) {
    case 'n':
    case 'q':
        return 2;
    case 'b':
    case 'i':
    case 'u':
    case 'h':
    case 's':
    case 'o':
    case 'a':
        return 4;
    case 'x':
    case 't':
    case 'd':
    case '(':
    case '{':
        return 8;
    default:
        return 1;
    }
}

/// Reads values of a message; once something does not fit, everything after it reads as nothing.
class Reader
{
public:
    Reader(const QByteArray& bytes, qsizetype place, bool isBigEndian)
        : m_bytes(bytes), m_place(place), m_isBigEndian(isBigEndian)
    {
    }

    bool isBroken() const
    {
        return m_isBroken;
    }

    qsizetype place() const
    {
        return m_place;
    }

    bool hasReached(qsizetype end) const
    {
        return m_isBroken || m_place >= end;
    }

    void align(qsizetype alignment)
    {
        m_place = (m_place + alignment - 1) / alignment * alignment;
    }

    template <typename T>
    T number()
    {
        align(qsizetype{sizeof(T)});
        if (!isLeft(qsizetype{sizeof(T)})) {
            return 0;
        }
        const char* from = m_bytes.constData() + m_place;
        m_place += qsizetype{sizeof(T)};
        return m_isBigEndian ? qFromBigEndian<T>(from) : qFromLittleEndian<T>(from);
    }

    QString text(quint32 length)
    {
        if (!isLeft(qint64{length} + 1)) {
            return {};
        }
        QString text = QString::fromUtf8(m_bytes.constData() + m_place, static_cast<qsizetype>(length));
        m_place += static_cast<qsizetype>(length) + 1;
        return text;
    }

    /// The value of the signature's next type, which is taken off it.
    QVariant value(const QString& signature, qsizetype& at, int depth = 0)
    {
        const char type = at < signature.size() ? signature.at(at).toLatin1() : '\0';
        ++at;
        if (depth > kMostDepth) {
            m_isBroken = true;
        }
        if (m_isBroken) {
            return {};
        }
        switch (type) {
        case 'y':
            return QVariant::fromValue(number<uchar>());
        case 'b':
            return number<quint32>() != 0;
        case 'n':
            return QVariant::fromValue(number<qint16>());
        case 'q':
            return QVariant::fromValue(number<quint16>());
        case 'i':
            return number<qint32>();
        case 'u':
        case 'h':
            return number<quint32>();
        case 'x':
            return number<qint64>();
        case 't':
            return number<quint64>();
        case 'd': {
            const quint64 bits = number<quint64>();
            double real = 0;
            std::memcpy(&real, &bits, sizeof(real));
            return real;
        }
        case 's':
        case 'o':
            return text(number<quint32>());
        case 'g':
            return text(number<uchar>());
        case 'v': {
            const QString inner = text(number<uchar>());
            qsizetype innerAt = 0;
            return value(inner, innerAt, depth + 1);
        }
        case 'a':
            return array(signature, at, depth);
        case '(':
        case '{':
            return structure(signature, at, depth);
        default:
            m_isBroken = true;
            return {};
        }
    }

private:
    /// @param size in a wider type than sizes of containers: a length on the wire may be more than 31 bits hold
    bool isLeft(qint64 size)
    {
        m_isBroken = m_isBroken || m_place + size > m_bytes.size();
        return !m_isBroken;
    }

    QVariant array(const QString& signature, qsizetype& at, int depth)
    {
        const qsizetype element = at;
        const auto length = number<quint32>();
        align(alignmentOf(element < signature.size() ? signature.at(element).toLatin1() : '\0'));
        QVariantList values;
        if (!isLeft(length)) {
            return values;
        }
        const qsizetype end = m_place + static_cast<qsizetype>(length);
        skipType(signature, at);
        while (!hasReached(end)) {
            qsizetype elementAt = element;
            const qsizetype before = m_place;
            values.append(value(signature, elementAt, depth + 1));
            m_isBroken = m_isBroken || m_place == before; // an element of no bytes would never end
        }
        return values;
    }

    QVariant structure(const QString& signature, qsizetype& at, int depth)
    {
        align(8);
        QVariantList values;
        while (!m_isBroken && at < signature.size() && signature.at(at) != u')' && signature.at(at) != u'}') {
            values.append(value(signature, at, depth + 1));
        }
        ++at;
        return values;
    }

    /// Moves behind one complete type.
    static void skipType(const QString& signature, qsizetype& at)
    {
        while (at < signature.size() && signature.at(at) == u'a') {
            ++at;
        }
        int open = 0;
        do {
            const QChar type = at < signature.size() ? signature.at(at) : QChar();
            open += type == u'(' || type == u'{' ? 1 : type == u')' || type == u'}' ? -1 : 0;
            ++at;
        } while (open > 0 && at < signature.size());
    }

    const QByteArray& m_bytes;
    qsizetype m_place;
    bool m_isBigEndian;
    bool m_isBroken = false;
};

void pad(QByteArray& bytes, qsizetype alignment)
{
    while (bytes.size() % alignment != 0) {
        bytes.append('\0');
    }
}

void append(QByteArray& bytes, quint32 number)
{
    pad(bytes, 4);
    const quint32 little = qToLittleEndian(number);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof(little)); // NOLINT(*-reinterpret-cast)
}

void append(QByteArray& bytes, const QString& text)
{
    const QByteArray raw = text.toUtf8();
    append(bytes, static_cast<quint32>(raw.size()));
    bytes.append(raw).append('\0');
}

void appendField(QByteArray& bytes, Field field, char type, const QString& text)
{
    pad(bytes, 8);
    bytes.append(static_cast<char>(field)).append('\1').append(type).append('\0');
    if (type == 'g') {
        bytes.append(static_cast<char>(text.size())).append(text.toLatin1()).append('\0');
    } else {
        append(bytes, text);
    }
}

} // namespace

WireMessage::Result WireMessage::take(QByteArray& buffer, WireMessage* message)
{
    if (buffer.size() < kFixedHeader) {
        return Result::Incomplete;
    }
    const bool isBigEndian = buffer.at(0) == 'B';
    const auto type = static_cast<uchar>(buffer.at(1));
    if ((!isBigEndian && buffer.at(0) != 'l') || type < 1 || buffer.at(3) != 1) {
        return Result::Broken;
    }
    Reader header(buffer, 4, isBigEndian);
    const auto bodyLength = header.number<quint32>();
    const auto serial = header.number<quint32>();
    const auto fieldsLength = header.number<quint32>();
    const quint64 bodyStart = (quint64{kFixedHeader} + fieldsLength + 7) / 8 * 8;
    if (bodyStart + bodyLength > kMostBytes) {
        return Result::Broken;
    }
    const auto total = static_cast<qsizetype>(bodyStart + bodyLength);
    if (buffer.size() < total) {
        return Result::Incomplete;
    }
    const QByteArray bytes = buffer.left(total);
    buffer.remove(0, total);

    *message = WireMessage();
    message->type = static_cast<Type>(type);
    message->serial = serial;
    Reader fields(bytes, kFixedHeader, isBigEndian);
    while (!fields.hasReached(kFixedHeader + static_cast<qsizetype>(fieldsLength))) {
        fields.align(8);
        const auto field = fields.number<uchar>();
        qsizetype at = 0;
        const QVariant value = fields.value(u"v"_s, at);
        switch (field) {
        case Path:
            message->path = value.toString();
            break;
        case Interface:
            message->interfaceName = value.toString();
            break;
        case Member:
            message->member = value.toString();
            break;
        case ErrorName:
            message->errorName = value.toString();
            break;
        case ReplySerial:
            message->replySerial = value.toUInt();
            break;
        case Destination:
            message->destination = value.toString();
            break;
        case Sender:
            message->sender = value.toString();
            break;
        case Signature:
            message->signature = value.toString();
            break;
        default:
            break;
        }
    }
    if (fields.isBroken()) {
        return Result::Broken;
    }
    Reader body(bytes, static_cast<qsizetype>(bodyStart), isBigEndian);
    qsizetype at = 0;
    while (at < message->signature.size()) {
        const QVariant value = body.value(message->signature, at);
        if (body.isBroken()) {
            break;
        }
        message->values.append(value);
    }
    return Result::Taken;
}

QByteArray WireMessage::callBus(quint32 serial, const QString& interfaceName, const QString& member,
                                const QString& signature, const QVariantList& arguments)
{
    QByteArray body;
    for (qsizetype place = 0, at = 0; place < arguments.size(); ++place, ++at) {
        const QVariant& value = arguments.at(place);
        if (signature.at(at) == u'a') {
            QByteArray texts;
            for (const QString& text : value.toStringList()) {
                pad(texts, 4);
                append(texts, text);
            }
            append(body, static_cast<quint32>(texts.size()));
            body.append(texts); // aligned: the length in front has 4 bytes
            ++at;
        } else if (signature.at(at) == u's') {
            append(body, value.toString());
        } else {
            append(body, value.toUInt());
        }
    }
    QByteArray fields;
    appendField(fields, Path, 'o', u"/org/freedesktop/DBus"_s);
    appendField(fields, Interface, 's', interfaceName);
    appendField(fields, Member, 's', member);
    appendField(fields, Destination, 's', u"org.freedesktop.DBus"_s);
    if (!signature.isEmpty()) {
        appendField(fields, Signature, 'g', signature);
    }
    QByteArray message("l\1\0\1", 4);
    append(message, static_cast<quint32>(body.size()));
    append(message, serial);
    append(message, static_cast<quint32>(fields.size()));
    message.append(fields);
    pad(message, 8);
    return message + body;
}
