// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QStringList>

class ChargeTrace;
class ZoneReplay;
class ZoneTable;

/// A trace of charges with the zones that would have been in force.
namespace replaypicture {

/// For a terminal: the charge over time, drawn with the letters of the zones.
[[nodiscard]] QStringList lines(const ZoneTable& table, const ChargeTrace& trace, const ZoneReplay& replay, int width,
                                bool hasColours);

/// As an SVG document.
/// @param title what the picture is about, in its corner
[[nodiscard]] QByteArray svg(const ZoneTable& table, const ChargeTrace& trace, const ZoneReplay& replay,
                             const QString& title);

} // namespace replaypicture

/// A time since the trace's begin: "07:30:05", with days before it if there are any.
[[nodiscard]] QString clockText(double seconds);
