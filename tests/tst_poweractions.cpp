// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Paths.h"
#include "PowerManagerFixture.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>
#include <ctime>

#include <sys/resource.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kPause = u"pause 5 s"_s;
const QString kLongPast = u"2024-03-08 07:30:00"_s; // the device wakes up at once

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

QStringList rebooting(const QString& reason, const QString& savedLight)
{
    const QString on = u"line 24 on"_s;
    const QString off = u"line 24 off"_s;
    const QString wait = u"pause 0.5 s"_s;
    return QStringList{u"log 2 Reboot (%1) requested: will restart in about 5 seconds..."_s.arg(reason),
                       u"signal powermanager.PowerEvent(reboot, %1)"_s.arg(reason),
                       u"log 2 Power event emitted: reboot"_s, kPause} +
           switchingOff(savedLight) +
           QStringList{on, wait, off, wait, on, wait, off, wait, on, wait, off, u"call freqmanager.Reboot()"_s};
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

QStringList standingBy()
{
    return QStringList{u"log 4 Pre-suspend setup"_s} + switchingOff(u"1"_s) +
           QStringList{u"signal powermanager.PowerEvent(suspend, sleep)"_s, kPause, u"call freqmanager.Suspend()"_s};
}

QByteArray recordedAction()
{
    QFile file(QStringLiteral(ZELT_ROOT "/data/log/last_powerman.txt")); // as others on the device know it
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "no record";
}

void setTimeZone(const QByteArray& name)
{
    qputenv("TZ", name);
    tzset();
}

} // namespace

/// Reboot, shutdown, suspend, and the peripherals around them.
class TstPowerActions : public PowerManagerFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        PowerManagerFixture::init();
        setTimeZone("UTC");
        QVERIFY(start());
        timeline().clear();
    }

    void reboot()
    {
        QCOMPARE(manager().Reboot(u"user_gui"_s), 0);
        QCOMPARE(take(), rebooting(u"user_gui"_s, u"1"_s));

        // Nothing is remembered: the second request runs like the first, but finds the light off.
        QCOMPARE(arrange(u"rgb on"_s), QString());
        QCOMPARE(manager().Reboot(u"upgrade"_s), 0);
        QCOMPARE(take(), rebooting(u"upgrade"_s, u"0"_s));
        const QString record = QString::fromUtf8(recordedAction());
        QCOMPARE(record.mid(19), u"|last_reboot|upgrade\n"_s);
        const QDateTime written = QDateTime::fromString(record.left(19), u"yyyy/MM/dd-hh:mm:ss"_s);
        QVERIFY(qAbs(written.secsTo(QDateTime::currentDateTime())) < 60);

        // A script that is started later would inherit what the pauses block.
        sigset_t blocked;
        QCOMPARE(pthread_sigmask(SIG_BLOCK, nullptr, &blocked), 0);
        QVERIFY(sigisemptyset(&blocked));
    }

    void lowPowerLineShutsDown()
    {
        const QString name = u"power|atmega_low_power"_s;
        QCOMPARE(manager().HandleGpEvent({name, false}), 0);
        QCOMPARE(manager().HandleGpEvent({u"reset_factory"_s, true}), 0);
        QCOMPARE(manager().HandleGpEvent({u"Power|atmega_low_power"_s, true}), 0);
        QCOMPARE(take(), QStringList());

        QCOMPARE(arrange(u"fail freqmanager.Shutdown status 9"_s), QString());
        QCOMPARE(manager().HandleGpEvent({name, true}), -51);
        QCOMPARE(take(), shuttingDown(u"cmd_shdm"_s) + QStringList{u"log 1 Shutdown error"_s});
        QVERIFY(recordedAction().endsWith("|last_shutdown|cmd_shdm\n"));
    }

    void suspend()
    {
        setTimeZone("Europe/Rome");
        QCOMPARE(arrange(u"config SOUND masterVolume -12.345"_s), QString());

        QCOMPARE(manager().Suspend(kLongPast), 0);

        const QStringList expected =
            suspending(kLongPast, u"2024-03-08 06:30:00"_s) + standingBy() +
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

    void refusedSuspendLeavesThePeripheralsOff()
    {
        QCOMPARE(arrange(u"fail freqmanager.Suspend status -7"_s), QString());

        QCOMPARE(manager().Suspend(kLongPast), -52);

        QCOMPARE(take(), suspending(kLongPast, kLongPast) + standingBy() +
                             QStringList{u"log 1 Error calling Suspend. returned -7"_s});
        QCOMPARE(run(u"expect switch light off\nexpect switch rgb off\nexpect switch phone off"_s), QString());
        QCOMPARE(recordedAction(), QByteArray("no record"));
    }

    void failedRebootAfterSuspendIsNoFailure()
    {
        QCOMPARE(arrange(u"fail freqmanager.Reboot status 1"_s), QString());
        QCOMPARE(manager().Suspend(kLongPast), 0);
        QCOMPARE(take().constLast(), u"log 1 Reboot error"_s);
    }

    void wakeUpTimes_data()
    {
        const Table<QByteArray, QString, QString> row("zone", "time", "utc");
        row("winter", "Europe/Rome", u"2024-01-15 00:30:00"_s, u"2024-01-14 23:30:00"_s);
        row("summer", "Europe/Rome", u"2024-07-15 00:30:00"_s, u"2024-07-14 22:30:00"_s);
        row("west", "America/New_York", u"2024-12-31 20:00:00"_s, u"2025-01-01 01:00:00"_s);
        row("skipped by the clock, east", "Europe/Rome", u"2024-03-31 02:30:00"_s, u"2024-03-31 01:30:00"_s);
        row("skipped by the clock, west", "America/New_York", u"2024-03-10 02:00:00"_s, u"2024-03-10 07:00:00"_s);
        row("winter after 2038", "Europe/Rome", u"2040-01-15 00:30:00"_s, u"2040-01-14 23:30:00"_s);
        row("summer after 2038", "Europe/Rome", u"2040-07-15 00:30:00"_s, u"2040-07-14 22:30:00"_s);
        row("skipped by the clock after 2038", "Europe/Rome", u"2040-03-25 02:30:00"_s, u"2040-03-25 01:30:00"_s);
        row("skipped by half an hour", "Australia/Lord_Howe", u"2026-10-04 02:15:00"_s, u"2026-10-03 15:45:00"_s);
        row("midnight skipped", "America/Santiago", u"2026-09-06 00:30:00"_s, u"2026-09-06 04:30:00"_s);
        row("comes twice", "Europe/Rome", u"2026-10-25 02:30:00"_s, u"2026-10-25 00:30:00"_s);
        row("comes twice by half an hour", "Australia/Lord_Howe", u"2026-04-05 01:45:00"_s, u"2026-04-04 14:45:00"_s);
        row("comes twice before midnight", "America/Santiago", u"2026-04-04 23:30:00"_s, u"2026-04-05 02:30:00"_s);
        row("beyond 31 bits of seconds", "Europe/Rome", u"2038-01-19 04:14:08"_s, u"2038-01-19 03:14:08"_s);
        row("leap day", "UTC", u"2024-02-29 12:00:00"_s, u"2024-02-29 12:00:00"_s);
        row("no leap day", "UTC", u"2023-02-29 12:00:00"_s, QString());
        row("without seconds", "UTC", u"2024-03-08 07:30"_s, QString());
        row("empty", "UTC", QString(), QString());
        row("text", "UTC", u"tomorrow %s%n"_s, QString());
    }

    void wakeUpTimes()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QString, time);
        QFETCH(QString, utc);
        setTimeZone(zone);
        QCOMPARE(arrange(u"fail freqmanager.SetWakeup status 1"_s), QString());

        QCOMPARE(manager().Suspend(time), -52);

        QCOMPARE(take(),
                 suspending(time, utc) + QStringList{u"log 1 Error setting wakeup time to %1 (localtime)"_s.arg(time)});
    }

    void unreadableStateOfPeripherals()
    {
        QCOMPARE(run(u"light on\nrgb off"_s), QString());
        QCOMPARE(manager().Reboot(u"before"_s), 0); // saves light on, RGB disabled
        const auto expected = [](const QString& savedLight, const QString& lightUnknown) {
            QStringList lines = rebooting(u"r"_s, savedLight);
            lines.insert(lines.indexOf(u"call rgbfeaturemanager.IsDisabled()"_s) + 1,
                         u"log 2 Can't find if Rgb is disabled: suppose not"_s);
            lines.insert(lines.indexOf(u"call lightmanager.GetSwitch()"_s) + 1, lightUnknown);
            lines.removeAll(QString());
            return lines;
        };

        QCOMPARE(arrange(u"rgb on\nfail rgbfeaturemanager.IsDisabled error\nfail lightmanager.GetSwitch error"_s),
                 QString());
        QCOMPARE(manager().Reboot(u"r"_s), 0);
        QCOMPARE(take(), expected(u"1"_s, QString())); // as saved by the reboot before

        QCOMPARE(arrange(u"light on\nfail lightmanager.GetSwitch status 4"_s), QString());
        QCOMPARE(manager().Reboot(u"r"_s), 0);
        QCOMPARE(take(), expected(u"0"_s, u"log 1 Impossible to get current Light status: suppose off"_s));
    }

    void absentPeripheralsStopNothing()
    {
        QCOMPARE(arrange(u"stop lightmanager\nstop rgbfeaturemanager\nstop photomanager\nstop phonemanager\n"
                         "stop soundmanager\nconfig SOUND masterVolume 50"_s),
                 QString());

        QCOMPARE(manager().Suspend(kLongPast), 0);

        static const QRegularExpression kFailure(
            u"^(log 1|log 2 (?!Dbus|Power event|Reboot)|call (?!freqmanager\\.SetWakeup))"_s);
        const QStringList off{u"log 1 Error turning light 0"_s,   u"log 2 Can't find if Rgb is disabled: suppose not"_s,
                              u"log 1 Error turning rgb 1"_s,     u"log 1 Error turning camera 0"_s,
                              u"log 1 Error forcing phone off"_s, u"log 2 SAVED CURRENT SYSTEM STATUS: light=0"_s};
        const QStringList between{
            u"call freqmanager.Suspend()"_s,          u"call configmanager.GetStringValue(SOUND, masterVolume)"_s,
            u"log 2 Error restoring master volume"_s, u"log 1 Error turning light 0"_s,
            u"log 1 Error turning rgb 0"_s,           u"log 1 Error unforcing phone off"_s};
        QCOMPARE(take().filter(kFailure), off + between + off + QStringList{u"call freqmanager.Reboot()"_s});
    }

    void missingStoreLeavesTheVolumeAsItIs()
    {
        QCOMPARE(arrange(u"light on\nstop configmanager"_s), QString());

        QCOMPARE(manager().Suspend(kLongPast), 0);

        static const QRegularExpression kStoreAndLight(u"onfiguration|config|olume|sound|[.]Switch"_s);
        QCOMPARE(take().filter(kStoreAndLight),
                 (QStringList{u"call lightmanager.Switch(false)"_s, u"log 2 Error creating Configuration manager"_s,
                              u"call lightmanager.Switch(true)"_s, u"call lightmanager.Switch(false)"_s}));
    }

    void onlyWhatWasOnIsRestored()
    {
        QCOMPARE(arrange(u"light off\nrgb off\ncamera on\nconfig SOUND masterVolume loud"_s), QString());

        QCOMPARE(manager().Suspend(kLongPast), 0);

        static const QRegularExpression kSwitches(u"^call (light|rgb|photo|sound)|Can't"_s);
        const QStringList off{u"call lightmanager.GetSwitch()"_s, u"call lightmanager.Switch(false)"_s,
                              u"call rgbfeaturemanager.IsDisabled()"_s, u"call photomanager.EnableCamera(false)"_s};
        const QStringList between{u"log 2 Can't read SOUND/masterVolume"_s, u"call lightmanager.Switch(false)"_s};
        QCOMPARE(take().filter(kSwitches), off + between + off);
    }

    void record_data()
    {
        const Table<QByteArray> row("reason");
        row("empty", "");
        row("separators", "a|b|c");
        row("format characters", "100%s%n");
        row("line end", "a\nb");
        row("not ASCII", "caf\xc3\xa9 \xe2\x98\x83");
        row("long", QByteArray(100'000, 'x'));
    }

    void record()
    {
        QFETCH(QByteArray, reason);
        // The file that is there may have any time stamp, also one that 32 bits can't hold.
        QCOMPARE(QProcess::execute(u"touch"_s, {u"-d"_s, u"2040-01-01"_s, paths::lastActionFile()}), 0);

        QList<QByteArray> recorded; // when others are told
        const auto readRecord = [&recorded] { recorded.append(recordedAction().mid(19)); };
        const QObject context; // the manager outlives this test
        connect(&manager(), &PowerManager::PowerEvent, &context, readRecord);

        QCOMPARE(manager().Shutdown(QString::fromUtf8(reason)), 0);
        QCOMPARE(manager().Reboot(QString::fromUtf8(reason)), 0);

        QCOMPARE(recorded, (QList<QByteArray>{"|last_shutdown|" + reason + '\n', "|last_reboot|" + reason + '\n'}));
    }

    void unwritableRecordStopsNothing_data()
    {
        const Table<QString> row("obstacle"); // a command of the shell; $1 is the file, $2 its folder
        row("folder missing", u"rm -r \"$2\""_s);
        row("a folder in the file's place", u"mkdir \"$1\""_s);
        row("a pipe in its place", u"mkfifo \"$1\""_s);
        row("a device in its place", u"ln -s /dev/full \"$1\""_s);
        row("no space left", QString());
    }

    void unwritableRecordStopsNothing()
    {
        QFETCH(QString, obstacle);
        const QString file = paths::lastActionFile();
        const QString folder = QFileInfo(file).path();
        QCOMPARE(QProcess::execute(u"sh"_s, {u"-c"_s, obstacle, u"sh"_s, file, folder}), 0);
        rlimit space = {};
        getrlimit(RLIMIT_FSIZE, &space);
        const rlimit noSpace = {0, space.rlim_max};
        if (obstacle.isEmpty()) {
            (void)std::signal(SIGXFSZ, SIG_IGN);
            setrlimit(RLIMIT_FSIZE, &noSpace);
        }

        const int status = manager().Shutdown(u"x"_s);

        setrlimit(RLIMIT_FSIZE, &space);
        QCOMPARE(status, 0);
        QStringList expected = shuttingDown(u"x"_s);
        expected.insert(1, u"log 1 Error saving action/reason to file [%1]"_s.arg(file));
        QCOMPARE(take(), expected);
        QCOMPARE(QFileInfo::exists(folder), !obstacle.startsWith(u"rm")); // never made by the daemon
    }

    void requestsDuringAPauseAreServedAfterwardsInOrder()
    {
        QVERIFY(serve());
        setDuringPause([this] {
            setDuringPause(nullptr);
            device().invoke([](Simulator& simulator) {
                const InterfaceDescription& daemon = simulator.catalogue().powerDaemon();
                simulator.powerDaemon().call(*daemon.findMethod(u"SetActionsEnabled"_s), {false});
                simulator.powerDaemon().call(*daemon.findMethod(u"Reboot"_s), {u"second"_s});
                simulator.powerDaemon().call(*daemon.findMethod(u"IsActionsEnabled"_s), {});
            });
        });

        QCOMPARE(run(u"call Shutdown first\nexpect answer IsActionsEnabled 0 false\nexpect answer Reboot 0"_s),
                 QString());

        static const QRegularExpression kWork(u"^(log|call|pause|line)"_s);
        const QStringList expected =
            shuttingDown(u"first"_s) + QStringList{u"log 4 PowerActions: 0 "_s} + rebooting(u"second"_s, u"1"_s);
        QCOMPARE(take().filter(kWork), expected.filter(kWork));
    }
};

QTEST_GUILESS_MAIN(TstPowerActions)
#include "tst_poweractions.moc"
