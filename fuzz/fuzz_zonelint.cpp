// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ChargeTrace.h"
#include "Fuzzing.h"
#include "IniText.h"
#include "ReplayPicture.h"
#include "ZoneLinter.h"
#include "ZoneReader.h"
#include "ZoneReplay.h"

#include <QSet>

int LLVMFuzzerInitialize(int*, char***)
{
    fuzzing::silenceLog();
    return 0;
}

/// The input is a zone file to be checked and, behind a line "#trace", a trace of charges.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray input = fuzzing::bytes(data, size);
    const qsizetype end = input.indexOf("#trace\n");
    const QByteArray content = input.left(end < 0 ? input.size() : end);
    const QByteArray csv = end < 0 ? QByteArray() : input.mid(end);
    const IniText text(content);
    const QList<PowerZone> zones = parseZones(content);

    const qsizetype lines = text.placeOf(content.size()).line;
    for (const ZoneFinding& finding : findingsOf(content)) {
        fuzzing::require(finding.line >= 1 && finding.line <= lines && finding.column >= 1,
                         "each place is in the file");
        fuzzing::require(!finding.found.contains(u'\x1b'), "a message has no control characters");
    }

    QSet<QString> placed;
    for (const IniStatement& statement : text.statements()) {
        if (statement.kind == IniStatement::Kind::Key && statement.name.contains(u'/')) {
            placed.insert(statement.name.section(u'/', 0, 0));
        }
    }
    QSet<QString> read;
    for (const PowerZone& zone : zones) {
        read.insert(zone.name);
    }
    fuzzing::require(placed == read, "the text has the zones that the daemon reads");

    QString fault;
    if (const std::optional<ChargeTrace> trace = ChargeTrace::parse(csv, &fault)) {
        const ZoneTable table(zones);
        const ZoneReplay replay(table, *trace);
        fuzzing::require(!replaypicture::svg(table, *trace, replay, fault).isEmpty(), "each trace has a picture");
        fuzzing::require(!replaypicture::lines(table, *trace, replay, 80, true).isEmpty(), "each trace has a drawing");
    } else {
        fuzzing::require(fault.contains(u"expected"), "what is wrong is said");
    }
    return 0;
}
