// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Paths.h"
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char kZones[] = "[Normal]\nhigh_treshold=100\n"
                          "[Low]\nlow_treshold=15\nhigh_treshold=40\nvolume=80\nlight=60\n"
                          "[Critical]\nhigh_treshold=15\nvolume=40\n";

/// The entries without the settings that are not waited for: their place among the rest is open.
QStringList withoutSettings(const QStringList& lines)
{
    static const QRegularExpression kSetting(u"^call (soundmanager\\.SetMasterVolume|lightmanager\\.SetIntensity)"_s);
    QStringList rest = lines;
    rest.removeIf([](const QString& line) { return kSetting.match(line).hasMatch(); });
    return rest;
}

} // namespace

/// The battery's charge against the zones, with the simulated device around a real PowerManager.
class TstZoneActions : public QObject
{
    Q_OBJECT

    std::unique_ptr<PowerManagerFixture> m_fixture;

    QString run(const QString& lines)
    {
        return m_fixture->run(lines);
    }

    QStringList take()
    {
        return withoutSettings(m_fixture->take());
    }

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_fixture = std::make_unique<PowerManagerFixture>();
        writeFile(paths::zoneFile(), kZones);
    }

    void cleanup()
    {
        m_fixture.reset();
    }

    void startUpReadsAndAppliesTwice()
    {
        QCOMPARE(run(u"charge 30"_s), QString());
        timeline().clear();

        QVERIFY(m_fixture->start());

        const QStringList reading{
            u"log 9 Reading "_s + paths::zoneFile(), u"log 4 Loaded zone Critical from 0% to 15%"_s,
            u"log 4 Loaded zone Low from 15% to 40%"_s, u"log 4 Loaded zone Normal from 0% to 100%"_s};
        const auto applying = [](const QString& volume, const QString& light) {
            QStringList lines{u"log 4 PowerActions: 1 "_s,
                              u"call statusmanager.GetStatus()"_s,
                              u"log 4 Setting zone Low params"_s,
                              u"call soundmanager.GetStatus()"_s,
                              u"log 9 Zone Low, Current MasterVolume ="_s + volume,
                              u"log 9 Zone Low, SetMasterVolume =80"_s,
                              u"call lightmanager.GetIntensity()"_s,
                              u"log 9 Zone Low, Current Light Intensity ="_s + light,
                              u"log 9 Zone Low, SetLight =60"_s,
                              u"log 9 CurrZone: -1, NewZone: 1"_s,
                              u"signal powermanager.PowerZoneChanged(Low)"_s,
                              u"signal powermanager.ActionsEnabled(true)"_s};
            if (volume != u"100.000000") {
                lines.removeAt(5);
                lines.removeAt(7);
            }
            return lines;
        };
        QCOMPARE(take(), QStringList({u"log 4 Succesfully attached to LoadMonitor events"_s,
                                      u"log 4 Succesfully attached to PowerOff events"_s, u"log 4 Autoscale: 0"_s,
                                      u"signal powermanager.AutoscalingEnabled(false)"_s}) +
                             reading + applying(u"100.000000"_s, u"100"_s) +
                             QStringList{u"log 4 PowerManager config loaded"_s} + reading +
                             applying(u"80.000000"_s, u"60"_s));
    }

    void ceilings_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::newRow("both above") << u"volume 90\nlight 61\ncharge 40"_s
                                    << u"expect call soundmanager.SetMasterVolume 80\nexpect volume 80\n"
                                       "expect call lightmanager.SetIntensity 60\nexpect light 60"_s;
        QTest::newRow("equal stays") << u"volume 80\nlight 60\ncharge 40"_s
                                     << u"expect no call soundmanager.SetMasterVolume\n"
                                        "expect no call lightmanager.SetIntensity"_s;
        QTest::newRow("below stays") << u"volume 60.5\nlight 0\ncharge 16"_s
                                     << u"expect no call soundmanager.SetMasterVolume\n"
                                        "expect no call lightmanager.SetIntensity\nexpect volume 60.5"_s;
        QTest::newRow("no light ceiling, no question") << u"charge 15"_s
                                                       << u"expect call soundmanager.SetMasterVolume 40\n"
                                                          "expect no call lightmanager.GetIntensity"_s;
        QTest::newRow("fraction above") << u"volume 80.5\ncharge 40"_s
                                        << u"expect call soundmanager.SetMasterVolume 80"_s;
    }

    void ceilings()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QVERIFY(m_fixture->start());

        QCOMPARE(run(before + u"\nexpect log \"CurrZone: 2, NewZone: \"\n"_s + after), QString());
    }

    void unreadableValuesCountAsLoud_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QStringList>("expected");
        const QString noVolume = u"log 2 Can't read current master volume: suppose 100% (128)"_s;
        const QString noLight = u"log 2 Can't read current light intensity: suppose 100%"_s;
        const auto sound = [](const QStringList& lines) {
            return lines + QStringList{u"log 9 Zone Low, Current MasterVolume =128.000000"_s,
                                       u"log 9 Zone Low, SetMasterVolume =80"_s};
        };
        const auto light = [](const QStringList& lines) {
            return lines +
                   QStringList{u"log 9 Zone Low, Current Light Intensity =100"_s, u"log 9 Zone Low, SetLight =60"_s};
        };
        QTest::newRow("sound: error") << u"fail soundmanager.GetStatus error"_s << sound({noVolume});
        QTest::newRow("sound: a value missing") << u"fail soundmanager.GetStatus few"_s << sound({});
        QTest::newRow("light: error") << u"fail lightmanager.GetIntensity error"_s << light({noLight});
    }

    void unreadableValuesCountAsLoud()
    {
        QFETCH(QString, fault);
        QFETCH(QStringList, expected);
        QVERIFY(m_fixture->start());
        QCOMPARE(run(fault), QString());
        timeline().clear();

        QCOMPARE(run(u"charge 40\nexpect log \"CurrZone: 2, NewZone: 1\""_s), QString());

        const QStringList all = take();
        const QString topic = fault.contains(u"sound") ? u"olume"_s : u"ight"_s;
        QStringList about;
        std::copy_if(all.begin(), all.end(), std::back_inserter(about),
                     [&topic](const QString& line) { return line.startsWith(u"log ") && line.contains(topic); });
        QCOMPARE(about, expected);
    }

    void sameZoneAsksNobody()
    {
        QVERIFY(m_fixture->start());
        QCOMPARE(run(u"charge 30\nexpect log \"CurrZone: 2, NewZone: 1\""_s), QString());
        timeline().clear();

        QCOMPARE(run(u"charge 29\nexpect log CurrZone"_s), QString());

        QCOMPARE(take(),
                 (QStringList{u"log 9 Zone 1 not changed for charge 29"_s, u"log 9 CurrZone: 1, NewZone: 1"_s}));
    }

    void disabledActionsIgnoreTheCharge()
    {
        QVERIFY(m_fixture->start());
        QCOMPARE(run(u"charge 30\nexpect volume 80\nexpect light 60"_s), QString());
        timeline().clear();

        m_fixture->manager().SetActionsEnabled(false);
        QCOMPARE(run(u"charge 10\nexpect log disabled"_s), QString());
        QCOMPARE(take(), (QStringList{u"log 4 PowerActions: 0 "_s, u"signal powermanager.ActionsEnabled(false)"_s,
                                      u"log 9 PowerActions disabled"_s}));

        // The zone from before is still current.
        QCOMPARE(run(u"charge 31\nexpect log disabled"_s), QString());
        timeline().clear();
        m_fixture->manager().SetActionsEnabled(true);
        QCOMPARE(take(), (QStringList{u"log 4 PowerActions: 1 "_s, u"call statusmanager.GetStatus()"_s,
                                      u"log 9 Zone 1 not changed for charge 31"_s, u"log 9 CurrZone: 1, NewZone: 1"_s,
                                      u"signal powermanager.ActionsEnabled(true)"_s}));
    }

    void unknownChargeCountsAsZero_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("absent") << u"stop statusmanager"_s;
        QTest::newRow("error") << u"fail statusmanager.GetStatus error"_s;
        QTest::newRow("a value missing") << u"fail statusmanager.GetStatus few"_s;
    }

    void unknownChargeCountsAsZero()
    {
        QFETCH(QString, fault);
        QVERIFY(m_fixture->start());
        QCOMPARE(run(fault), QString());
        timeline().clear();

        m_fixture->manager().SetActionsEnabled(true);

        const QStringList lines = take();
        QCOMPARE(lines.mid(lines.size() - 3),
                 (QStringList{u"log 2 Undefined zone index -1 for charge 0"_s, u"log 9 CurrZone: 2, NewZone: 2"_s,
                              u"signal powermanager.ActionsEnabled(true)"_s}));
    }

    void onlyUpdatedConfigurationReloads()
    {
        QVERIFY(m_fixture->start());
        writeFile(paths::zoneFile(), "[Always]\nhigh_treshold=100\n");
        timeline().clear();

        // Ignored: another type, a failed update. What comes next is the reload of the third.
        QCOMPARE(run(u"update 3\nupdate 12 status 1\nupdate 12\nexpect log CurrZone"_s), QString());

        QCOMPARE(take(),
                 (QStringList{u"log 4 PowerManager config loaded"_s, u"log 9 Reading "_s + paths::zoneFile(),
                              u"log 4 Loaded zone Always from 0% to 100%"_s, u"log 4 PowerActions: 1 "_s,
                              u"call statusmanager.GetStatus()"_s, u"log 4 Setting zone Always params"_s,
                              u"log 9 CurrZone: -1, NewZone: 0"_s, u"signal powermanager.PowerZoneChanged(Always)"_s,
                              u"signal powermanager.ActionsEnabled(true)"_s}));
        QString zone;
        QCOMPARE(m_fixture->manager().CurrentPowerZone(zone), 0);
        QCOMPARE(zone, u"Always"_s);

        m_fixture->manager().SetActionsEnabled(false);
        timeline().clear();
        QCOMPARE(run(u"update 12\nexpect log \"PowerActions: 0\""_s), QString());
        QCOMPARE(take().constLast(), u"signal powermanager.ActionsEnabled(false)"_s);
        QCOMPARE(m_fixture->manager().CurrentPowerZone(zone), 0);
        QCOMPARE(zone, QString());
    }

    void malformedBroadcastsAreNotServed_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("short") << u"few"_s;
        QTest::newRow("wrong types") << u"types"_s;
    }

    void malformedBroadcastsAreNotServed()
    {
        QFETCH(QString, fault);
        QVERIFY(m_fixture->start());
        QCOMPARE(run(u"fail statusmanager.SystemStatus "_s + fault), QString());
        timeline().clear();

        QCOMPARE(run(u"charge 30\nrepair all\ncharge 99\nexpect log CurrZone"_s), QString());

        QCOMPARE(take(),
                 (QStringList{u"log 9 Zone 2 not changed for charge 99"_s, u"log 9 CurrZone: 2, NewZone: 2"_s}));
    }

    void lateServicesAreHeard()
    {
        QCOMPARE(run(u"stop statusmanager\nstop updatemanager"_s), QString());
        QVERIFY(m_fixture->start());

        QCOMPARE(run(u"start statusmanager\ncharge 12\nexpect log \"Setting zone Critical params\"\n"
                     "start updatemanager\nupdate 12\nexpect log \"config loaded\"\n"
                     "restart statusmanager\ncharge 50\nexpect log \"Setting zone Normal params\""_s),
                 QString());
    }

    void floodIsServedInOrder()
    {
        constexpr int kCount = 4000;
        QVERIFY(m_fixture->start());
        timeline().clear();
        QStringList expected;
        for (int i = 0; i < kCount; ++i) {
            expected.append(QString::number(1 + i * 37 % 100));
        }

        m_fixture->device().invoke([&expected](Simulator& simulator) {
            for (const QString& charge : std::as_const(expected)) {
                simulator.device().chargePercent = charge.toInt();
                simulator.broadcastStatus();
            }
        });

        const auto served = [] {
            QStringList lines;
            const QList<Timeline::Entry> entries = timeline().entries();
            for (const Timeline::Entry& entry : entries) {
                if (entry.kind == Timeline::Kind::Log && entry.name.startsWith(u"CurrZone")) {
                    lines.append(entry.name);
                }
            }
            return lines;
        };
        QTRY_COMPARE_WITH_TIMEOUT(served().size(), kCount, 30'000);
        QStringList zones;
        int current = 2;
        for (const QString& charge : std::as_const(expected)) {
            const int percent = charge.toInt();
            const int next = percent <= 15 ? 0 : percent <= 40 ? 1 : 2;
            zones.append(u"CurrZone: %1, NewZone: %2"_s.arg(current).arg(next));
            current = next;
        }
        QCOMPARE(served(), zones);
    }
};

QTEST_GUILESS_MAIN(TstZoneActions)
#include "tst_zoneactions.moc"
