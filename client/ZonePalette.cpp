// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZonePalette.h"

#include "ZoneTable.h"

using namespace Qt::Literals::StringLiterals;

namespace {

/// A background on the terminal, and about the same colour for a picture.
struct Colour
{
    int terminalCode;
    const char* picture;
};

constexpr Colour kColours[] = {
    {41, "#e15759"}, {43, "#edc948"}, {42, "#59a14f"}, {46, "#76b7b2"}, {44, "#4e79a7"}, {45, "#b07aa1"},
};

const Colour& colourOf(int zone)
{
    return kColours[static_cast<size_t>(zone) % std::size(kColours)];
}

} // namespace

ZonePalette::ZonePalette(const ZoneTable& table)
{
    QString free = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"_s;
    for (const PowerZone& zone : table.zones()) {
        const QChar wanted = zone.name.isEmpty() ? QChar() : zone.name.at(0).toUpper();
        const QChar letter = free.contains(wanted) ? wanted : free.isEmpty() ? QChar(u'#') : free.at(0);
        free.remove(letter);
        m_letters.append(letter);
    }
}

QChar ZonePalette::letter(int zone) const
{
    return zone < 0 ? QChar(u'.') : m_letters.at(zone);
}

QString ZonePalette::cell(int zone, bool hasColours) const
{
    const QString text(letter(zone));
    return hasColours && zone >= 0 ? u"\x1b[30;%1m"_s.arg(colourOf(zone).terminalCode) + text + u"\x1b[0m"_s : text;
}

QString ZonePalette::colour(int zone) const
{
    return zone < 0 ? u"#bab0ac"_s : QString::fromLatin1(colourOf(zone).picture);
}
