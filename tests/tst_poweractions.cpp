// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Names.h"
#include "Paths.h"
#include "PowerManagerAdaptor.h"
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"

#include <QDBusConnection>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kPause = u"pause 5 s"_s;

/// The peripherals going off, as answering services see it.
QStringList switchingOff(const QString& savedLight)
{
    return {u"call lightmanager.GetSwitch()"_s,
            u"call lightmanager.Switch(false)"_s,
            u"log 5 Light switch set to 0"_s,
            u"call rgbfeaturemanager.IsDisabled()"_s,
            u"call rgbfeaturemanager.Disable(true, false)"_s,
            u"log 5 RGB switch set to 1"_s,
            u"call photomanager.EnableCamera(false)"_s,
            u"log 5 Camera switch set to 0"_s,
            u"call phonemanager.ForcePhoneOff(true)"_s,
            u"log 9 Dbus ForcePhoneOff async call: finished=true, valid=true, error=false, value=0"_s,
            u"log 5 Phone forced off"_s,
            u"log 2 SAVED CURRENT SYSTEM STATUS: light="_s + savedLight};
}

QStringList pulses()
{
    const QString on = u"line 24 on"_s;
    const QString off = u"line 24 off"_s;
    const QString wait = u"pause 500000 us"_s;
    return {on, wait, off, wait, on, wait, off, wait, on, wait, off};
}

QStringList rebooting(const QString& reason, const QString& savedLight)
{
    return QStringList{u"log 2 Reboot (%1) requested: will restart in about 5 seconds..."_s.arg(reason),
                       u"signal powermanager.PowerEvent(reboot, %1)"_s.arg(reason),
                       u"log 2 Power event emitted: reboot"_s, kPause} +
           switchingOff(savedLight) + pulses() + QStringList{u"call freqmanager.Reboot()"_s};
}

QStringList shuttingDown(const QString& reason)
{
    return {u"log 2 Shutdown (%1) requested: will poweroff in about 5 seconds..."_s.arg(reason),
            u"signal powermanager.PowerEvent(shutdown, %1)"_s.arg(reason),
            u"log 2 Power event emitted: shutdown"_s,
            kPause,
            u"line 24 on"_s,
            u"call freqmanager.Shutdown()"_s};
}

QStringList suspending(const QString& time, const QString& utc)
{
    return QStringList{u"log 4 Suspend until %1 (localtime) requested"_s.arg(time),
                       u"log 9 Converted to %1 (UTC)"_s.arg(utc), u"call freqmanager.SetWakeup(2, %1)"_s.arg(utc)};
}

QStringList standingBy(const QString& savedLight)
{
    return QStringList{u"log 4 Pre-suspend setup"_s} + switchingOff(savedLight) +
           QStringList{u"signal powermanager.PowerEvent(suspend, sleep)"_s, kPause, u"call freqmanager.Suspend()"_s};
}

QByteArray recordedAction()
{
    QFile file(paths::lastActionFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "no record";
}

/// Everything in local time as in this zone, until the end.
class TimeZone
{
public:
    explicit TimeZone(const QByteArray& name) : m_saved(qgetenv("TZ"))
    {
        qputenv("TZ", name);
        tzset();
    }
    ~TimeZone()
    {
        m_saved.isEmpty() ? qunsetenv("TZ") : qputenv("TZ", m_saved);
        tzset();
    }
    Q_DISABLE_COPY_MOVE(TimeZone)

private:
    QByteArray m_saved;
};

} // namespace

/// Reboot, shutdown, suspend, and the peripherals around them.
class TstPowerActions : public QObject
{
    Q_OBJECT

    std::unique_ptr<PowerManagerFixture> m_fixture;

    PowerManager& manager()
    {
        return m_fixture->manager();
    }

    QString run(const QString& lines)
    {
        QString error = m_fixture->run(lines);
        timeline().clear();
        return error;
    }

    QStringList take()
    {
        return m_fixture->take();
    }

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_fixture = std::make_unique<PowerManagerFixture>();
        QVERIFY(m_fixture->start());
        timeline().clear();
    }

    void cleanup()
    {
        m_fixture.reset();
    }

    void reboot()
    {
        QCOMPARE(manager().Reboot(u"user_gui"_s), 0);
        QCOMPARE(take(), rebooting(u"user_gui"_s, u"1"_s));

        // Nothing is remembered: the second request runs like the first, with the light found off.
        QCOMPARE(run(u"rgb on"_s), QString());
        QCOMPARE(manager().Reboot(u"upgrade"_s), 0);
        QCOMPARE(take(), rebooting(u"upgrade"_s, u"0"_s));
        QVERIFY2(QRegularExpression(u"^\\d{4}/\\d\\d/\\d\\d-\\d\\d:\\d\\d:\\d\\d\\|last_reboot\\|upgrade\\n$"_s)
                     .match(QString::fromUtf8(recordedAction()))
                     .hasMatch(),
                 recordedAction().constData());
        const QDateTime written =
            QDateTime::fromString(QString::fromUtf8(recordedAction().left(19)), u"yyyy/MM/dd-hh:mm:ss"_s);
        QVERIFY(qAbs(written.secsTo(QDateTime::currentDateTime())) < 60);
    }

    void shutdown()
    {
        QCOMPARE(manager().Shutdown(u"user_btn"_s), 0);
        QCOMPARE(take(), shuttingDown(u"user_btn"_s));
        QVERIFY(recordedAction().endsWith("|last_shutdown|user_btn\n"));
    }

    void lowPowerLineShutsDown()
    {
        const QString name = u"power|atmega_low_power"_s;
        QCOMPARE(manager().HandleGpEvent({name, false}), 0);
        QCOMPARE(manager().HandleGpEvent({u"reset_factory"_s, true}), 0);
        QCOMPARE(manager().HandleGpEvent({u"Power|atmega_low_power"_s, true}), 0);
        QCOMPARE(take(), QStringList());

        QCOMPARE(run(u"fail freqmanager.Shutdown status 9"_s), QString());
        QCOMPARE(manager().HandleGpEvent({name, true}), -51);
        QCOMPARE(take(), shuttingDown(u"cmd_shdm"_s) + QStringList{u"log 1 Shutdown error"_s});
    }

    void restoreReboots()
    {
        QCOMPARE(manager().PostRestoreReboot(), 0);
        QCOMPARE(take(), rebooting(u"restore"_s, u"1"_s));
    }

    void frequencyServiceRefuses_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("error") << u"fail freqmanager.%1 error"_s;
        QTest::newRow("status") << u"fail freqmanager.%1 status 1"_s;
        QTest::newRow("wrong type") << u"fail freqmanager.%1 types"_s;
        QTest::newRow("empty reply") << u"fail freqmanager.%1 few"_s;
        QTest::newRow("dies") << u"fail freqmanager.%1 dies"_s;
        QTest::newRow("absent") << u"stop freqmanager"_s;
    }

    void frequencyServiceRefuses()
    {
        QFETCH(QString, fault);
        const auto prepare = [this, &fault](const QString& method) {
            return run((fault.contains(u'%') ? fault.arg(method) : fault) + u"\nlight on"_s);
        };
        const auto isAsked = [&fault](QStringList lines) {
            if (fault.startsWith(u"stop")) {
                lines.removeLast();
            }
            return lines;
        };
        const QString time = u"2024-01-02 03:04:05"_s;
        const TimeZone utc("UTC");

        QCOMPARE(prepare(u"Reboot"_s), QString());
        QCOMPARE(manager().Reboot(u"r"_s), -50);
        QCOMPARE(take(), isAsked(rebooting(u"r"_s, u"1"_s)) + QStringList{u"log 1 Reboot error"_s});
        QVERIFY(recordedAction().endsWith("|last_reboot|r\n"));

        QCOMPARE(run(u"repair all\nstart freqmanager"_s), QString());
        QCOMPARE(prepare(u"Shutdown"_s), QString());
        QCOMPARE(manager().Shutdown(u"s"_s), -51);
        QCOMPARE(take(), isAsked(shuttingDown(u"s"_s)) + QStringList{u"log 1 Shutdown error"_s});

        QCOMPARE(run(u"repair all\nstart freqmanager"_s), QString());
        QCOMPARE(prepare(u"SetWakeup"_s), QString());
        QCOMPARE(manager().Suspend(time), -52);
        QCOMPARE(take(), isAsked(suspending(time, time)) +
                             QStringList{u"log 1 Error setting wakeup time to 2024-01-02 03:04:05 (localtime)"_s});
    }

    void suspend()
    {
        const TimeZone rome("Europe/Rome");
        QCOMPARE(run(u"config SOUND masterVolume -12.345"_s), QString());

        QCOMPARE(manager().Suspend(u"2024-03-08 07:30:00"_s), 0); // long past: the device wakes up at once

        const QStringList expected =
            suspending(u"2024-03-08 07:30:00"_s, u"2024-03-08 06:30:00"_s) + standingBy(u"1"_s) +
            QStringList{u"log 4 Post-suspend restore"_s,
                        u"call configmanager.GetStringValue(SOUND, masterVolume)"_s,
                        u"call soundmanager.SetMasterVolume(-12.345)"_s,
                        u"log 9 Dbus SetMasterVolume async call: finished=true, valid=true, error=false, value=0"_s,
                        u"log 4 Master volume restored to -12.35"_s,
                        u"call lightmanager.Switch(true)"_s,
                        u"log 5 Light switch set to 1"_s,
                        u"call rgbfeaturemanager.Disable(false, false)"_s,
                        u"log 5 RGB switch set to 0"_s,
                        u"call phonemanager.ForcePhoneOff(false)"_s,
                        u"log 9 Dbus ForcePhoneOff async call: finished=true, valid=true, error=false, value=0"_s,
                        u"log 5 Phone unforced off"_s} +
            rebooting(u"sleep"_s, u"1"_s);
        QCOMPARE(take(), expected);
        QVERIFY(recordedAction().endsWith("|last_reboot|sleep\n"));
    }

    void refusedSuspendLeavesThePeripheralsOff_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("status");
        QTest::newRow("status") << u"fail freqmanager.Suspend status -7"_s << u"-7"_s;
        QTest::newRow("error") << u"fail freqmanager.Suspend error"_s << u"0"_s;
        QTest::newRow("dies") << u"fail freqmanager.Suspend dies"_s << u"0"_s;
    }

    void refusedSuspendLeavesThePeripheralsOff()
    {
        QFETCH(QString, fault);
        QFETCH(QString, status);
        const TimeZone utc("UTC");
        const QString time = u"2024-03-08 07:30:00"_s;
        QCOMPARE(run(fault), QString());

        QCOMPARE(manager().Suspend(time), -52);

        QCOMPARE(take(), suspending(time, time) + standingBy(u"1"_s) +
                             QStringList{u"log 1 Error calling Suspend. returned "_s + status});
        QCOMPARE(run(u"expect switch light off\nexpect switch rgb off\nexpect switch phone off"_s), QString());
        QCOMPARE(recordedAction(), QByteArray("no record"));
    }

    void failedRebootAfterSuspendIsNoFailure()
    {
        QCOMPARE(run(u"fail freqmanager.Reboot status 1"_s), QString());
        QCOMPARE(manager().Suspend(u"2024-03-08 07:30:00"_s), 0);
        QCOMPARE(take().constLast(), u"log 1 Reboot error"_s);
    }

    void wakeUpTimes_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QString>("time");
        QTest::addColumn<QString>("utc");
        QTest::newRow("winter") << QByteArray("Europe/Rome") << u"2024-01-15 00:30:00"_s << u"2024-01-14 23:30:00"_s;
        QTest::newRow("summer") << QByteArray("Europe/Rome") << u"2024-07-15 00:30:00"_s << u"2024-07-14 22:30:00"_s;
        QTest::newRow("west") << QByteArray("America/New_York") << u"2024-12-31 20:00:00"_s << u"2025-01-01 01:00:00"_s;
        QTest::newRow("skipped by the clock, east")
            << QByteArray("Europe/Rome") << u"2024-03-31 02:30:00"_s << u"2024-03-31 01:30:00"_s;
        QTest::newRow("skipped by the clock, west")
            << QByteArray("America/New_York") << u"2024-03-10 02:00:00"_s << u"2024-03-10 07:00:00"_s;
        QTest::newRow("leap day") << QByteArray("UTC") << u"2024-02-29 12:00:00"_s << u"2024-02-29 12:00:00"_s;
        QTest::newRow("no leap day") << QByteArray("UTC") << u"2023-02-29 12:00:00"_s << QString();
        QTest::newRow("without seconds") << QByteArray("UTC") << u"2024-03-08 07:30"_s << QString();
        QTest::newRow("empty") << QByteArray("UTC") << QString() << QString();
        QTest::newRow("text") << QByteArray("UTC") << u"tomorrow %s%n"_s << QString();
    }

    void wakeUpTimes()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QString, time);
        QFETCH(QString, utc);
        const TimeZone local(zone);
        QCOMPARE(run(u"fail freqmanager.SetWakeup status 1"_s), QString());

        QCOMPARE(manager().Suspend(time), -52);

        QCOMPARE(take(),
                 suspending(time, utc) + QStringList{u"log 1 Error setting wakeup time to %1 (localtime)"_s.arg(time)});
    }

    void peripheralFaults_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("where"); // the call after which the lines stand
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("savedLight");

        const QString phone = u"call phonemanager.ForcePhoneOff(true)"_s;
        QTest::newRow("phone: error")
            << u"fail phonemanager.ForcePhoneOff error \"no modem\""_s << phone
            << QStringList{u"log 2 Dbus ForcePhoneOff async call: finished=true, valid=false, error=true (no modem), "
                           "value=nd"_s,
                           u"log 1 Error forcing phone off"_s}
            << u"1"_s;
        QTest::newRow("phone: status")
            << u"fail phonemanager.ForcePhoneOff status 4"_s << phone
            << QStringList{u"log 9 Dbus ForcePhoneOff async call: finished=true, valid=true, error=false, value=4"_s,
                           u"log 1 Error forcing phone off"_s}
            << u"1"_s;

        const QString question = u"call lightmanager.GetSwitch()"_s;
        const QStringList supposedOff{u"log 1 Impossible to get current Light status: suppose off"_s};
        QTest::newRow("light state: status")
            << u"fail lightmanager.GetSwitch status 4"_s << question << supposedOff << u"0"_s;
        QTest::newRow("light state: error keeps the one before")
            << u"fail lightmanager.GetSwitch error"_s << question << QStringList() << u"1"_s;
        const QString rgbQuestion = u"call rgbfeaturemanager.IsDisabled()"_s;
        const QStringList supposedOn{u"log 2 Can't find if Rgb is disabled: suppose not"_s};
        QTest::newRow("rgb state: error")
            << u"fail rgbfeaturemanager.IsDisabled error"_s << rgbQuestion << supposedOn << u"1"_s;
    }

    void peripheralFaults()
    {
        QFETCH(QString, fault);
        QFETCH(QString, where);
        QFETCH(QStringList, lines);
        QFETCH(QString, savedLight);
        QCOMPARE(run(u"light on\nrgb off"_s), QString());
        QCOMPARE(manager().Reboot(u"before"_s), 0); // saves light on, RGB disabled
        QCOMPARE(run(u"light on\nrgb on\n"_s + fault), QString());
        take();

        QCOMPARE(manager().Reboot(u"r"_s), 0);

        // As with answering services, but for the outcome of the one call.
        QStringList expected = rebooting(u"r"_s, savedLight);
        const qsizetype at = expected.indexOf(where) + 1;
        while (expected.at(at).startsWith(u"log ") && !expected.at(at).contains(u"SAVED")) {
            expected.removeAt(at);
        }
        for (qsizetype i = 0; i < lines.size(); ++i) {
            expected.insert(at + i, lines.at(i));
        }
        QCOMPARE(take(), expected);
    }

    void absentPeripheralsStopNothing()
    {
        QCOMPARE(run(u"stop lightmanager\nstop rgbfeaturemanager\nstop photomanager\nstop phonemanager\n"
                     "stop soundmanager\nstop configmanager"_s),
                 QString());

        QCOMPARE(manager().Suspend(u"2024-03-08 07:30:00"_s), 0);

        QStringList failures = take();
        failures.removeIf([](const QString& line) {
            return !line.startsWith(u"log 1") && !line.startsWith(u"log 2") && !line.startsWith(u"call");
        });
        failures.removeIf([](const QString& line) {
            return line.contains(u"Dbus ForcePhoneOff") || line.contains(u"requested") || line.contains(u"emitted") ||
                   line.contains(u"SetWakeup");
        });
        const QStringList off{u"log 1 Error turning light 0"_s,   u"log 2 Can't find if Rgb is disabled: suppose not"_s,
                              u"log 1 Error turning rgb 1"_s,     u"log 1 Error turning camera 0"_s,
                              u"log 1 Error forcing phone off"_s, u"log 2 SAVED CURRENT SYSTEM STATUS: light=0"_s};
        const QStringList expected =
            off +
            QStringList{u"call freqmanager.Suspend()"_s, u"log 2 Error creating Configuration manager"_s,
                        u"log 1 Error turning light 0"_s, u"log 1 Error turning rgb 0"_s,
                        u"log 1 Error unforcing phone off"_s} +
            off + QStringList{u"call freqmanager.Reboot()"_s};
        QCOMPARE(failures, expected);
    }

    void onlyWhatWasOnIsRestored()
    {
        QCOMPARE(run(u"light off\nrgb off\ncamera on\nconfig SOUND masterVolume 10"_s), QString());
        QCOMPARE(manager().Suspend(u"2024-03-08 07:30:00"_s), 0);

        const QStringList lines = take();
        QVERIFY(!lines.contains(u"call rgbfeaturemanager.Disable(true, false)"_s));
        QVERIFY(!lines.contains(u"call rgbfeaturemanager.Disable(false, false)"_s));
        QVERIFY(!lines.contains(u"call lightmanager.Switch(true)"_s));
        QVERIFY(!lines.contains(u"call photomanager.EnableCamera(true)"_s));
        QCOMPARE(lines.count(u"call lightmanager.Switch(false)"_s), 3); // before, restored as it was, before the reboot
    }

    void volumeFaults_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QStringList>("lines");
        const QString ask = u"call configmanager.GetStringValue(SOUND, masterVolume)"_s;
        const QString set = u"call soundmanager.SetMasterVolume(50)"_s;
        const QString missing = u"log 2 Can't read SOUND/masterVolume"_s;
        const QString failed = u"log 2 Error restoring master volume"_s;
        QTest::newRow("no number") << u"config SOUND masterVolume loud"_s << QStringList{ask, missing};
        QTest::newRow("sound: error")
            << u"fail soundmanager.SetMasterVolume error no"_s
            << QStringList{
                   ask, set,
                   u"log 2 Dbus SetMasterVolume async call: finished=true, valid=false, error=true (no), value=nd"_s,
                   failed};
        QTest::newRow("sound: status")
            << u"fail soundmanager.SetMasterVolume status 2"_s
            << QStringList{ask, set,
                           u"log 9 Dbus SetMasterVolume async call: finished=true, valid=true, error=false, value=2"_s,
                           failed};
    }

    void volumeFaults()
    {
        QFETCH(QString, fault);
        QFETCH(QStringList, lines);
        QCOMPARE(run(u"config SOUND masterVolume 50\n"_s + fault), QString());

        QCOMPARE(manager().Suspend(u"2024-03-08 07:30:00"_s), 0);

        const QStringList all = take();
        const qsizetype begin = all.indexOf(u"log 4 Post-suspend restore"_s) + 1;
        QCOMPARE(all.mid(begin, lines.size()), lines);
        QCOMPARE(all.at(begin + lines.size()), u"call lightmanager.Switch(true)"_s);
        QCOMPARE(all.last(), u"call freqmanager.Reboot()"_s);
    }

    void record_data()
    {
        QTest::addColumn<QString>("reason");
        QTest::addColumn<QByteArray>("recorded");
        QTest::newRow("empty") << QString() << QByteArray("|last_shutdown|\n");
        QTest::newRow("separators") << u"a|b|c"_s << QByteArray("|last_shutdown|a|b|c\n");
        QTest::newRow("format characters") << u"100%s%n"_s << QByteArray("|last_shutdown|100%s%n\n");
        QTest::newRow("line end") << u"a\nb"_s << QByteArray("|last_shutdown|a\nb\n");
        QTest::newRow("not ASCII") << u"caf\u00e9 \u2603"_s << QByteArray("|last_shutdown|caf\xc3\xa9 \xe2\x98\x83\n");
        QTest::newRow("long") << QString(100'000, u'x')
                              << QByteArray("|last_shutdown|" + QByteArray(100'000, 'x') + '\n');
    }

    void record()
    {
        QFETCH(QString, reason);

        QCOMPARE(manager().Shutdown(reason), 0);

        QTEST(recordedAction().mid(19), "recorded");
    }

    void unwritableRecordStopsNothing_data()
    {
        QTest::addColumn<QString>("obstacle"); // in the file's place; empty: even its folder is missing
        QTest::newRow("folder missing") << QString();
        QTest::newRow("a folder in the file's place") << u"/tmp"_s;
        QTest::newRow("no space left") << u"/dev/full"_s;
    }

    void unwritableRecordStopsNothing()
    {
        QFETCH(QString, obstacle);
        const QString folder = QFileInfo(paths::lastActionFile()).path();
        QVERIFY(obstacle.isEmpty() ? QDir(folder).removeRecursively() : QFile::link(obstacle, paths::lastActionFile()));

        QCOMPARE(manager().Shutdown(u"x"_s), 0);

        QStringList expected = shuttingDown(u"x"_s);
        expected.insert(1, u"log 1 Error saving action/reason to file [%1]"_s.arg(paths::lastActionFile()));
        QCOMPARE(take(), expected);
        QCOMPARE(QFileInfo::exists(folder), !obstacle.isEmpty()); // never made by the daemon
    }

    void requestsDuringAPauseAreServedAfterwardsInOrder()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        PowerManagerAdaptor adaptor(&manager());
        QVERIFY(bus.registerService(QLatin1StringView(kServiceName)));
        QVERIFY(bus.registerObject(QLatin1StringView(kObjectPath), &manager(), QDBusConnection::ExportAdaptors));
        bool isFirst = true;
        setDuringPause([this, &isFirst] {
            if (std::exchange(isFirst, false)) {
                m_fixture->device().invoke([](Simulator& simulator) {
                    const InterfaceDescription& daemon = simulator.catalogue().powerDaemon();
                    simulator.callPowerDaemon(*daemon.findMethod(u"SetActionsEnabled"_s), {false});
                    simulator.callPowerDaemon(*daemon.findMethod(u"Shutdown"_s), {u"second"_s});
                    simulator.callPowerDaemon(*daemon.findMethod(u"IsActionsEnabled"_s), {});
                });
            }
        });

        const QString error =
            m_fixture->run(u"call Shutdown first\nexpect answer IsActionsEnabled 0 false\nexpect answer Shutdown 0"_s);

        bus.unregisterObject(QLatin1StringView(kObjectPath));
        bus.unregisterService(QLatin1StringView(kServiceName));
        QCOMPARE(error, QString());
        QStringList lines = take();
        lines.removeIf([](const QString& line) {
            return !line.startsWith(u"log") && !line.startsWith(u"call") && !line.startsWith(u"pause");
        });
        QCOMPARE(lines,
                 (QStringList{u"log 2 Shutdown (first) requested: will poweroff in about 5 seconds..."_s,
                              u"log 2 Power event emitted: shutdown"_s, kPause, u"call freqmanager.Shutdown()"_s,
                              u"log 4 PowerActions: 0 "_s,
                              u"log 2 Shutdown (second) requested: will poweroff in about 5 seconds..."_s,
                              u"log 2 Power event emitted: shutdown"_s, kPause, u"call freqmanager.Shutdown()"_s}));
    }
};

QTEST_GUILESS_MAIN(TstPowerActions)
#include "tst_poweractions.moc"
