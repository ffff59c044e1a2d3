// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZonesShowCommand.h"

#include "ChargeBands.h"
#include "InputFile.h"
#include "Paths.h"
#include "ShownText.h"
#include "Terminal.h"
#include "ZonePalette.h"
#include "ZoneReader.h"
#include "ZoneTable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

QString ceilingText(int ceiling)
{
    return ceiling < 0 ? u"as it is"_s : u"at most %1"_s.arg(ceiling);
}

/// The 101 charges in a row, above them a scale. Two charges share a cell where the terminal is too narrow.
void printStrip(const ZoneTable& table, const ZonePalette& palette, Terminal& terminal)
{
    const int step = terminal.width() > ZoneTable::kMaxCharge + 1 ? 1 : 2;
    QString scale;
    for (int charge = 0; charge <= ZoneTable::kMaxCharge; charge += 10) {
        scale += QString::number(charge).leftJustified(10 / step);
    }
    terminal.print(terminal.styled(scale.trimmed(), Terminal::Style::Dim));
    QString strip;
    for (int charge = 0; charge <= ZoneTable::kMaxCharge; charge += step) {
        strip += palette.cell(table.zoneAt(charge), terminal.hasColours());
    }
    terminal.print(strip);
}

void printBands(const ZoneTable& table, const ZonePalette& palette, Terminal& terminal)
{
    terminal.print(terminal.styled(
        u"%1 %2 %3 %4"_s.arg(u"charge"_s, -16).arg(u"volume"_s, -12).arg(u"light"_s, -12).arg(u"zone"_s),
        Terminal::Style::Strong));
    for (const ChargeBand& band : chargeBands(table)) {
        const QString range = rangeText(band.from, band.to).leftJustified(16);
        if (band.zone < 0) {
            terminal.print(range + u" no zone; the previous one stays in force");
            continue;
        }
        const PowerZone& zone = table.zones().at(band.zone);
        terminal.print(range + u' ' + ceilingText(zone.volume).leftJustified(12) + u' ' +
                       ceilingText(zone.light).leftJustified(12) + u' ' +
                       palette.cell(band.zone, terminal.hasColours()) + u' ' + shown(zone.name));
    }
}

QByteArray toJson(const QString& file, const QList<PowerZone>& zones, const ZoneTable& table)
{
    QJsonArray zoneArray;
    for (const PowerZone& zone : zones) {
        zoneArray.append(QJsonObject{{u"name"_s, zone.name},
                                     {u"low"_s, zone.lowThreshold},
                                     {u"high"_s, zone.highThreshold},
                                     {u"volume"_s, zone.volume},
                                     {u"light"_s, zone.light},
                                     {u"skipped"_s, !zone.isBand()}});
    }
    QJsonArray bandArray;
    for (const ChargeBand& band : chargeBands(table)) {
        bandArray.append(
            QJsonObject{{u"from"_s, band.from},
                        {u"to"_s, band.to},
                        {u"zone"_s, band.zone < 0 ? QJsonValue() : QJsonValue(table.zones().at(band.zone).name)}});
    }
    return QJsonDocument(QJsonObject{{u"file"_s, file}, {u"zones"_s, zoneArray}, {u"bands"_s, bandArray}})
               .toJson(QJsonDocument::Compact) +
           '\n';
}

} // namespace

CommandDescription ZonesShowCommand::describe() const
{
    return {u"zones show"_s,
            u"show which zone has which charges"_s,
            u"Draws the charges from 0 to 100 % as a strip, a letter for each zone, and lists them band by band with "
            "their ceilings. A charge without a zone leaves the previous zone in force; 0 % never has a zone."_s,
            {{u"FILE"_s, u"a zone file; without it, the device's own"_s, true, false, true}},
            {{{u"json"_s}, u"print one JSON object with the zones and the bands"_s}},
            {{u"zones show"_s, u"the zones of this device"_s}, {u"zones show zones.ini"_s, u"those of a file"_s}},
            {{ExitStatus::Done, u"shown"_s}, {ExitStatus::WrongUse, u"the file can't be read"_s}}};
}

ExitStatus ZonesShowCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    const QString file = arguments.positionals().isEmpty() ? paths::zoneFile() : arguments.positional(0);
    QString fault;
    const std::optional<QByteArray> content = readInputFile(file, &fault);
    if (!content) {
        terminal.complain(u"zones show: "_s + fault);
        return ExitStatus::WrongUse;
    }
    const QList<PowerZone> zones = parseZones(*content);
    const ZoneTable table(zones);
    if (arguments.isSet(u"json"_s)) {
        terminal.write(toJson(file, zones, table));
        return ExitStatus::Done;
    }
    const ZonePalette palette(table);
    printStrip(table, palette, terminal);
    terminal.print();
    printBands(table, palette, terminal);
    QStringList skipped;
    for (const PowerZone& zone : zones) {
        if (!zone.isBand()) {
            skipped.append(shown(zone.name));
        }
    }
    if (!skipped.isEmpty()) {
        terminal.print();
        terminal.print(u"skipped, for their bounds: "_s + skipped.join(u", "_s));
    }
    return ExitStatus::Done;
}
