// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// What a device told at one moment.
struct ChargeSample
{
    double seconds; ///< since the trace's first sample
    int chargePercent;
    std::optional<double> volume;
    std::optional<double> light;
};

/// A day of charges, as CSV: lines "TIME,CHARGE", with the volume and the light's intensity behind them if they were
/// recorded. A line of names (time, charge, volume, light, others are passed over) may come first and tell another
/// order. A time is a number of seconds, hh:mm:ss, or a date and time of ISO 8601; '#' begins a comment.
class ChargeTrace
{
public:
    /// @param fault set to the first thing that is wrong, with line and column
    [[nodiscard]] static std::optional<ChargeTrace> parse(const QByteArray& csv, QString* fault);

    /// At least one, in the order of time.
    [[nodiscard]] const QList<ChargeSample>& samples() const;
    /// Seconds from the first sample to the last.
    [[nodiscard]] double length() const;

private:
    QList<ChargeSample> m_samples;
};
