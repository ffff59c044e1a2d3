// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PowerManager.h"
#include "SimulatedDevice.h"

#include <QStringList>

#include <memory>

/// Puts a text in a file of the device, whose folder it makes. A test that cannot do that ends at once.
void writeFile(const QString& path, const QByteArray& content);

/// A PowerManager amid the simulated device: new for every test, with its folders empty, its zone file
/// missing and its CPU idle.
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
