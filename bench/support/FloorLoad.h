// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

/// The cheapest reading of the CPU load that Linux allows: one open, one read, ten numbers. The daemon's own reading is
/// measured against it.
class FloorLoad
{
public:
    /// The whole system's load in percent since the previous call, at first since the system's start; -1 if /proc/stat
    /// can't be read.
    [[nodiscard]] int sample();

private:
    long long m_total = 0;
    long long m_busy = 0;
};
