// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PowerManager.h"
#include "RecordingPlatform.h"
#include "SimulatedDevice.h"
#include "Table.h"

#include <QStringList>

#include <memory>

/// Base of the tests of the power daemon's classes. Every test function has a new simulated device, with its folders
/// empty, its zone file missing and its CPU idle; the PowerManager amid it begins with start(). Warnings of Qt fail the
/// test.
class PowerManagerFixture : public QObject
{
    Q_OBJECT

protected:
    PowerManagerFixture() = default;

    /// Runs init(). Its signals go to the timeline as if they came over the bus. @return what init() returned
    [[nodiscard]] bool start();
    /// Puts the started PowerManager on the bus, until the test function ends. @return whether that went well
    [[nodiscard]] bool serve();

    [[nodiscard]] SimulatedDevice& device();
    [[nodiscard]] PowerManager& manager();

    /// The file in place of the kernel's CPU time counters.
    [[nodiscard]] static QString cpuCounters();

    /// As SimulatedDevice::run().
    [[nodiscard]] QString run(const QString& lines);
    /// As run(), and forgets what came of it.
    [[nodiscard]] QString arrange(const QString& lines);

    /// What the power daemon logged, asked, drove and announced since the last call, in order.
    [[nodiscard]] QStringList take();

protected Q_SLOTS:
    void init();
    void cleanup();

private:
    Q_DISABLE_COPY_MOVE(PowerManagerFixture)

    std::unique_ptr<SimulatedDevice> m_device;
    std::unique_ptr<PowerManager> m_manager;
};
