// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PowerManager.h"
#include "SimulatedDevice.h"

#include <QStringList>

#include <memory>

/// A PowerManager amid the simulated device: new for every test, with its folders empty and its zone file missing.
class PowerManagerFixture
{
public:
    PowerManagerFixture();
    ~PowerManagerFixture();
    Q_DISABLE_COPY_MOVE(PowerManagerFixture)

    /// Runs init(). Its signals go to the timeline as if they came over the bus. @return what init() returned
    [[nodiscard]] bool start();

    [[nodiscard]] SimulatedDevice& device();
    [[nodiscard]] PowerManager& manager();

    /// As SimulatedDevice::run().
    [[nodiscard]] QString run(const QString& lines);

    /// What the power daemon logged, asked, drove and announced since the last call, in order.
    [[nodiscard]] QStringList take();

private:
    std::unique_ptr<SimulatedDevice> m_device;
    std::unique_ptr<PowerManager> m_manager;
};
