// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LoadMonitor.h"

#include "Log.h"
#include "Paths.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <limits>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// The label and the counters: user, nice, system, idle, iowait, irq, softirq, steal, guest, guest_nice.
constexpr int kFields = 11;
constexpr int kBusyFields = 3;

/// Room for the kernel's first line, which is at most 220 bytes long.
constexpr std::size_t kLineSize = 512;

/// How many low samples in a row make a low load.
constexpr int kLowSamples = 4;

} // namespace

LoadMonitor::LoadMonitor(QObject* parent) : QObject(parent) {}

bool LoadMonitor::start()
{
    connect(&m_timer, &QTimer::timeout, this, &LoadMonitor::updateLoadValue);
    m_timer.start(std::chrono::milliseconds(m_interval));
    return true;
}

int LoadMonitor::getLoad()
{
    // Plain calls: once a second for the life of the device, a file object would cost too much.
    const char* path = paths::cpuCounters();
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        POWER_LOG(LogLevel::Error, "Error opening %s", path);
        return -1;
    }
    // The kernel produces the whole text at the first read, however little of it is requested.
    char text[kLineSize];
    const ssize_t size = std::max<ssize_t>(0, read(file, text, sizeof text));
    close(file);
    const auto* end = std::find(text, text + size, '\n');
    int fields = 0;
    const std::optional<Sample> sample = sampleOf(QLatin1StringView(text, end), &fields);
    if (!sample) {
        POWER_LOG(LogLevel::Error, "Error reading %s. Expected %d values, got %d", path, kFields, fields);
        return -1;
    }
    const int load = loadBetween(m_previous, *sample);
    m_previous = *sample;
    return load;
}

std::optional<LoadMonitor::Sample> LoadMonitor::sampleOf(QLatin1StringView line, int* fields)
{
    // Unsigned, where wrapping is defined.
    quint32 total = 0;
    quint32 busy = 0;
    *fields = 0;
    for (const QLatin1StringView field : line.tokenize(u' ', Qt::SkipEmptyParts)) {
        const int index = (*fields)++;
        const auto ticks = index == 0 ? 0 : static_cast<quint32>(field.toInt());
        total += ticks;
        busy += index <= kBusyFields ? ticks : 0;
    }
    if (*fields != kFields) {
        return std::nullopt;
    }
    return Sample{static_cast<qint32>(total), static_cast<qint32>(busy)};
}

int LoadMonitor::loadBetween(const Sample& before, const Sample& after)
{
    const auto difference = [](qint32 from, qint32 to) {
        return static_cast<double>(static_cast<qint32>(static_cast<quint32>(to) - static_cast<quint32>(from)));
    };
    const double load = difference(before.busy, after.busy) / difference(before.total, after.total) * 100.0;
    if (!std::isfinite(load)) {
        return 0;
    }
    constexpr double kLowest = std::numeric_limits<int>::min();
    constexpr double kHighest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(load, kLowest, kHighest));
}

void LoadMonitor::updateLoadValue()
{
    const int load = getLoad();
    m_lowCount = load < m_lowThreshold ? m_lowCount + 1 : 0;
    if (load > m_highThreshold) {
        Q_EMIT highCpuLoad();
        return;
    }
    if (m_lowCount >= kLowSamples) {
        m_lowCount = 0;
        Q_EMIT lowCpuLoad();
    }
}
