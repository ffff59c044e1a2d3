// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "AccessRules.h"

#include <QRandomGenerator>

#include <algorithm>
#include <array>

namespace {

/// Compares in a time that does not tell how much of it is right.
bool isEqual(const QByteArray& left, const QByteArray& right)
{
    if (left.size() != right.size()) {
        return false;
    }
    int difference = 0;
    for (qsizetype i = 0; i < left.size(); ++i) {
        difference |= left.at(i) ^ right.at(i);
    }
    return difference == 0;
}

} // namespace

AccessRules::AccessRules(quint16 port, const QByteArray& token) : m_port(port), m_token(token) {}

std::optional<AccessRules::Refusal> AccessRules::check(const RequestHead& request) const
{
    // A name that was made to lead here (DNS rebinding) is another host.
    if (request.hosts.size() != 1 || !isOurs(request.hosts.constFirst())) {
        return Refusal{403, "The Host header is not this server's."};
    }
    const bool isForeign =
        std::any_of(request.origins.begin(), request.origins.end(), [this](const QByteArray& origin) {
            constexpr QByteArrayView kScheme("http://");
            return !origin.startsWith(kScheme) || !isOurs(origin.mid(kScheme.size()));
        });
    if (isForeign) {
        return Refusal{403, "The request comes from another site."};
    }
    if (request.hasBody) {
        return Refusal{413, "Requests have no body here."};
    }
    if (request.method != "GET") {
        return Refusal{405, "Only GET is served."};
    }
    if (request.path == "/" && request.token) {
        return isEqual(*request.token, m_token) ? Refusal{303, {}, true} : Refusal{403, "The token is wrong."};
    }
    if (!hasCookie(request.cookies)) {
        return Refusal{403, "This page opens with the address that device-simulator printed when it started."};
    }
    return std::nullopt;
}

QByteArray AccessRules::cookie() const
{
    return "zelt-" + QByteArray::number(m_port) + '=' + m_token + "; HttpOnly; SameSite=Strict; Path=/";
}

QByteArray AccessRules::newToken()
{
    std::array<quint32, 4> words = {};
    QRandomGenerator::system()->fillRange(words.data(), static_cast<qsizetype>(words.size()));
    return QByteArray(reinterpret_cast<const char*>(words.data()), sizeof(words)).toHex();
}

bool AccessRules::isOurs(const QByteArray& host) const
{
    const QByteArray port = ':' + QByteArray::number(m_port);
    return host == "127.0.0.1" + port || host == "localhost" + port;
}

bool AccessRules::hasCookie(const QList<QByteArray>& headers) const
{
    const QByteArray name = "zelt-" + QByteArray::number(m_port) + '=';
    return std::any_of(headers.begin(), headers.end(), [this, &name](const QByteArray& header) {
        const QList<QByteArray> cookies = header.split(';');
        return std::any_of(cookies.begin(), cookies.end(), [this, &name](const QByteArray& cookie) {
            const QByteArray text = cookie.trimmed();
            return text.startsWith(name) && isEqual(text.mid(name.size()), m_token);
        });
    });
}
