// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Session.h"
#include "Timeline.h"

#include <memory>
#include <optional>

/// The simulated device around a measured daemon, below the build's ZELT_ROOT and ZELT_GPIO_ROOT. Lives on our own
/// thread: the device answers while the event loop runs. What goes wrong is printed.
class BenchDevice
{
public:
    BenchDevice() = default;
    Q_DISABLE_COPY_MOVE(BenchDevice)

    /// Puts services on the bus. @return whether that went well
    [[nodiscard]] bool start(const QStringList& services);

    /// Carries out lines of the command language.
    /// @return milliseconds between the last entries of the timeline that read so
    [[nodiscard]] std::optional<double> timeOf(const QString& lines, const QString& from, const QString& to);

    /// How many entries of the timeline read so.
    [[nodiscard]] qsizetype count(const QString& text) const;

private:
    [[nodiscard]] bool run(const QString& lines);

    Timeline m_timeline;
    std::unique_ptr<Session> m_session;
};
