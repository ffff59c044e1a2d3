// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PowerManager.h"
#include "RecordingPlatform.h"
#include "SimulatedDevice.h"
#include "Table.h"

#include <QStringList>

#include <memory>

/// Base of the tests of the power daemon's classes. Every test function has a new simulated device with empty folders,
/// no zone file and an idle CPU; start() creates the PowerManager. A warning from Qt fails the test.
class PowerManagerFixture : public QObject
{
    Q_OBJECT

protected:
    PowerManagerFixture() = default;

    /// Runs init(). Its signals go to the timeline as if they came over the bus. @return what init() returned
    [[nodiscard]] bool start();
    /// Serves the started PowerManager on the bus until the test function ends. @return whether that succeeded
    [[nodiscard]] bool serve();

    [[nodiscard]] SimulatedDevice& device();
    [[nodiscard]] PowerManager& manager();

    /// The file that replaces the kernel's CPU time counters.
    [[nodiscard]] static QString cpuCounters();

    /// As SimulatedDevice::run().
    [[nodiscard]] QString run(const QString& lines);
    /// As run(), and clears the timeline.
    [[nodiscard]] QString arrange(const QString& lines);

    /// The power daemon's log lines, calls, GPIO writes, pauses and signals since the last call, in order.
    [[nodiscard]] QStringList take();

protected Q_SLOTS:
    void init();
    void cleanup();

private:
    Q_DISABLE_COPY_MOVE(PowerManagerFixture)

    std::unique_ptr<SimulatedDevice> m_device;
    std::unique_ptr<PowerManager> m_manager;
};
