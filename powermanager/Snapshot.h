// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <tuple>
#include <type_traits>

template <typename T>
class QDBusReply;

/// The out-arguments of a client's blocking call as one tuple, each value starting at its type's default. The client
/// is the only place that lists them.
///
///     auto snapshot = makeSnapshot(&StatusManagerProxy::GetStatus);
///     const QDBusReply<int> reply = std::apply([&](auto&... values) { return client.GetStatus(values...); },
///     snapshot);
template <typename Client, typename... Values>
std::tuple<Values...> makeSnapshot(QDBusReply<int> (Client::*)(Values&...))
{
    return {};
}
