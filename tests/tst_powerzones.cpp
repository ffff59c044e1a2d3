// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionManager.h"
#include "Paths.h"
#include "PowerManagerFixture.h"
#include "ZoneReader.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char kZones[] = "[Normal]\nhigh_treshold=100\n"
                          "[Low]\nlow_treshold=15\nhigh_treshold=40\nvolume=80\nlight=60\n"
                          "[Critical]\nhigh_treshold=15\nvolume=40\n";

/// A zone file of the source tree, or the one that a page of it shows.
QByteArray shipped(const QString& name)
{
    QFile file(QStringLiteral(SOURCE_FOLDER) + name);
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    const qsizetype begin = text.indexOf("```ini\n") + 7;
    return begin < 7 ? text : text.mid(begin, text.indexOf("```\n", begin) - begin);
}

QString reading()
{
    return u"log 9 Reading "_s + paths::zoneFile();
}

QString loaded(const QString& zone, int low, int high)
{
    return u"log 4 Loaded zone %1 from %2% to %3%"_s.arg(zone).arg(low).arg(high);
}

QString skipped(const QString& zone, int low, int high)
{
    return u"log 4 Skipped zone %1 from %2% to %3%"_s.arg(zone).arg(low).arg(high);
}

/// From which charge on which zone applies, e.g. "0 None, 1 Critical, 16 Normal".
QString owners(ActionManager& manager)
{
    QStringList bands;
    QString previous;
    for (int charge = 0; charge <= 100; ++charge) {
        (void)manager.reload(); // otherwise a charge without a zone keeps the previous zone
        const QString name = manager.zoneName(manager.setBatteryCharge(charge));
        if (name != previous) {
            bands.append(QString::number(charge) + u' ' + name);
        }
        previous = name;
    }
    return bands.join(u", "_s);
}

} // namespace

/// The zone file, the table of charges made of it, and what a charge does to the device.
class TstPowerZones : public PowerManagerFixture
{
    Q_OBJECT

    /// As PowerManagerFixture::take(), without the calls that are not waited for: their place in the order varies.
    QStringList take()
    {
        static const QRegularExpression kOthers(
            u"^(?!call (soundmanager\\.SetMasterVolume|lightmanager\\.SetIntensity))"_s);
        return PowerManagerFixture::take().filter(kOthers);
    }

private Q_SLOTS:
    void init()
    {
        PowerManagerFixture::init();
        writeFile(QStringLiteral(ZELT_ROOT "/data/powerman/zones.ini"), kZones); // as others on the device know it
    }

    void zoneFile_data()
    {
        const Table<QByteArray, QStringList, QString> row("content", "log", "owners");
        row("shipped file: narrow bands over a wide one", shipped(u"/powermanager/zones.ini"_s),
            {loaded(u"Critical"_s, 0, 15), loaded(u"Low"_s, 15, 40), loaded(u"Normal"_s, 0, 100)},
            u"0 None, 1 Critical, 16 Low, 41 Normal"_s);
        row("example of the manual", shipped(u"/docs/integrating.md"_s),
            {loaded(u"Low"_s, 15, 40), loaded(u"Normal"_s, 0, 100)}, u"0 None, 1 Normal, 16 Low, 41 Normal"_s);
        row("overlap belongs to the narrower", "[A]\nhigh_treshold=30\n[B]\nlow_treshold=20\nhigh_treshold=40\n",
            {loaded(u"A"_s, 0, 30), loaded(u"B"_s, 20, 40)}, u"0 None, 1 A, 21 B, 41 None"_s);
        row("equal widths: the first listed wins", "[A]\nhigh_treshold=20\n[B]\nlow_treshold=10\nhigh_treshold=30\n",
            {loaded(u"A"_s, 0, 20), loaded(u"B"_s, 10, 30)}, u"0 None, 1 A, 21 B, 31 None"_s);
        row("bounds are clamped",
            "[A]\nlow_treshold=-20\nhigh_treshold=150\n[B]\nlow_treshold=-3000000000\nhigh_treshold=3000000000\n"
            "[C]\nlow_treshold=-99999999999\nhigh_treshold=99999999999\n",
            {loaded(u"A"_s, 0, 100), loaded(u"B"_s, 0, 100), loaded(u"C"_s, 0, 100)}, u"0 None, 1 A"_s);
        row("no band, no zone",
            "[A]\nlow_treshold=50\nhigh_treshold=50\n[B]\nlow_treshold=60\nhigh_treshold=40\n"
            "[C]\nlow_treshold=150\nhigh_treshold=200\n[D]\nlow_treshold=10\n",
            {skipped(u"A"_s, 50, 50), skipped(u"B"_s, 60, 40), skipped(u"C"_s, 150, 100), skipped(u"D"_s, 10, 0)},
            u"0 None"_s);
        row("text in place of numbers reads as 0",
            "[A]\nlow_treshold=many\nhigh_treshold=7,5\n[B]\nlow_treshold=x\nhigh_treshold=9\n",
            {skipped(u"A"_s, 0, 0), loaded(u"B"_s, 0, 9)}, u"0 None, 1 B, 10 None"_s);
        row("keys outside groups, other keys, correct spelling",
            "high_treshold=90\n[A]\nhigh_treshold=5\nhigh_threshold=50\ncolour=red\n", {loaded(u"A"_s, 0, 5)},
            u"0 None, 1 A, 6 None"_s);
        row("empty file", "", {}, u"0 None"_s);
        row("other keys that begin like a binary value",
            "; @Ann, \\7\n[A]\nhigh_treshold=40\nlabel=\\xc9t\\xe9\nnote=@Vienna, \"@Data(1)\", \\x40Variants\n"
            "town=K\xc3\xb6ln\n",
            {loaded(u"A"_s, 0, 40)}, u"0 None, 1 A, 41 None"_s);
        row("binary values beside the zones",
            "; never write note=@Variant(x)\n[A]\nhigh_treshold=40\nupdated=@DateTime(\\0\\0\\0\\x10\\0)\n"
            "[b=@Variant(, \\x40Variant(]\nhigh_treshold=50\n",
            {loaded(u"A"_s, 0, 40), skipped(u"b=@Variant(, "_s, 0, 0)}, u"0 None, 1 A, 41 None"_s);
        row("escapes without end", "[A]\nhigh_treshold=40\nx" + QByteArray("=\\").repeated(500'000),
            {loaded(u"A"_s, 0, 40)}, u"0 None, 1 A, 41 None"_s);
        row("binary garbage",
            QByteArray("\x00\xff[\x80]=\n\x7f"
                       "ELF\x02[[]]\n=\n",
                       19),
            {}, u"0 None"_s);
    }

    void zoneFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, log);
        writeFile(paths::zoneFile(), content);
        ActionManager manager(nullptr);

        QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));

        QCOMPARE(take(), QStringList{reading()} + log);
        QCOMPARE(manager.currentZone(), -1);
        QTEST(owners(manager), "owners");
    }

    void numbers_data()
    {
        const Table<QByteArray, int> row("line", "number");
        row("missing", "", -1);
        row("nothing", "volume=", 0);
        row("invalid is there", "volume=@Invalid()", 0);
        row("list", "volume=80, 90", 0);
        row("quoted blanks", "volume=\" 80 \"", 80);
        row("byte array", "volume=@ByteArray(9)", 9);
        row("integer as Qt stores it", "volume=@Variant(\\0\\0\\0\\x2\\0\\0\\0P)", 80);
        row("single precision as Qt stores it", "volume=@Variant(\\0\\0\\0\\x87\\x42\\xa0\\0\\0)", 80);
        row("text as Qt stores it", "volume=@Variant(\\0\\0\\0\\n\\0\\0\\0\\x2\\0\\x37)", 7);
        row("byte array as Qt stores it", "volume=@Variant(\\0\\0\\0\\f\\0\\0\\0\\x1\\x37)", 7);
        row("a type that Qt does not know", "volume=@Variant(\\0\\0\\0\\x88\\0\\0\\0P)", 0);
        row("a type of more than a byte", "volume=@Variant(\\x100\\0\\0\\x2\\0\\0\\0P)", 0);
        row("its type cut off", "volume=@Variant(\\0\\0\\0", 0);
        row("its data cut off", "volume=@Variant(\\0\\0\\0\\x2\\0)", 0);
        row("list of integers as Qt stores it", "volume=@Variant(\\0\\0\\0\\t\\0\\0\\0\\x1\\0\\0\\0\\x2\\0\\0\\0P)", 0);
        row("list longer than the memory", "volume=@Variant(\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)", 0);
        row("date", "volume=@DateTime(\\0\\0\\0\\x10\\0\\0\\0\\0\\0\\0%\\x8e\\xba\\x2\\xdaw\\xb9\\0)", 0);
    }

    void numbers()
    {
        QFETCH(QByteArray, line);

        const QList<PowerZone> zones = parseZones("[A]\nhigh_treshold=50\n" + line);

        QCOMPARE(zones.size(), 1);
        QTEST(zones.constFirst().volume, "number");
    }

    void binaryValuesDeeperThanTheStack()
    {
        const QByteArray deep = QByteArray("\\0\\0\\0\\x9\\0\\0\\0\\x1").repeated(100'000) + ")\n";
        for (const char* const value : {" \"@\"\\126ariant(", "\\x40Variant(", "1, @Variant(", "@DateTime("}) {
            const QList<PowerZone> zones = parseZones("[A]\nhigh_treshold=40\nvolume=" + QByteArray(value) + deep);

            QCOMPARE(zones.size(), 1);
            QCOMPARE(zones.constFirst().highThreshold, 40);
            QCOMPARE(zones.constFirst().volume, 0);
        }
    }

    void everyReloadReadsTheFileAnew()
    {
        ActionManager manager(nullptr);
        const QByteArray path = QFile::encodeName(paths::zoneFile());
        for (int high = 10; high < 40; ++high) {
            writeFile(paths::zoneFile(), "[A]\nhigh_treshold=" + QByteArray::number(high));
            constexpr timespec kTimes[] = {{1'700'000'000, 0}, {1'700'000'000, 0}}; // an unpacked archive's
            QCOMPARE(utimensat(AT_FDCWD, path.constData(), kTimes, 0), 0);

            QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));

            QCOMPARE(take(), (QStringList{reading(), loaded(u"A"_s, 0, high)}));
        }

        // Readable no longer, not even by a test that runs as the superuser.
        QCOMPARE(chmod(path.constData(), 0), 0);
        const uid_t user = geteuid();
        QVERIFY(user != 0 || seteuid(65534) == 0);
        (void)manager.reload();
        QVERIFY(user != 0 || seteuid(user) == 0);
        QCOMPARE(take(), QStringList{reading()});
    }

    void unreadableFileHasNoZones()
    {
        constexpr qint64 kTooLong = 64 * 1024 * 1024 + 1;
        QVERIFY(QFile::resize(paths::zoneFile(), kTooLong));
        ActionManager manager(nullptr);
        QVERIFY(manager.configure(paths::zoneFile(), nullptr, nullptr));
        QCOMPARE(owners(manager), u"0 None"_s);

        QVERIFY(QFile::remove(paths::zoneFile()));
        timeline().clear();
        QVERIFY(manager.reload());
        QCOMPARE(owners(manager), u"0 None"_s);

        QVERIFY(QDir().mkpath(paths::zoneFile())); // a folder in the file's place
        timeline().clear();
        QVERIFY(manager.reload());
        QCOMPARE(manager.setBatteryCharge(50), -1);
        QCOMPARE(take(), (QStringList{reading(), u"log 9 Zone -1 not changed for charge 50"_s}));

        QVERIFY(QDir().rmdir(paths::zoneFile()));
        QCOMPARE(mkfifo(qPrintable(paths::zoneFile()), 0600), 0); // opening it would block until there is a writer
        QVERIFY(manager.reload());
        QCOMPARE(manager.setBatteryCharge(50), -1);
    }

    void withoutADescriptorThereAreNoZones()
    {
        const QByteArray content = "[A]\nhigh_treshold=100\n";
        rlimit limit = {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
        const int next = dup(0);
        close(next);
        const rlimit none{static_cast<rlim_t>(next), limit.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &none), 0);
        const QList<PowerZone> zones = parseZones(content);
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &limit), 0);

        QVERIFY(zones.isEmpty());
        QCOMPARE(parseZones(content).size(), 1);
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

        QCOMPARE(take(), (QStringList{u"log 4 Setting zone A params"_s, u"log 2 Undefined zone index -1 for charge 0"_s,
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

    void startUpReadsAndAppliesTwice()
    {
        QCOMPARE(arrange(u"volume 80\nlight 60\ncharge 30"_s), QString());

        QVERIFY(start());

        const QStringList applying{reading(),
                                   loaded(u"Critical"_s, 0, 15),
                                   loaded(u"Low"_s, 15, 40),
                                   loaded(u"Normal"_s, 0, 100),
                                   u"log 4 PowerActions: 1 "_s,
                                   u"call statusmanager.GetStatus()"_s,
                                   u"log 4 Setting zone Low params"_s,
                                   u"call soundmanager.GetStatus()"_s,
                                   u"log 9 Zone Low, Current MasterVolume =80.000000"_s,
                                   u"call lightmanager.GetIntensity()"_s,
                                   u"log 9 Zone Low, Current Light Intensity =60"_s,
                                   u"log 9 CurrZone: -1, NewZone: 1"_s,
                                   u"signal powermanager.PowerZoneChanged(Low)"_s,
                                   u"signal powermanager.ActionsEnabled(true)"_s};
        const QStringList attaching{u"log 4 Succesfully attached to LoadMonitor events"_s,
                                    u"log 4 Succesfully attached to PowerOff events"_s, u"log 4 Autoscale: 0"_s,
                                    u"signal powermanager.AutoscalingEnabled(false)"_s};
        QCOMPARE(take(), attaching + applying + QStringList{u"log 4 PowerManager config loaded"_s} + applying);
    }

    void ceilings_data()
    {
        const Table<QString, QString> row("before", "after");
        const QString lowered = u"expect call soundmanager.SetMasterVolume 80\nexpect volume 80\n"
                                "expect call lightmanager.SetIntensity 60\nexpect light 60"_s;
        const QString left = u"expect no log \"SetMasterVolume =\"\nexpect no log \"SetLight =\""_s;
        row("both above", u"volume 90\nlight 61\ncharge 40"_s, lowered);
        row("unreadable counts as loud",
            u"volume 1\nlight 1\nfail soundmanager.GetStatus error\nfail lightmanager.GetIntensity error\ncharge 40"_s,
            u"expect log \"MasterVolume =128.0\"\nexpect log \"Light Intensity =100\"\n"_s + lowered);
        row("equal stays", u"volume 80\nlight 60\ncharge 40"_s, left);
        row("below stays", u"volume 60.5\nlight 0\ncharge 16"_s, left);
        row("no light ceiling, no question", u"charge 15"_s,
            u"expect call soundmanager.SetMasterVolume 40\nexpect no call lightmanager.GetIntensity"_s);
        row("fraction above", u"volume 80.5\ncharge 40"_s, u"expect call soundmanager.SetMasterVolume 80"_s);
    }

    void ceilings()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QVERIFY(start());

        QCOMPARE(run(before + u"\nexpect log \"CurrZone: 2, NewZone: \"\n"_s + after), QString());
    }

    void ceilingOfZeroSilencesAndDarkens()
    {
        writeFile(paths::zoneFile(), QByteArray(kZones) + "[Flat]\nhigh_treshold=5\nvolume=0\nlight=0\n");
        QVERIFY(start());

        QCOMPARE(run(u"charge 5\nexpect volume 0\nexpect light 0"_s), QString());
    }

    void zoneIsToldOnTheBus()
    {
        QVERIFY(start() && serve());
        const QString told = u"\nexpect signal PowerZoneChanged Critical"_s;
        QCOMPARE(run(u"charge 10"_s + told + told), QString()); // from the object, and over the bus
    }

    void disabledActionsIgnoreTheCharge()
    {
        QVERIFY(start());
        QCOMPARE(arrange(u"charge 30\nexpect volume 80\nexpect light 60"_s), QString());

        manager().SetActionsEnabled(false);
        QCOMPARE(run(u"charge 10\nexpect log disabled"_s), QString());
        QCOMPARE(take(), (QStringList{u"log 4 PowerActions: 0 "_s, u"signal powermanager.ActionsEnabled(false)"_s,
                                      u"log 9 PowerActions disabled"_s}));

        // The zone stays current, so no other service is called.
        QCOMPARE(arrange(u"charge 31\nexpect log disabled"_s), QString());
        manager().SetActionsEnabled(true);
        QCOMPARE(take(), (QStringList{u"log 4 PowerActions: 1 "_s, u"call statusmanager.GetStatus()"_s,
                                      u"log 9 Zone 1 not changed for charge 31"_s, u"log 9 CurrZone: 1, NewZone: 1"_s,
                                      u"signal powermanager.ActionsEnabled(true)"_s}));
    }

    void onlyUpdatedConfigurationReloads()
    {
        QVERIFY(start());
        writeFile(paths::zoneFile(), "[Always]\nhigh_treshold=100\n");
        timeline().clear();

        // The first two are ignored: another type, a failed update. The third one reloads.
        QCOMPARE(run(u"update 3\nupdate 12 status 1\nupdate 12\nexpect log CurrZone"_s), QString());

        QCOMPARE(take(), (QStringList{u"log 4 PowerManager config loaded"_s, reading(), loaded(u"Always"_s, 0, 100),
                                      u"log 4 PowerActions: 1 "_s, u"call statusmanager.GetStatus()"_s,
                                      u"log 4 Setting zone Always params"_s, u"log 9 CurrZone: -1, NewZone: 0"_s,
                                      u"signal powermanager.PowerZoneChanged(Always)"_s,
                                      u"signal powermanager.ActionsEnabled(true)"_s}));
        QString zone;
        QCOMPARE(manager().CurrentPowerZone(zone), 0);
        QCOMPARE(zone, u"Always"_s);

        manager().SetActionsEnabled(false);
        QCOMPARE(run(u"update 12\nexpect log \"PowerActions: 0\""_s), QString());
        QCOMPARE(take().constLast(), u"signal powermanager.ActionsEnabled(false)"_s);
        QCOMPARE(manager().CurrentPowerZone(zone), 0);
        QCOMPARE(zone, QString());
    }

    void malformedBroadcastsAreNotServed()
    {
        QVERIFY(start());
        timeline().clear();

        QCOMPARE(
            run(u"fail statusmanager.SystemStatus few\ncharge 30\nfail statusmanager.SystemStatus types\ncharge 10\n"
                "repair all\ncharge 99\nexpect log CurrZone"_s),
            QString());

        QCOMPARE(take(),
                 (QStringList{u"log 9 Zone 2 not changed for charge 99"_s, u"log 9 CurrZone: 2, NewZone: 2"_s}));
    }

    void lateServicesAreHeard()
    {
        QCOMPARE(run(u"stop statusmanager\nstop updatemanager"_s), QString());
        QVERIFY(start());

        QCOMPARE(run(u"start statusmanager\ncharge 12\nexpect log \"Setting zone Critical params\"\n"
                     "start updatemanager\nupdate 12\nexpect log \"config loaded\"\n"
                     "restart statusmanager\ncharge 50\nexpect log \"Setting zone Normal params\""_s),
                 QString());
    }

    void floodIsServedInOrder()
    {
        QVERIFY(start());
        timeline().clear();
        QStringList zones;
        int current = 2;

        device().invoke([&zones, &current](Simulator& simulator) {
            for (int i = 0; i < 4000; ++i) {
                const int charge = 1 + i * 37 % 100;
                simulator.device().chargePercent = charge;
                simulator.broadcastStatus();
                const int next = charge <= 15 ? 0 : charge <= 40 ? 1 : 2;
                zones.append(u"log 9 CurrZone: %1, NewZone: %2"_s.arg(current).arg(next));
                current = next;
            }
        });
        QStringList served;
        QVERIFY(
            QTest::qWaitFor([&] { return (served += take().filter(u"CurrZone"_s)).size() >= zones.size(); }, 30'000));
        QCOMPARE(served, zones);
    }
};

QTEST_GUILESS_MAIN(TstPowerZones)
#include "tst_powerzones.moc"
