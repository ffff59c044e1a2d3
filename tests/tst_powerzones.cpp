// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionManager.h"
#include "Log.h"
#include "Paths.h"
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The log lines since the last call.
QStringList takeLog()
{
    QStringList lines;
    const QList<Timeline::Entry> entries = timeline().entries();
    for (const Timeline::Entry& entry : entries) {
        lines.append(entry.toString());
    }
    timeline().clear();
    return lines;
}

/// Which charges belong to which zone, e.g. "1-15 Critical, 16-100 Normal".
QString owners(ActionManager& manager)
{
    QStringList bands;
    int begin = 0;
    QString name;
    for (int charge = 0; charge <= 101; ++charge) {
        manager.reload(); // else a charge without a zone keeps the one before
        const int zone = charge <= 100 ? manager.setBatteryCharge(charge) : -1;
        const QString next = zone < 0 ? QString() : manager.zoneName(zone);
        if (next != name) {
            if (!name.isEmpty()) {
                bands.append(u"%1-%2 %3"_s.arg(begin).arg(charge - 1).arg(name));
            }
            begin = charge;
            name = next;
        }
    }
    return bands.join(u", "_s);
}

} // namespace

/// The zone file and the table of charges made of it.
class TstPowerZones : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        _logInterface = new LogInterface(QString());
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        QDir(QStringLiteral(ZELT_ROOT)).removeRecursively();
        timeline().clear();
    }

    void zoneFile_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<QString>("owners");

        QTest::newRow("narrow bands over a wide one")
            << QByteArray("[Normal]\nlow_treshold=0\nhigh_treshold=100\n[Low]\nlow_treshold=15\nhigh_treshold=40\n"
                          "[Critical]\nlow_treshold=0\nhigh_treshold=15\n")
            << QStringList{u"log 4 Loaded zone Critical from 0% to 15%"_s, u"log 4 Loaded zone Low from 15% to 40%"_s,
                           u"log 4 Loaded zone Normal from 0% to 100%"_s}
            << u"1-15 Critical, 16-40 Low, 41-100 Normal"_s;
        QTest::newRow("overlap belongs to the narrower")
            << QByteArray("[A]\nhigh_treshold=30\n[B]\nlow_treshold=20\nhigh_treshold=40\n")
            << QStringList{u"log 4 Loaded zone A from 0% to 30%"_s, u"log 4 Loaded zone B from 20% to 40%"_s}
            << u"1-20 A, 21-40 B"_s;
        QTest::newRow("equal widths: the first listed wins")
            << QByteArray("[A]\nhigh_treshold=20\n[B]\nlow_treshold=10\nhigh_treshold=30\n")
            << QStringList{u"log 4 Loaded zone A from 0% to 20%"_s, u"log 4 Loaded zone B from 10% to 30%"_s}
            << u"1-20 A, 21-30 B"_s;
        QTest::newRow("bounds are clamped")
            << QByteArray("[A]\nlow_treshold=-20\nhigh_treshold=150\n[B]\nlow_treshold=-99999999999\n"
                          "high_treshold=99999999999\n")
            << QStringList{u"log 4 Loaded zone A from 0% to 100%"_s, u"log 4 Loaded zone B from 0% to 100%"_s}
            << u"1-100 A"_s;
        QTest::newRow("no band, no zone")
            << QByteArray("[A]\nlow_treshold=50\nhigh_treshold=50\n[B]\nlow_treshold=60\nhigh_treshold=40\n"
                          "[C]\nlow_treshold=150\nhigh_treshold=200\n[D]\nlow_treshold=10\n")
            << QStringList{u"log 4 Skipped zone A from 50% to 50%"_s, u"log 4 Skipped zone B from 60% to 40%"_s,
                           u"log 4 Skipped zone C from 150% to 100%"_s, u"log 4 Skipped zone D from 10% to 0%"_s}
            << QString();
        QTest::newRow("text in place of numbers reads as 0")
            << QByteArray("[A]\nlow_treshold=many\nhigh_treshold=7,5\n[B]\nlow_treshold=x\nhigh_treshold=9\n")
            << QStringList{u"log 4 Skipped zone A from 0% to 0%"_s, u"log 4 Loaded zone B from 0% to 9%"_s}
            << u"1-9 B"_s;
        QTest::newRow("keys outside groups, other keys, correct spelling")
            << QByteArray("high_treshold=90\n[A]\nhigh_treshold=5\nhigh_threshold=50\ncolour=red\n")
            << QStringList{u"log 4 Loaded zone A from 0% to 5%"_s} << u"1-5 A"_s;
        QTest::newRow("empty file") << QByteArray("") << QStringList() << QString();
        QTest::newRow("binary garbage") << QByteArray("\x00\xff[\x80]=\n\x7f"
                                                      "ELF\x02[[]]\n=\n",
                                                      21)
                                        << QStringList() << QString();
    }

    void zoneFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, log);
        writeFile(paths::zoneFile(), content);
        ActionManager manager(nullptr);

        QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));

        log.prepend(u"log 9 Reading "_s + paths::zoneFile());
        QCOMPARE(takeLog(), log);
        QCOMPARE(manager.currentZone(), -1);
        QTEST(owners(manager), "owners");
    }

    void shippedExamples_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("owners");
        QTest::newRow("zones.ini") << QStringLiteral(SOURCE_FOLDER "/powermanager/zones.ini")
                                   << u"1-15 Critical, 16-40 Low, 41-100 Normal"_s;
        QTest::newRow("README") << QStringLiteral(SOURCE_FOLDER "/README.md")
                                << u"1-15 Normal, 16-40 Low, 41-100 Normal"_s;
    }

    void shippedExamples()
    {
        QFETCH(QString, file);
        QFile source(file);
        QVERIFY(source.open(QIODevice::ReadOnly));
        QByteArray content = source.readAll();
        if (const qsizetype begin = content.indexOf("```ini\n"); begin >= 0) {
            content = content.mid(begin + 7, content.indexOf("```\n", begin + 7) - begin - 7);
        }
        writeFile(paths::zoneFile(), content);
        ActionManager manager(nullptr);

        QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));

        QTEST(owners(manager), "owners");
    }

    void unreadableFileHasNoZones()
    {
        ActionManager manager(nullptr);
        QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));
        QCOMPARE(owners(manager), QString());

        QVERIFY(QDir().mkpath(paths::zoneFile())); // a folder in the file's place
        timeline().clear();
        QVERIFY(manager.reload());
        QCOMPARE(takeLog(), QStringList{u"log 9 Reading "_s + paths::zoneFile()});
        QCOMPARE(manager.setBatteryCharge(50), -1);
        QCOMPARE(takeLog(), QStringList{u"log 9 Zone -1 not changed for charge 50"_s});

        QVERIFY(QDir().rmdir(paths::zoneFile()));
        QCOMPARE(mkfifo(qPrintable(paths::zoneFile()), 0600), 0); // would block a reader until somebody writes
        QVERIFY(manager.reload());
        QCOMPARE(manager.setBatteryCharge(50), -1);
    }

    void chargeWithoutZoneKeepsTheZone()
    {
        writeFile(paths::zoneFile(),
                  "[A]\nlow_treshold=10\nhigh_treshold=20\n[B]\nlow_treshold=20\nhigh_treshold=100\n");
        ActionManager manager(nullptr);
        QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));
        timeline().clear();

        QCOMPARE(manager.zoneName(manager.setBatteryCharge(20)), u"A"_s);
        QCOMPARE(manager.zoneName(manager.setBatteryCharge(-5)), u"A"_s);
        QCOMPARE(manager.zoneName(manager.setBatteryCharge(150)), u"B"_s);

        QCOMPARE(takeLog(),
                 (QStringList{u"log 4 Setting zone A params"_s, u"log 2 Undefined zone index -1 for charge 0"_s,
                              u"log 4 Setting zone B params"_s}));
    }

    void manyZonesAndLongNames()
    {
        QByteArray content = '[' + QByteArray(1'000'000, 'n') + "]\nhigh_treshold=3\n";
        for (int i = 0; i < 5000; ++i) {
            const QByteArray low = QByteArray::number(3 + i % 97);
            content += "[Zone" + QByteArray::number(i) + "]\nlow_treshold=" + low + "\nhigh_treshold=100\n";
        }
        writeFile(paths::zoneFile(), content);
        ActionManager manager(nullptr);

        QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));

        QCOMPARE(timeline().size(), 5002);
        QCOMPARE(manager.zoneName(manager.setBatteryCharge(3)).size(), 1'000'000);
        QCOMPARE(manager.zoneName(manager.setBatteryCharge(4)), u"Zone0"_s);
        QCOMPARE(manager.zoneName(manager.setBatteryCharge(100)), u"Zone1066"_s); // narrowest, first of its width
    }
};

QTEST_GUILESS_MAIN(TstPowerZones)
#include "tst_powerzones.moc"
