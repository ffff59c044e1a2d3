// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZonesCheckCommand.h"

#include "InputFile.h"
#include "Terminal.h"
#include "ZoneLinter.h"
#include "ZoneReader.h"
#include "ZoneTable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using Severity = ZoneFinding::Severity;

namespace {

Terminal::Style styleOf(Severity severity)
{
    return severity == Severity::Error     ? Terminal::Style::Bad
           : severity == Severity::Warning ? Terminal::Style::Notice
                                           : Terminal::Style::Dim;
}

QString countText(const QList<ZoneFinding>& findings, Severity severity)
{
    const auto count = std::count_if(findings.begin(), findings.end(),
                                     [severity](const ZoneFinding& finding) { return finding.severity == severity; });
    return QString::number(count) + u' ' + severityName(severity) + (count == 1 ? u""_s : u"s"_s);
}

QString zoneCountText(qsizetype count)
{
    return count == 1 ? u"1 zone"_s : u"%1 zones"_s.arg(count);
}

void print(const QString& file, qsizetype zones, const QList<ZoneFinding>& findings, Terminal& terminal)
{
    for (const ZoneFinding& finding : findings) {
        terminal.print(terminal.styled(u"%1:%2:%3:"_s.arg(printable(file), QString::number(finding.line),
                                                          QString::number(finding.column)),
                                       Terminal::Style::Strong) +
                       u' ' + terminal.styled(severityName(finding.severity) + u':', styleOf(finding.severity)) + u' ' +
                       finding.found + u"; expected " + finding.meant + u' ' +
                       terminal.styled(u'[' + finding.id + u']', Terminal::Style::Dim));
    }
    terminal.print(u"%1: %2; "_s.arg(printable(file), zoneCountText(zones)) +
                   (findings.isEmpty()
                        ? u"no findings"_s
                        : countText(findings, Severity::Error) + u", " + countText(findings, Severity::Warning) +
                              u", " + countText(findings, Severity::Note)));
}

QJsonObject toJson(const ZoneFinding& finding)
{
    return {{u"id"_s, finding.id},         {u"severity"_s, severityName(finding.severity)},
            {u"line"_s, finding.line},     {u"column"_s, finding.column},
            {u"zone"_s, finding.zone},     {u"found"_s, finding.found},
            {u"expected"_s, finding.meant}};
}

} // namespace

CommandDescription ZonesCheckCommand::describe() const
{
    return {
        u"zones check"_s,
        u"find what is wrong with zone files"_s,
        u"Reads each file as the power daemon would, and says what in it does not do what was probably meant: misspelt "
        "keys, values that are not whole numbers, bands that are empty, cut, never apply or are so narrow that a "
        "fluctuating charge crosses them, charges without a zone. Each finding is a line FILE:LINE:COLUMN: SEVERITY: "
        "what is there; expected ... [ID].\n\n"
        "An error does not do what it says; a warning probably does not do what was meant. Notes are worth knowing, "
        "and "
        "count as findings only with --strict."_s,
        {{u"FILE"_s, u"a zone file"_s, false, true, true}},
        {{{u"json"_s}, u"print one JSON object with all findings"_s},
         {{u"strict"_s}, u"let notes count as findings"_s},
         {{u"noise"_s}, u"by how many percent the charge fluctuates (%1)"_s.arg(kChargeNoisePercent), u"PERCENT"_s}},
        {{u"zones check zones.ini"_s, u"what is wrong with this file"_s},
         {u"zones check --strict --json configs/*.ini"_s, u"for a program, notes included"_s}},
        {{ExitStatus::Done, u"no findings, or notes only"_s},
         {ExitStatus::WrongUse, u"a file can't be read"_s},
         {ExitStatus::Findings, u"there are findings"_s}}};
}

ExitStatus ZonesCheckCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    int noise = kChargeNoisePercent;
    if (arguments.isSet(u"noise"_s)) {
        bool isNumber = false;
        noise = arguments.value(u"noise"_s).toInt(&isNumber);
        if (!isNumber || noise < 0 || noise > ZoneTable::kMaxCharge) {
            terminal.complain(u"zones check: --noise: found \"%1\"; expected a whole number from 0 to 100"_s.arg(
                printable(arguments.value(u"noise"_s))));
            return ExitStatus::WrongUse;
        }
    }
    const Severity leastThatCounts = arguments.isSet(u"strict"_s) ? Severity::Note : Severity::Warning;
    ExitStatus status = ExitStatus::Done;
    QJsonArray files;
    for (const QString& file : arguments.positionals()) {
        QString fault;
        const std::optional<QByteArray> content = readInputFile(file, &fault);
        if (!content) {
            terminal.complain(u"zones check: "_s + fault);
            status = ExitStatus::WrongUse;
            continue;
        }
        const QList<ZoneFinding> findings = findingsOf(*content, noise);
        const qsizetype zones = ZoneTable(parseZones(*content)).zones().size();
        if (arguments.isSet(u"json"_s)) {
            QJsonArray array;
            for (const ZoneFinding& finding : findings) {
                array.append(toJson(finding));
            }
            files.append(QJsonObject{{u"file"_s, file}, {u"zones"_s, zones}, {u"findings"_s, array}});
        } else {
            print(file, zones, findings, terminal);
        }
        const bool hasFindings =
            std::any_of(findings.begin(), findings.end(),
                        [leastThatCounts](const ZoneFinding& finding) { return finding.severity <= leastThatCounts; });
        status = hasFindings && status == ExitStatus::Done ? ExitStatus::Findings : status;
    }
    if (arguments.isSet(u"json"_s)) {
        terminal.write(QJsonDocument(QJsonObject{{u"files"_s, files}}).toJson(QJsonDocument::Compact) + '\n');
    }
    return status;
}
