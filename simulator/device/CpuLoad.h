// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <optional>

/// The load of this machine's CPU, as the kernel counts it: the time in user, nice and system of the time in all ten
/// counters.
class CpuLoad
{
public:
    /// @return the load in percent since the previous call, in the first one since the machine started; nothing if
    /// the counters can't be read or have not moved since
    [[nodiscard]] std::optional<double> sample();

private:
    qint64 m_busy = 0;
    qint64 m_total = 0;
};
