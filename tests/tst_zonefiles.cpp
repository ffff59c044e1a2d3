// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ChargeTrace.h"
#include "IniText.h"
#include "Program.h"
#include "ReplayPicture.h"
#include "Table.h"
#include "Terminal.h"
#include "ZoneLinter.h"
#include "ZoneReader.h"
#include "ZoneReplay.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <QXmlStreamReader>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char kZones[] = "[Normal]\nhigh_treshold=100\nvolume=-1\nlight=-1\n"
                          "[Low]\nlow_treshold=15\nhigh_treshold=40\nvolume=80\nlight=60\n";

/// A zone that has all charges and both ceilings, in front of what is tried.
QByteArray beneath(const QByteArray& text)
{
    return "[Z]\nhigh_treshold=100\nvolume=-1\nlight=-1\n" + text;
}

/// "LINE:COLUMN ID" for each.
QStringList inShort(const QList<ZoneFinding>& findings)
{
    QStringList lines;
    for (const ZoneFinding& finding : findings) {
        lines.append(u"%1:%2 %3"_s.arg(QString::number(finding.line), QString::number(finding.column), finding.id));
    }
    return lines;
}

/// What the program prints and ends with.
struct Outcome
{
    ExitStatus status;
    QString output;
    QString errors;
};

Outcome run(const QStringList& words)
{
    QTemporaryFile output;
    QTemporaryFile errors;
    if (!output.open() || !errors.open()) {
        qFatal("no temporary file");
    }
    Outcome outcome;
    {
        Terminal terminal(output.handle(), errors.handle());
        outcome.status = Program(terminal).run(words);
    }
    output.seek(0);
    errors.seek(0);
    outcome.output = QString::fromUtf8(output.readAll());
    outcome.errors = QString::fromUtf8(errors.readAll());
    return outcome;
}

} // namespace

/// What zelt-power says about zone files.
class TstZoneFiles : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

    QString file(const QString& name, const QByteArray& content)
    {
        QFile file(m_folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
            qFatal("can't write %s", qPrintable(file.fileName()));
        }
        return file.fileName();
    }

private Q_SLOTS:
    void findings_data()
    {
        const Table<QByteArray, QStringList> row("content", "expected");
        row("none",
            beneath("[A]\nlow_treshold=\" 0 \"\nhigh_treshold=+15 ; remark\n; low_threshold=3\nvolume=0\nlight=100"),
            {});
        row("spelling", beneath("[A]\n low_threshold=5\nhigh_treshold=20\nVolume=1\ncolour=1\nlight=1\n"),
            {u"6:2 misspelt-key"_s, u"8:1 misspelt-key"_s, u"9:1 unknown-key"_s});
        row("no numbers", beneath("[A]\nlow_treshold=x\nhigh_treshold=80.5\nvolume=80,90\nlight=\n"),
            {u"6:14 not-a-number"_s, u"7:1 no-band"_s, u"7:15 not-a-number"_s, u"8:8 list-value"_s,
             u"9:7 empty-value"_s});
        row("Qt's own values",
            beneath("[A]\nhigh_treshold=@ByteArray(20)\nvolume=\\x38\\x30\nlight=@Variant(\\0\\0\\0\\t)\n"),
            {u"6:15 binary-value"_s, u"7:8 escaped-value"_s, u"8:7 binary-value"_s});
        row("bounds",
            beneath("[A]\nlow_treshold=20\nhigh_treshold=10\n[B]\nlow_treshold=20\nhigh_treshold=20\n[C]\nvolume=1\n"
                    "[D]\nlow_treshold=-5\nhigh_treshold=101\nvolume=1\nlight=1\n"),
            {u"1:1 never-applies"_s, u"7:1 reversed-band"_s, u"10:1 empty-band"_s, u"11:1 missing-bound"_s,
             u"14:14 cut-band"_s, u"15:15 cut-band"_s, u"1:1 equal-overlap"_s});
        row("ceilings", beneath("[A]\nhigh_treshold=20\nvolume=-7\nlight=101\n[B]\nhigh_treshold=50\n"),
            {u"7:8 negative-ceiling"_s, u"8:7 ceiling-too-high"_s, u"9:1 missing-ceiling"_s});
        row("never applies",
            beneath("[A]\nhigh_treshold=20\nvolume=1\nlight=1\n[B]\nlow_treshold=20\nhigh_treshold=41\n"
                    "volume=1\nlight=1\n[Both]\nlow_treshold=5\nhigh_treshold=40\nvolume=1\nlight=1\n"),
            {u"14:1 never-applies"_s});
        row("equal widths",
            beneath("[A]\nhigh_treshold=20\nvolume=1\nlight=1\n[B]\nlow_treshold=10\nhigh_treshold=30\n"
                    "volume=1\nlight=1\n"),
            {u"9:1 equal-overlap"_s});
        row("gaps",
            "[A]\nlow_treshold=10\nhigh_treshold=20\nvolume=1\nlight=1\n[B]\nlow_treshold=30\nhigh_treshold=40\n"
            "volume=1\nlight=1\n",
            {u"1:1 gap"_s, u"1:1 gap"_s, u"6:1 gap"_s});
        row("as narrow as the noise",
            beneath("[A]\nlow_treshold=10\nhigh_treshold=12\nvolume=1\nlight=1\n"
                    "[B]\nlow_treshold=20\nhigh_treshold=23\nvolume=1\nlight=1\n"),
            {u"5:1 flapping-band"_s});
        row("twice", beneath("[Z]\nvolume=5\n"), {u"5:1 duplicate-group"_s, u"6:1 duplicate-key"_s});
        row("groups",
            beneath("[general]\nlight=1\n[a\\b]\nlight=1\n[]\nlight=1\n[%41]\nlight=1\n[None\nlight=1\n[E]\n[F] x\n"),
            {u"5:1 general-group"_s, u"6:1 key-outside-group"_s, u"7:1 nested-group"_s, u"9:1 nameless-group"_s,
             u"11:1 escaped-name"_s, u"11:1 missing-bound"_s, u"13:1 unclosed-group"_s, u"13:1 zone-named-none"_s,
             u"13:1 missing-bound"_s, u"15:1 no-keys"_s, u"16:1 no-keys"_s, u"16:5 text-after-group"_s});
        row("remarks", "# a\n// b\nc\n" + beneath("# d=1\n"),
            {u"1:1 no-comment"_s, u"2:1 no-comment"_s, u"3:1 no-key"_s, u"8:1 no-comment"_s});
        row("open quote", beneath("[A]\nvolume=\"1\nhigh_treshold=20\n"),
            {u"5:1 missing-bound"_s, u"6:1 unclosed-quote"_s});
        row("line ends and columns",
            "\xef\xbb\xbf[Z]\r\nhigh_treshold=100\r\nvolume=-1\rlight=\xc3\xa9,\xc3\xa9 ; x\n\xc3\xa9=1\n",
            {u"1:1 byte-order-mark"_s, u"4:7 list-value"_s, u"5:1 unknown-key"_s});
        row("no text", QByteArray("[Z]\nhigh_treshold=100\0\nvolume=1\nlight=\xff\n", 40),
            {u"2:18 nul-byte"_s, u"4:7 not-a-number"_s, u"4:7 not-utf-8"_s});
        row("empty", "", {u"1:1 no-zones"_s});
    }

    void findings()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, expected);

        QStringList found = inShort(findingsOf(content));

        found.sort();
        expected.sort();
        QCOMPARE(found.join(u", "_s), expected.join(u", "_s));
    }

    void anyFileHasPlacesInItsText_data()
    {
        const Table<QByteArray> row("content");
        const QDir seeds(QStringLiteral(SOURCE_FOLDER "/fuzz/seeds/zonefile"));
        const QStringList names = seeds.entryList(QDir::Files);
        QVERIFY(!names.isEmpty());
        for (const QString& name : names) {
            QFile seed(seeds.filePath(name));
            QVERIFY(seed.open(QIODevice::ReadOnly));
            row(qPrintable(name), seed.readAll());
        }
        row("long lines", '[' + QByteArray(1'000'000, 'n') + "]\nvolume=" + QByteArray(1'000'000, '7') + '\n' +
                              QByteArray(1'000'000, 'k') + "=1\n" + QByteArray(1'000'000, '"'));
        row("NUL bytes", QByteArray(1'000'000, '\0'));
        row("deep", "[A]\nvolume=@Variant(" + QByteArray("\\0\\0\\0\\x9\\0\\0\\0\\x1").repeated(100'000) + ')');
        row("many", QByteArray("[A]\nhigh_treshold=5\nhigh_threshold=7\n").repeated(5000));
    }

    void anyFileHasPlacesInItsText()
    {
        QFETCH(QByteArray, content);

        const QList<ZoneFinding> findings = findingsOf(content);

        const TextPlace end = IniText(content).placeOf(content.size());
        QVERIFY(findings.size() < 5000);
        for (const ZoneFinding& finding : findings) {
            QVERIFY2(finding.line >= 1 && finding.line <= end.line && finding.column >= 1, qPrintable(finding.id));
            QVERIFY2(finding.found.size() < 400 && !finding.meant.isEmpty(), qPrintable(finding.found));
        }
        QSet<QString> zones;
        for (const PowerZone& zone : parseZones(content)) {
            zones.insert(zone.name);
        }
        QSet<QString> placed;
        const IniText text(content);
        for (const IniStatement& statement : text.statements()) {
            if (statement.kind == IniStatement::Kind::Key && statement.name.contains(u'/')) {
                placed.insert(statement.name.section(u'/', 0, 0));
            }
        }
        QCOMPARE(placed, zones);
    }

    void checkingForPeopleAndPrograms()
    {
        const QString good = file(u"good.ini"_s, beneath({}));
        const QString noted = file(u"noted.ini"_s, "[A]\nhigh_treshold=100\nvolume=1\n");
        const QString bad =
            file(u"bad.ini"_s, beneath("[A]\nlow_threshold=5\nhigh_treshold=50\n\x1b[2J\nvolume=1\nlight=1\n"));

        QCOMPARE(run({u"zones"_s, u"check"_s, good}).status, ExitStatus::Done);
        QCOMPARE(run({u"zones"_s, u"check"_s, good, noted}).status, ExitStatus::Done);
        QCOMPARE(run({u"zones"_s, u"check"_s, u"--strict"_s, noted}).status, ExitStatus::Findings);
        QCOMPARE(run({u"zones"_s, u"check"_s, u"--noise"_s, u"100"_s, good}).status, ExitStatus::Findings);
        const Outcome text = run({u"zones"_s, u"check"_s, good, bad});
        QCOMPARE(text.status, ExitStatus::Findings);
        QVERIFY(text.output.contains(bad + u":6:1: error: the key \"low_threshold\"; it is ignored; "
                                           "expected \"low_treshold\", spelled this way [misspelt-key]\n"_s));
        QVERIFY(!text.output.contains(u'\x1b'));
        const Outcome json = run({u"zones"_s, u"check"_s, u"--json"_s, bad});
        QVERIFY(json.output.contains(
            u"{\"column\":1,\"expected\":\"\\\"low_treshold\\\", spelled this way\",\"found\":\"the "
            "key \\\"low_threshold\\\"; it is ignored\",\"id\":\"misspelt-key\",\"line\":6,"
            "\"severity\":\"error\",\"zone\":\"A\"}"_s));

        const Outcome missing = run({u"zones"_s, u"check"_s, good + u"x"_s, bad});
        QCOMPARE(missing.status, ExitStatus::WrongUse);
        QVERIFY(missing.errors.contains(u"No such file"_s) && missing.output.contains(u"misspelt-key"_s));
        QCOMPARE(run({u"zones"_s, u"check"_s, u"/dev/zero"_s}).status, ExitStatus::WrongUse);
        QCOMPARE(run({u"zones"_s, u"check"_s, u"--noise"_s, u"-1"_s, good}).status, ExitStatus::WrongUse);
    }

    void showingAndExplaining()
    {
        const QString zones = file(u"zones.ini"_s, kZones);

        QCOMPARE(run({u"zones"_s, u"show"_s, zones}).output,
                 u"0    10   20   30   40   50   60   70   80   90   100\n"
                 ".NNNNNNNLLLLLLLLLLLLLNNNNNNNNNNNNNNNNNNNNNNNNNNNNNN\n\n"
                 "charge           volume       light        zone\n"
                 "0 %              no zone; the previous one stays in force\n"
                 "1 % to 15 %      as it is     as it is     N Normal\n"
                 "16 % to 40 %     at most 80   at most 60   L Low\n"
                 "41 % to 100 %    as it is     as it is     N Normal\n"_s);
        QVERIFY(
            run({u"zones"_s, u"explain"_s, u"16"_s, zones})
                .output.startsWith(
                    u"16 %: zone Low\n  Low covers 16 % to 40 %\n  Normal covers 1 % to 100 %; wider, so it gives way\n"_s));
        QVERIFY(run({u"zones"_s, u"explain"_s, u"0%"_s, zones}).output.startsWith(u"0 %: no zone\n"_s));
        QVERIFY(run({u"zones"_s, u"explain"_s, u"150"_s, u"--json"_s, zones})
                    .output.startsWith(u"{\"candidates\":[\"Normal\"],\"charge\":100,"_s));
        QCOMPARE(run({u"zones"_s, u"explain"_s, u"full"_s, zones}).status, ExitStatus::WrongUse);
    }

    void thePageHasEveryFinding()
    {
        const auto idsOf = [](const QString& path, const QString& pattern) {
            QFile source(QStringLiteral(SOURCE_FOLDER) + path);
            QSet<QString> ids;
            if (source.open(QIODevice::ReadOnly)) {
                auto match = QRegularExpression(pattern).globalMatch(QString::fromUtf8(source.readAll()));
                while (match.hasNext()) {
                    const QRegularExpressionMatch found = match.next();
                    ids.insert(found.captured(1) + u' ' + found.captured(2).toLower());
                }
            }
            return ids;
        };
        const QSet<QString> inCode = idsOf(u"/client/ZoneLinter.cpp"_s, u"\"([a-z0-9-]+)\",\\s*Severity::(\\w+)"_s);

        QVERIFY(inCode.size() > 20);
        QCOMPARE(idsOf(u"/docs/zone-files.md"_s, u"\\n\\| `([a-z0-9-]+)` \\| (\\w+) "_s), inCode);
    }

    void thePageHasThePicture()
    {
        const QString picture = m_folder.filePath(u"page.svg"_s);
        const QString root = QStringLiteral(SOURCE_FOLDER);
        (void)run({u"zones"_s, u"replay"_s, root + u"/powermanager/zones.ini", root + u"/docs/examples/day.csv",
                   u"--svg"_s, picture});

        QFile drawn(picture);
        QFile shipped(root + u"/docs/zones-day.svg");
        QVERIFY(drawn.open(QIODevice::ReadOnly) && shipped.open(QIODevice::ReadOnly));
        QCOMPARE(shipped.readAll(), drawn.readAll());
    }

    void traces_data()
    {
        const Table<QByteArray, QString> row("csv", "outcome");
        row("seconds", "0,100\n10,40.9\n", u"0 100, 10 40"_s);
        row("times of day, past midnight", "# day\ntime,charge\n23:59:59,5\n00:00:01,4\r\n", u"0 5, 2 4"_s);
        row("dates, other columns", "light,x,charge,time\n,,7,2026-03-08T07:30:00\n5,,8,2026-03-08 07:31:00\n",
            u"0 7, 60 8"_s);
        row("no time", "0,1\nnoon,2\n",
            u"2:1: found \"noon\"; expected a time: seconds, hh:mm:ss, or yyyy-MM-ddThh:mm:ss"_s);
        row("no charge", "0,101\n", u"1:3: found \"101\"; expected a charge from 0 to 100"_s);
        row("not a number", "0,nan\n", u"1:3: found \"nan\"; expected a charge from 0 to 100"_s);
        row("back in time", "5,1\n4,1\n", u"2:1: found \"4\"; expected a time not before that of the line above"_s);
        row("no columns", "a,b\n", u"1:1: found \"a,b\"; expected a time and a charge, or their names: time,charge"_s);
        row("nothing", "# empty\n", u"1:1: found no sample; expected lines of TIME,CHARGE"_s);
    }

    void traces()
    {
        QFETCH(QByteArray, csv);
        QString outcome;

        const std::optional<ChargeTrace> trace = ChargeTrace::parse(csv, &outcome);

        if (trace) {
            QStringList samples;
            for (const ChargeSample& sample : trace->samples()) {
                samples.append(u"%1 %2"_s.arg(sample.seconds).arg(sample.chargePercent));
            }
            outcome = samples.join(u", "_s);
        }
        QTEST(outcome, "outcome");
    }

    void replay()
    {
        const QString zones = file(u"zones.ini"_s, kZones);
        const QString day = file(u"day.csv"_s, "0,0\n60,41,90,50\n120,40,90,50\n180,41\n240,40,70,61\n7200,0\n");
        const QString picture = m_folder.filePath(u"day.svg"_s);

        const Outcome text = run({u"zones"_s, u"replay"_s, zones, day, u"--svg"_s, picture});

        QCOMPARE(text.status, ExitStatus::Done);
        QCOMPARE(text.output.mid(text.output.indexOf(u"\n\n"_s) + 2),
                 u"00:01:00   41 %  no zone -> Normal\n"
                 "00:02:00   40 %  Normal -> Low; volume 90 lowered to 80\n"
                 "00:03:00   41 %  Low -> Normal; a flap\n"
                 "00:04:00   40 %  Normal -> Low; light 61 lowered to 60; a flap\n\n"
                 ". 00:01:00  no zone\nL 01:57:00  Low\nN 00:02:00  Normal\n"
                 "3 changes, 1.5 per hour; 2 flaps (there and back within 10 min)\n"_s);
        QFile svg(picture);
        QVERIFY(svg.open(QIODevice::ReadOnly));
        QXmlStreamReader reader(&svg);
        int elements = 0;
        while (!reader.atEnd()) {
            elements += reader.readNext() == QXmlStreamReader::StartElement ? 1 : 0;
        }
        QVERIFY2(!reader.hasError() && elements > 10, qPrintable(reader.errorString()));

        QCOMPARE(run({u"zones"_s, u"replay"_s, zones, zones}).errors,
                 u"zelt-power: zones replay: %1:1:1: found \"[Normal]\"; expected a time and a charge, or their names: "
                 "time,charge\n"_s.arg(zones));
        QCOMPARE(run({u"zones"_s, u"replay"_s, zones, day, u"--svg"_s, u"/nowhere/x.svg"_s}).status,
                 ExitStatus::WrongUse);
    }
};

QTEST_GUILESS_MAIN(TstZoneFiles)
#include "tst_zonefiles.moc"
