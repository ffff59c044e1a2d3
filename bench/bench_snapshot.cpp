// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
// The benchmark library registers by global objects.
// clazy:excludeall=non-pod-global-static
#include "BlockingCall.h"
#include "StatusManagerProxy.h"

#include <QDBusArgument>
#include <QDBusMessage>

#include <benchmark/benchmark.h>

#include <tuple>

namespace {

/// The status service's answer as the bus library hands it over: the status and 50 values.
QDBusMessage makeReply()
{
    QVariantList arguments{0};
    std::apply([&arguments](const auto&... values) { (arguments.append(QVariant::fromValue(values)), ...); },
               makeSnapshot(&StatusManagerProxy::GetStatus));
    const QString name = QStringLiteral("com.quillmark.zelt.bench");
    return QDBusMessage::createMethodCall(name, QStringLiteral("/bench"), name, QStringLiteral("GetStatus"))
        .createReply(arguments);
}

void decodeSnapshot(benchmark::State& state)
{
    const QDBusMessage reply = makeReply();
    auto snapshot = makeSnapshot(&StatusManagerProxy::GetStatus);
    for (auto _ : state) {
        std::apply([&reply](auto&... values) { decode(reply, values...); }, snapshot);
        benchmark::DoNotOptimize(snapshot);
    }
}
BENCHMARK(decodeSnapshot);

/// The way of a generated client, one value at a time.
void decodeSnapshotByFloor(benchmark::State& state)
{
    const QDBusMessage reply = makeReply();
    auto snapshot = makeSnapshot(&StatusManagerProxy::GetStatus);
    for (auto _ : state) {
        int index = 0;
        std::apply(
            [&reply, &index](auto&... values) {
                ((values = qdbus_cast<std::decay_t<decltype(values)>>(reply.arguments().at(++index))), ...);
            },
            snapshot);
        benchmark::DoNotOptimize(snapshot);
    }
}
BENCHMARK(decodeSnapshotByFloor);

} // namespace
