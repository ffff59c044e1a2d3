// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Program.h"

#include <QDBusConnection>
#include <QEventLoop>
#include <QList>
#include <QTimer>

#include <algorithm>
#include <chrono>

inline void wait(std::chrono::milliseconds duration)
{
    QEventLoop loop;
    QTimer::singleShot(duration, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// The value that the given fraction of the values is below.
inline double quantile(QList<double> values, double fraction)
{
    const auto index = static_cast<qsizetype>(fraction * static_cast<double>(values.size()));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values.at(index);
}

/// What a program used over a period.
struct Usage
{
    double cpuNanoseconds = 0;
    double switches = 0;
};

/// The kernel's counters of a program at this moment.
inline Usage usage(const Program& program)
{
    return {static_cast<double>(program.cpuNanoseconds()), static_cast<double>(program.voluntarySwitches())};
}

inline Usage operator-(const Usage& a, const Usage& b)
{
    return {a.cpuNanoseconds - b.cpuNanoseconds, a.switches - b.switches};
}

/// After its start, a program takes this long to become idle.
inline constexpr std::chrono::milliseconds kSettlingTime{2000};

/// Sends status broadcasts to one program only, one at a time as on the device, so that each wakes it.
/// @return its CPU time per broadcast in microseconds
inline double costOfBroadcasts(const Program& program, const QDBusMessage& broadcast, int count)
{
    const Usage before = usage(program);
    for (int i = 0; i < count; ++i) {
        QDBusConnection::sessionBus().send(broadcast);
        wait(std::chrono::milliseconds(3));
    }
    return (usage(program) - before).cpuNanoseconds / 1e3 / count;
}
