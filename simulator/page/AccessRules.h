// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QtGlobal>

#include <optional>

/// What of a request decides whether it is answered.
struct RequestHead
{
    QByteArray method;
    QByteArray path;                 ///< decoded, without the query
    std::optional<QByteArray> token; ///< of the query
    QList<QByteArray> hosts;         ///< the values of the Host headers
    QList<QByteArray> origins;       ///< of the Origin headers
    QList<QByteArray> cookies;       ///< of the Cookie headers
    bool hasBody = false;            ///< announces one
};

/// Who may use the page. Loopback is reached by every user of the machine and, through a browser, by the scripts of any
/// web site; so a request needs the token, which only who started the program knows, and must come from the page
/// itself.
///
/// The first request brings the token in its address and gets it back as a cookie, which every other one needs.
/// Browsers do not separate cookies by port, so the port is in the cookie's name.
class AccessRules
{
public:
    /// What is answered instead of what was asked for.
    struct Refusal
    {
        int status = 0;
        QByteArray reason;    ///< for a person
        bool isEntry = false; ///< no refusal: the token was right, and its cookie is to be set (status 303)
    };

    AccessRules(quint16 port, const QByteArray& token);

    /// @return nothing if the request is to be answered
    [[nodiscard]] std::optional<Refusal> check(const RequestHead& request) const;

    /// The header that gives the token to a browser.
    [[nodiscard]] QByteArray cookie() const;

    /// 32 hexadecimal digits that nobody can guess.
    [[nodiscard]] static QByteArray newToken();

private:
    [[nodiscard]] bool isOurs(const QByteArray& host) const;
    [[nodiscard]] bool hasCookie(const QList<QByteArray>& headers) const;

    quint16 m_port;
    QByteArray m_token;
};
