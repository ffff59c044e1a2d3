// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>
#include <QObject>
#include <QTimer>

#include <optional>

/// Measures the load of the whole CPU once a second and reports when it is high or low.
///
/// 1. start() starts the timer; every tick reads the kernel's counters and compares them with those of the tick before.
/// 2. One sample above the high threshold: highCpuLoad(), and again with each further one.
/// 3. Four samples in a row below the low threshold: lowCpuLoad(), and again after four more.
///
/// Kept: a sample that cannot be read counts as low, so that a CPU whose load is unknown ends at its lowest frequency.
/// Event-loop thread only.
class LoadMonitor : public QObject
{
    Q_OBJECT

public:
    /// CPU times since boot, in the kernel's ticks. 32 bits wide, as on the device: sums wrap after some months, but
    /// their differences stay right.
    struct Sample
    {
        qint32 total = 0;
        qint32 busy = 0; ///< user, nice and system only: interrupts and waiting are deliberately no load
    };

    explicit LoadMonitor(QObject* parent);

    /// Starts measuring. @return true
    [[nodiscard]] bool start();

    /// Takes a sample: one open and one read of the kernel's counters.
    /// @return the load since the sample before (the first time: since boot) in percent, or -1 if the counters can't be
    ///         read, which is logged
    [[nodiscard]] int getLoad();

    /// The sums of the kernel's first line: the label and ten counters, separated by blanks. A counter that is not a
    /// 32-bit number counts as 0.
    /// @param fields receives the number of fields found
    /// @return nothing unless there are 11 fields
    [[nodiscard]] static std::optional<Sample> sampleOf(QLatin1StringView line, int* fields);

    /// The load between two samples in percent, rounded towards zero; 0 if the total did not change. If the totals
    /// shrank, the result of the same formula, cut to the range of int.
    [[nodiscard]] static int loadBetween(const Sample& before, const Sample& after);

Q_SIGNALS:
    void lowCpuLoad();
    void highCpuLoad();

private Q_SLOTS:
    void updateLoadValue();

private:
    Q_DISABLE_COPY_MOVE(LoadMonitor)

    QTimer m_timer;
    qint32 m_interval = 1000;    ///< milliseconds
    qint32 m_lowThreshold = 35;  ///< percent; a load below it is low
    qint32 m_highThreshold = 75; ///< percent; a load above it is high
    Sample m_previous;
    qint32 m_lowCount = 0; ///< low samples in a row
};
