// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

/// The cheapest reading of the processor load that Linux allows: one open, one read, ten numbers. What the daemon's own
/// reading is measured against.
class FloorLoad
{
public:
    /// The whole system's load in percent since the call before, at first since the start of the system; -1 where
    /// /proc/stat can't be read.
    [[nodiscard]] int sample();

private:
    long long m_total = 0;
    long long m_busy = 0;
};
