// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZonesExplainCommand.h"

#include "InputFile.h"
#include "Paths.h"
#include "ShownText.h"
#include "Terminal.h"
#include "ZoneReader.h"
#include "ZoneTable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

QString ceilingSentence(const QString& what, int ceiling)
{
    return ceiling < 0
               ? u"%1: left alone"_s.arg(what)
               : u"%1: lowered to %2 if it is above that, when the zone is entered; never raised"_s.arg(what).arg(
                     ceiling);
}

/// The zones whose bands have a charge, the owner first.
QList<PowerZone> zonesWith(const ZoneTable& table, int charge)
{
    QList<PowerZone> zones;
    std::copy_if(
        table.zones().begin(), table.zones().end(), std::back_inserter(zones),
        [charge](const PowerZone& zone) { return zone.lowThreshold < charge && charge <= zone.highThreshold; });
    return zones;
}

void print(const QList<PowerZone>& candidates, int charge, Terminal& terminal)
{
    if (candidates.isEmpty()) {
        terminal.print(terminal.styled(u"%1 %: no zone"_s.arg(charge), Terminal::Style::Strong));
        terminal.print(charge == 0 ? u"Lower bounds are exclusive, so that no zone has a charge of 0."_s
                                   : u"No band reaches this charge."_s);
        terminal.print(u"The zone that was in force stays in force; the daemon logs \"Undefined zone index\"."_s);
        return;
    }
    const PowerZone& owner = candidates.constFirst();
    terminal.print(
        terminal.styled(u"%1 %: zone %2"_s.arg(QString::number(charge), shown(owner.name)), Terminal::Style::Strong));
    for (const PowerZone& zone : candidates) {
        const bool isOwner = &zone == &owner;
        const bool isEqual = zone.highThreshold - zone.lowThreshold == owner.highThreshold - owner.lowThreshold;
        terminal.print(u"  %1 covers %2"_s.arg(shown(zone.name), rangeText(zone.lowThreshold + 1, zone.highThreshold)) +
                       (isOwner   ? QString()
                        : isEqual ? u"; as wide, but its name sorts later"_s
                                  : u"; wider, so it gives way"_s));
    }
    terminal.print(ceilingSentence(u"volume"_s, owner.volume));
    terminal.print(ceilingSentence(u"light"_s, owner.light));
}

QByteArray toJson(const QList<PowerZone>& candidates, int charge)
{
    QJsonArray names;
    for (const PowerZone& zone : candidates) {
        names.append(zone.name);
    }
    QJsonObject object{{u"charge"_s, charge}, {u"zone"_s, QJsonValue()}, {u"candidates"_s, names}};
    if (!candidates.isEmpty()) {
        object.insert(u"zone"_s, candidates.constFirst().name);
        object.insert(u"volume"_s, candidates.constFirst().volume);
        object.insert(u"light"_s, candidates.constFirst().light);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

CommandDescription ZonesExplainCommand::describe() const
{
    return {
        u"zones explain"_s,
        u"explain which zone a charge selects"_s,
        u"Lists the zones whose bands cover the charge, says which of them wins and why, and what entering it does to "
        "volume and light. A charge above 100 counts as 100."_s,
        {{u"CHARGE"_s, u"a whole number of percent"_s},
         {u"FILE"_s, u"a zone file; without it, the device's own"_s, true, false, true}},
        {{{u"json"_s}, u"print one JSON object"_s}},
        {{u"zones explain 16"_s, u"by the zones of this device"_s},
         {u"zones explain 16 zones.ini"_s, u"by those of a file"_s}},
        {{ExitStatus::Done, u"explained"_s}, {ExitStatus::WrongUse, u"the file can't be read"_s}}};
}

ExitStatus ZonesExplainCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    bool isNumber = false;
    QString word = arguments.positional(0);
    const int charge = (word.endsWith(u'%') ? word.chopped(1) : word).toInt(&isNumber);
    if (!isNumber || charge < 0) {
        terminal.complain(
            u"zones explain: CHARGE: found \"%1\"; expected a whole number of percent"_s.arg(printable(word)));
        return ExitStatus::WrongUse;
    }
    QString fault;
    const std::optional<QByteArray> content =
        readInputFile(arguments.positionals().size() > 1 ? arguments.positional(1) : paths::zoneFile(), &fault);
    if (!content) {
        terminal.complain(u"zones explain: "_s + fault);
        return ExitStatus::WrongUse;
    }
    const int clamped = std::min(charge, ZoneTable::kMaxCharge);
    const QList<PowerZone> candidates = zonesWith(ZoneTable(parseZones(*content)), clamped);
    if (arguments.isSet(u"json"_s)) {
        terminal.write(toJson(candidates, clamped));
    } else {
        print(candidates, clamped, terminal);
    }
    return ExitStatus::Done;
}
