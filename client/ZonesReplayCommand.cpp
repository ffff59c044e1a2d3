// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZonesReplayCommand.h"

#include "ChargeTrace.h"
#include "InputFile.h"
#include "ReplayPicture.h"
#include "ShownText.h"
#include "Terminal.h"
#include "ZonePalette.h"
#include "ZoneReader.h"
#include "ZoneReplay.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

using namespace Qt::Literals::StringLiterals;

namespace {

QString nameOf(const ZoneTable& table, int zone)
{
    return zone < 0 ? u"no zone"_s : shown(table.zones().at(zone).name);
}

void printChange(const ZoneTable& table, const ZoneChange& change, Terminal& terminal)
{
    const PowerZone& zone = table.zones().at(change.to);
    QString line = u"%1  %2 %  "_s.arg(clockText(change.seconds)).arg(change.chargePercent, 3);
    line += nameOf(table, change.from) + u" -> " + nameOf(table, change.to);
    if (change.volumeAbove) {
        line += u"; volume %1 lowered to %2"_s.arg(*change.volumeAbove).arg(zone.volume);
    }
    if (change.lightAbove) {
        line += u"; light %1 lowered to %2"_s.arg(*change.lightAbove).arg(zone.light);
    }
    terminal.print(change.isFlap ? terminal.styled(line + u"; a flap", Terminal::Style::Notice) : line);
}

void print(const ZoneTable& table, const ChargeTrace& trace, const ZoneReplay& replay, Terminal& terminal)
{
    const ZonePalette palette(table);
    for (const QString& line : replaypicture::lines(table, trace, replay, terminal.width(), terminal.hasColours())) {
        terminal.print(line);
    }
    terminal.print();
    for (const ZoneChange& change : replay.changes()) {
        printChange(table, change, terminal);
    }
    terminal.print();
    for (int zone = ZoneTable::kNoZone; zone < table.zones().size(); ++zone) {
        const double seconds = replay.secondsIn(zone);
        if (seconds > 0) {
            terminal.print(
                u"%1 %2  %3"_s.arg(palette.cell(zone, terminal.hasColours()), clockText(seconds), nameOf(table, zone)));
        }
    }
    terminal.print(u"%1 changes, %2 per hour; %3 flaps (there and back within %4 min)"_s.arg(replay.count())
                       .arg(replay.countPerHour(), 0, 'f', 1)
                       .arg(replay.flaps())
                       .arg(ZoneReplay::kFlapSeconds / 60));
}

QByteArray toJson(const ZoneTable& table, const ChargeTrace& trace, const ZoneReplay& replay)
{
    const auto name = [&table](int zone) { return zone < 0 ? QJsonValue() : QJsonValue(table.zones().at(zone).name); };
    const auto value = [](const std::optional<double>& number) { return number ? QJsonValue(*number) : QJsonValue(); };
    QJsonArray changes;
    for (const ZoneChange& change : replay.changes()) {
        changes.append(QJsonObject{{u"seconds"_s, change.seconds},
                                   {u"charge"_s, change.chargePercent},
                                   {u"from"_s, name(change.from)},
                                   {u"to"_s, name(change.to)},
                                   {u"flap"_s, change.isFlap},
                                   {u"volume_above"_s, value(change.volumeAbove)},
                                   {u"light_above"_s, value(change.lightAbove)}});
    }
    QJsonArray times;
    for (int zone = ZoneTable::kNoZone; zone < table.zones().size(); ++zone) {
        if (replay.secondsIn(zone) > 0) {
            times.append(QJsonObject{{u"zone"_s, name(zone)}, {u"seconds"_s, replay.secondsIn(zone)}});
        }
    }
    return QJsonDocument(QJsonObject{{u"seconds"_s, trace.length()},
                                     {u"changes_per_hour"_s, replay.countPerHour()},
                                     {u"flaps"_s, replay.flaps()},
                                     {u"zones"_s, times},
                                     {u"changes"_s, changes}})
               .toJson(QJsonDocument::Compact) +
           '\n';
}

} // namespace

CommandDescription ZonesReplayCommand::describe() const
{
    return {
        u"zones replay"_s,
        u"play recorded charges against a zone file"_s,
        u"Shows what the zones of FILE would have done over a recorded day: a picture of the charge with the zone in "
        "force, each change with what it would have lowered, how often the zone changed, and how often it flapped.\n\n"
        "TRACE has lines \"TIME,CHARGE\", with \",VOLUME,LIGHT\" behind them if these were recorded; a first line of "
        "names (time,charge,volume,light) may tell another order. TIME is a number of seconds, hh:mm:ss, or "
        "yyyy-MM-ddThh:mm:ss. '#' begins a comment."_s,
        {{u"FILE"_s, u"a zone file"_s, false, false, true},
         {u"TRACE"_s, u"a CSV file of charges"_s, false, false, true}},
        {{{u"svg"_s}, u"also write the picture to this file"_s, u"PICTURE"_s, true},
         {{u"json"_s}, u"print one JSON object in place of the text"_s}},
        {{u"zones replay zones.ini day.csv"_s, u"what these zones would have done that day"_s},
         {u"zones replay zones.ini day.csv --svg day.svg"_s, u"with a picture for a page"_s}},
        {{ExitStatus::Done, u"played"_s},
         {ExitStatus::WrongUse, u"a file can't be read, or written, or TRACE has a wrong line"_s}}};
}

ExitStatus ZonesReplayCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    const auto refuse = [&terminal](const QString& fault) {
        terminal.complain(u"zones replay: "_s + fault);
        return ExitStatus::WrongUse;
    };
    const QString file = arguments.positional(0);
    QString fault;
    const std::optional<QByteArray> content = readInputFile(file, &fault);
    const std::optional<QByteArray> csv = content ? readInputFile(arguments.positional(1), &fault) : std::nullopt;
    if (!csv) {
        return refuse(fault);
    }
    const std::optional<ChargeTrace> trace = ChargeTrace::parse(*csv, &fault);
    if (!trace) {
        return refuse(shown(arguments.positional(1)) + u':' + fault);
    }
    const ZoneTable table(parseZones(*content));
    const ZoneReplay replay(table, *trace);
    if (arguments.isSet(u"svg"_s)) {
        QSaveFile picture(arguments.value(u"svg"_s));
        const QByteArray svg = replaypicture::svg(table, *trace, replay, QFileInfo(file).fileName());
        if (!picture.open(QIODevice::WriteOnly) || picture.write(svg) != svg.size() || !picture.commit()) {
            return refuse(u"--svg: %1: %2"_s.arg(shown(picture.fileName()), picture.errorString()));
        }
    }
    if (arguments.isSet(u"json"_s)) {
        terminal.write(toJson(table, *trace, replay));
    } else {
        print(table, *trace, replay, terminal);
    }
    return ExitStatus::Done;
}
