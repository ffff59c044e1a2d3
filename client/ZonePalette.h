// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

class ZoneTable;

/// How pictures tell zones apart: a letter and a colour for each zone, '.' for none.
class ZonePalette
{
public:
    explicit ZonePalette(const ZoneTable& table);

    /// The first letter of the zone's name if no other zone has it, else another one.
    [[nodiscard]] QChar letter(int zone) const;

    /// The letter for a terminal.
    [[nodiscard]] QString cell(int zone, bool hasColours) const;

    /// The colour for a picture, e.g. "#4e79a7".
    [[nodiscard]] QString colour(int zone) const;

private:
    QList<QChar> m_letters;
};
