// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CpuLoad.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qsizetype kCounters = 10;
constexpr qsizetype kBusyCounters = 3; ///< user, nice and system come first

} // namespace

std::optional<double> CpuLoad::sample()
{
    QFile file(u"/proc/stat"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    // "cpu  63732 5956 10022 ..."
    const QList<QByteArray> words = file.readLine().simplified().split(' ');
    if (words.size() <= kCounters) {
        return std::nullopt;
    }
    qint64 busy = 0;
    qint64 total = 0;
    for (qsizetype i = 1; i <= kCounters; ++i) {
        const qint64 ticks = words.at(i).toLongLong();
        busy += i <= kBusyCounters ? ticks : 0;
        total += ticks;
    }
    const qint64 busySince = busy - std::exchange(m_busy, busy);
    const qint64 totalSince = total - std::exchange(m_total, total);
    return totalSince > 0 ? std::optional(100.0 * static_cast<double>(busySince) / static_cast<double>(totalSince))
                          : std::nullopt;
}
