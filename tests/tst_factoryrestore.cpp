// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Configuration.h"
#include "EventMonitor.h"
#include "FactoryRestoreManager.h"
#include "Names.h"
#include "Paths.h"
#include "PowerManagerFixture.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>

#include <cerrno>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kModeRead = u"line 134 read"_s;
const QString kSoftStarted = u"log 4 SOFT FACTORY RESET timer started: 5000 s..."_s;
const QString kSoftStopped = u"log 4 SOFT FACTORY RESET timer stopped"_s;
const QString kHardStarted = u"log 4 HARD FACTORY RESET timer started: 5000 s..."_s;
const QString kHardStopped = u"log 4 HARD FACTORY RESET timer stopped"_s;
const QString kSoftRefused = u"log 2 SOFT FACTORY RESET already running: refused"_s;
const QString kUpdateError = u"log 1 SOFT FACTORY RESET failed (config update error)"_s;
const QString kNoStore = u"log 1 SOFT FACTORY RESET failed (invalid config proxy)"_s;

QStringList pattern(const QString& lastPause)
{
    const QString on = u"line 24 on"_s;
    const QString off = u"line 24 off"_s;
    const QString wait = u"pause 0.5 s"_s;
    return {on, wait, off, wait, on, lastPause, off};
}

/// What a reset does to the store, by tests/data/factory-settings.txt. What is kept is missing before.
QStringList writing(int mode)
{
    QFile table(QStringLiteral(SOURCE_FOLDER "/tests/data/factory-settings.txt"));
    if (!table.open(QIODevice::ReadOnly)) {
        qFatal("%s: %s", qPrintable(table.fileName()), qPrintable(table.errorString()));
    }
    QStringList lines;
    static const QRegularExpression kRow(u"^[^#]"_s);
    const QStringList rows = QString::fromUtf8(table.readAll()).split(u'\n').filter(kRow);
    for (const QString& row : rows) {
        const QStringList columns = row.split(u'|');
        const QString place = columns.at(1) + u", "_s + columns.at(2);
        const bool isKept = columns.constFirst() == u"keep";
        if (isKept) {
            lines.append(u"call configmanager.GetStringValue("_s + place + u')');
        }
        const bool isOfMode = columns.constFirst() == u"mode";
        if ((isOfMode && mode != 0 && mode != 1) || (isKept && !columns.at(3).isEmpty())) {
            continue;
        }
        const QString value = columns.constFirst() == u"now" ? u"NOW"_s : columns.at(isOfMode && mode == 1 ? 4 : 3);
        lines.append(u"call configmanager.SetStringValue("_s + place + u", "_s + value + u')');
        lines.append(u"log 4 Successfully set value '%1' to %2/%3"_s.arg(value, columns.at(1), columns.at(2)));
    }
    return lines;
}

QStringList restoring(int mode)
{
    QStringList lines{u"log 2 SOFT FACTORY RESET started"_s, kModeRead};
    if (mode == 0 || mode == 1) {
        lines += u"log 2 SOFT FACTORY RESET mode: "_s + (mode == 0 ? u"Infrastructure"_s : u"Access Point"_s);
    }
    return lines + writing(mode) +
           QStringList{u"log 2 SOFT FACTORY RESET successfully completed"_s, u"call configmanager.Save()"_s,
                       u"call configmanager.Freeze()"_s};
}

/// A hard reset, with how the schedule, the events and the script went.
QStringList hardReset(const QString& schedule, const QString& events, const QString& script)
{
    return pattern(u"pause 2 s"_s) +
           QStringList{u"log 2 HARD FACTORY RESET (includes SOFT) started"_s,
                       u"log 4 HARD FACTORY RESET: clear schedule"_s,
                       u"call scheduler.Clear()"_s,
                       schedule,
                       u"log 4 HARD FACTORY RESET: clear events"_s,
                       u"call eventmanager.Clear()"_s,
                       events,
                       script,
                       u"log 4 Restore Configuration requested"_s} +
           restoring(0) +
           QStringList{u"log 4 Succesfully Soft Reset! Rebooting... @/com/quillmark/zelt/networkmanager/netobj"_s};
}

} // namespace

/// Hardware events, and the factory resets that two buttons start.
class TstFactoryRestore : public PowerManagerFixture
{
    Q_OBJECT

    std::unique_ptr<FactoryRestoreManager> m_manager;

    /// As PowerManagerFixture::take(), with the time of the restore replaced by NOW if it is the present time.
    QStringList take()
    {
        QStringList lines = PowerManagerFixture::take();
        static const QRegularExpression kTime(u"\\d{4}/\\d\\d/\\d\\d-\\d\\d:\\d\\d:\\d\\d"_s);
        for (QString& line : lines) {
            const QDateTime time = QDateTime::fromString(kTime.match(line).captured(), u"yyyy/MM/dd-hh:mm:ss"_s);
            if (qAbs(time.secsTo(QDateTime::currentDateTime())) < 10) {
                line.replace(kTime, u"NOW"_s);
            }
        }
        return lines;
    }

private Q_SLOTS:
    void init()
    {
        PowerManagerFixture::init();
        m_manager = std::make_unique<FactoryRestoreManager>(nullptr);
        QVERIFY(m_manager->isInitialized());
    }

    void cleanup()
    {
        m_manager.reset();
        PowerManagerFixture::cleanup();
    }

    void onlyThreeEventsArePassedOn()
    {
        EventMonitor monitor(nullptr);
        QVERIFY(monitor.isConnected());
        connect(&monitor, &EventMonitor::event, this, [](const Event& event) {
            timeline().add(events::Output{u"passed on: name=%1, value=%2"_s.arg(event.name).arg(event.value)});
        });
        const QStringList names{u"power|atmega_low_power"_s,
                                u"reset_factory"_s,
                                u"seek-"_s,
                                u"Reset_factory"_s,
                                u"seek-2"_s,
                                u"seek+"_s,
                                QString(),
                                u"reset_factory "_s};
        QString lines;
        QStringList expected;
        for (const QString& name : names) {
            const QString outcome = names.indexOf(name) < 3 ? u"output passed on: "_s : u"log 9 Event ignored: "_s;
            for (const int value : {1, 0}) {
                const QString event = u"name=%1, value=%2"_s.arg(name).arg(value);
                lines += u"event \"%1\" %2\n"_s.arg(name, value == 1 ? u"on"_s : u"off"_s);
                expected += {u"log 5 Event got: "_s + event, outcome + event};
            }
        }

        QCOMPARE(run(lines + u"expect log \"Event ignored: name=reset_factory , value=0\""_s), QString());

        QCOMPARE(take(), expected);
    }

    void lateEventServiceIsHeard()
    {
        QCOMPARE(run(u"stop gpeventmanager"_s), QString());
        EventMonitor monitor(nullptr);
        QVERIFY(!monitor.isConnected());
        QCOMPARE(take(), QStringList{u"log 9 Impossible to connect GpEvent signals"_s});

        QCOMPARE(run(u"start gpeventmanager\nevent seek- on\nexpect log \"Event got: name=seek-\""_s), QString());
    }

    void gestures_data()
    {
        // R: reset pressed, r: released; S: seek-down pressed, s: released; x: another button
        const Table<QString, QStringList> row("events", "log");
        const QStringList both{kSoftStarted, kSoftStopped, kHardStarted}; // reset was pressed first
        row("reset tapped", u"Rr"_s, {kSoftStarted, kSoftStopped});
        row("reset reported twice", u"RR"_s, {kSoftStarted, kSoftStarted});
        row("seek alone", u"SsS"_s, {});
        row("reset, then seek", u"RS"_s, both);
        row("seek, then reset", u"SR"_s, {kHardStarted});
        row("seek let go leaves the hard countdown running", u"RSs"_s, both + QStringList{kSoftStarted});
        row("reset let go stops both", u"RSsr"_s, both + QStringList{kSoftStarted, kSoftStopped, kHardStopped});
        row("both let go, reset first", u"RSrs"_s, both + QStringList{kHardStopped});
        row("seek held on, reset again", u"RSrR"_s, both + QStringList{kHardStopped, kHardStarted});
        row("low power is none of it", u"Rxr"_s, {kSoftStarted, kSoftStopped});
    }

    void gestures()
    {
        QFETCH(QString, events);
        for (const QChar event : std::as_const(events)) {
            const QString name =
                event == u'x' ? QString(kLowPowerEvent) : QString(event.toLower() == u'r' ? kResetEvent : kSeekEvent);
            m_manager->OnEvent(Event(name, event.isUpper() || event == u'x'));
        }
        QTEST(take(), "log");
    }

    void softReset_data()
    {
        const Table<int> row("mode");
        row("infrastructure", 0);
        row("access point", 1);
        row("neither", 2);
    }

    void softReset()
    {
        QFETCH(int, mode);
        setModeSelect(mode);
        QSignalSpy completed(m_manager.get(), &FactoryRestoreManager::ResetCompleted);

        QVERIFY(QMetaObject::invokeMethod(m_manager.get(), "SoftResetTimer_Elapsed"));

        QCOMPARE(take(), QStringList{u"log 4 SOFT FACTORY RESET timer elapsed"_s} + pattern(u"pause 0.5 s"_s) +
                             restoring(mode));
        QCOMPARE(completed.size(), 1);
    }

    void identityOutlastsTheReset()
    {
        const QString identity = u"config GENERAL SerialNumber 0815\nconfig GENERAL Nickname Kitchen\n"
                                 "config GENERAL ZeltId z\nconfig GENERAL PartNumber p-1\n"
                                 "config USER playlist mine\n"_s;
        QCOMPARE(run(identity + u"config DEVICES_SETUP wifi-infrastructure-passwd secret"_s), QString());
        device().invoke([](Simulator& simulator) { // present, but empty
            simulator.device().config.insert({u"DEVICES_SETUP"_s, u"wifi-regulatory-region"_s}, QString());
        });

        QVERIFY(m_manager->FactorySoftReset(false, false));

        QCOMPARE(run(QString(identity).replace(u"config "_s, u"expect config "_s) +
                     u"expect config DEVICES_SETUP wifi-infrastructure-passwd brightfox\n"
                     "expect config DEVICES_SETUP wifi-regulatory-region IT"_s),
                 QString());
    }

    void failedSoftResets_data()
    {
        const Table<int, QString, QStringList> row("mode", "fault", "last");
        row("mode unreadable", -EIO, QString(),
            {kModeRead, u"log 1 Impossible to read MODE_SELECT (Infrastructure or Access Point)"_s});
        row("no store", 0, u"stop configmanager"_s, {kNoStore});
        row("write refused", 0, u"fail configmanager.SetStringValue status 5"_s,
            {u"call configmanager.SetStringValue(GENERAL, LastRestore, NOW)"_s,
             u"log 1 Can't write 'NOW' to GENERAL/LastRestore"_s, kUpdateError});
        row("store dies in the middle", 0, u"fail configmanager.GetStringValue dies"_s,
            {u"call configmanager.GetStringValue(GENERAL, SerialNumber)"_s,
             u"log 1 Can't write '' to GENERAL/SerialNumber"_s, kUpdateError});
        // It would take the empty serial number that the failed read leaves.
        row("store unreadable", 0, u"fail configmanager.GetStringValue error"_s,
            {u"call configmanager.GetStringValue(GENERAL, SerialNumber)"_s,
             u"log 1 Can't write '' to GENERAL/SerialNumber"_s, kUpdateError});
    }

    void failedSoftResets()
    {
        QFETCH(int, mode);
        QFETCH(QString, fault);
        QFETCH(QStringList, last);
        setModeSelect(mode);
        QCOMPARE(run(u"config GENERAL SerialNumber ZA-1\n"_s + fault), QString());
        QSignalSpy completed(m_manager.get(), &FactoryRestoreManager::ResetCompleted);

        QVERIFY(!m_manager->FactorySoftReset(true, false));

        const QStringList lines = take();
        QCOMPARE(lines.mid(lines.size() - last.size()), last);
        QCOMPARE(run(u"expect config GENERAL SerialNumber ZA-1"_s), QString());
        QVERIFY(!lines.contains(u"call configmanager.Save()"_s) && !lines.contains(u"call configmanager.Freeze()"_s));
        QCOMPARE(completed.size(), 0);

        // The next try is not refused.
        setModeSelect(0);
        QCOMPARE(run(u"repair all\nstart configmanager"_s), QString());
        QVERIFY(m_manager->FactorySoftReset(true, false));
        QCOMPARE(completed.size(), 1);
    }

    void hardResetRunsOnce()
    {
        // Its name is the vendor's. Neither its input nor its status nor its output matter.
        const QString script = QStringLiteral(ZELT_ROOT "/bin/clear_data.sh");
        writeFile(script, "#!/bin/sh\ntouch \"$0.ran\"; read line; echo noise; exit 3\n");
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
        QList<QVariant> refusals;
        connect(m_manager.get(), &FactoryRestoreManager::ResetCompleted, this,
                [this, &refusals] { // clazy:exclude=lambda-in-connect
                    refusals.append(m_manager->FactoryHardReset());
                });

        QVERIFY(QMetaObject::invokeMethod(m_manager.get(), "HardResetTimer_Elapsed"));

        const QStringList refused{u"log 2 HARD FACTORY RESET already running: refused"_s};
        QCOMPARE(take(),
                 QStringList{u"log 4 HARD FACTORY RESET timer elapsed"_s} +
                     hardReset(u"log 4 HARD FACTORY RESET: clear schedule done"_s,
                               u"log 4 HARD FACTORY RESET: clear events done"_s, u"log 2 Clear data executed OK!"_s) +
                     refused);
        QCOMPARE(refusals, QList<QVariant>{false});
        QVERIFY(QFile::exists(script + u".ran"_s));

        // Ignored: no recovery is under way.
        for (const int status : {1, 2, 3}) {
            m_manager->UpgradeStatusChanged(status);
        }
        QCOMPARE(take(), QStringList());

        // Nothing more may start before the reboot.
        QVERIFY(!m_manager->FactoryHardReset());
        QVERIFY(!m_manager->FactorySoftReset(true, true));
        QCOMPARE(take(), refused + QStringList{kSoftRefused});
    }

    void recoveryIsFollowed_data()
    {
        const Table<int, QByteArray, QStringList, int, bool> row("status", "script", "log", "resets", "pending");
        const QString completed = u"log 4 Software Recovery COMPLETED "_s;
        const QString failed =
            u"log 1 HARD FACTORY RESET (includes SOFT) failed (can't execute post_factory_restore.sh)"_s;
        row("started", 1, "exit 0", {u"log 4 >>> Software Recovery STARTED"_s}, 0, true);
        row("completed, whatever the script's status", 2, "sleep 0.5; exit 3",
            {completed, u"log 2 HARD FACTORY RESET (includes SOFT) completed"_s}, 1, false);
        row("completed, no script", 2, "", {completed, failed}, 0, false);
        row("failed", 3, "exit 0", {u"log 4 Software Recovery FAILED "_s}, 0, false);
        row("unknown", 4, "exit 0", {}, 0, true);
    }

    void recoveryIsFollowed()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, script);
        QFETCH(QStringList, log);
        QFETCH(int, resets);
        QFETCH(bool, pending);
        const QString file = QStringLiteral(ZELT_ROOT "/bin/post_factory_restore.sh");
        QFile::remove(file);
        if (!script.isEmpty()) {
            writeFile(file, "#!/bin/sh\n" + script + '\n');
            QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::ExeOwner));
        }
        const QSignalSpy spy(m_manager.get(), &FactoryRestoreManager::ResetCompleted);
        m_manager->m_recoveryPending = true;
        m_manager->m_resetRunning = true;

        m_manager->UpgradeStatusChanged(status);

        QCOMPARE(take(), log);
        QCOMPARE(spy.size(), resets);
        QCOMPARE(m_manager->m_recoveryPending, pending);
        QCOMPARE(m_manager->m_resetRunning, pending);
    }

    void whatFailsStopsNoHardReset()
    {
        // The script is missing, too.
        QCOMPARE(run(u"fail scheduler.Clear status 4\nfail eventmanager.Clear status -1"_s), QString());

        QVERIFY(m_manager->FactoryHardReset());

        QCOMPARE(take(), hardReset(u"log 1 HARD FACTORY RESET: clear schedule failed"_s,
                                   u"log 1 HARD FACTORY RESET: clear events failed"_s,
                                   u"log 1 Clear data failed ...! Continuing anyway with SoftReset... "_s));
    }

    void failedRestoreOfAHardResetRebootsAnyway_data()
    {
        const Table<QString, QString> row("fault", "reason");
        row("no store", u"stop configmanager"_s, kNoStore);
        row("store unreadable", u"config GENERAL SerialNumber ZA-1\nfail configmanager.GetStringValue error"_s,
            kUpdateError);
    }

    void failedRestoreOfAHardResetRebootsAnyway()
    {
        QFETCH(QString, fault);
        QFETCH(QString, reason);
        QCOMPARE(run(fault), QString());
        QSignalSpy completed(m_manager.get(), &FactoryRestoreManager::ResetCompleted);

        QVERIFY(!m_manager->FactoryHardReset());

        const QStringList lines = take();
        QCOMPARE(lines.mid(lines.size() - 3),
                 (QStringList{reason, u"log 1 Impossible to do SOFT FACTORY RESET: ignored"_s,
                              u"log 1 HARD FACTORY RESET (includes SOFT) failed (can't connect/request Software "
                              "Recovery), REBOOTING ANYWAY.."_s}));
        QVERIFY(!lines.contains(u"call configmanager.Save()"_s));
        QCOMPARE(completed.size(), 1);
        QVERIFY(!m_manager->FactorySoftReset(true, true));
        QCOMPARE(take(), QStringList{kSoftRefused});
    }

    void softResetIsRefusedOnlyDuringAnother()
    {
        QList<QVariant> results;
        connect(m_manager.get(), &FactoryRestoreManager::ResetCompleted, this,
                [this, &results] { // clazy:exclude=lambda-in-connect
                    results.append(m_manager->FactorySoftReset(true, true));
                });
        QVERIFY(m_manager->FactorySoftReset(true, false));
        QCOMPARE(results, QList<QVariant>{false});
        QCOMPARE(take().constLast(), kSoftRefused);

        (void)m_manager->FactorySoftReset(false, false); // the reboot failed, and the store is still frozen
        QCOMPARE(take().constFirst(), u"log 2 SOFT FACTORY RESET started"_s);
    }

    void copiedValues_data()
    {
        const Table<QString, bool, QString, QStringList> row("before", "isCopied", "after", "log");
        const QString none = u"expect no config TO key"_s;
        const QString missing = u"log 2 Can't find FROM/key, using default (d)"_s;
        row("found", u"config FROM key v"_s, true, u"expect config TO key v"_s,
            {u"log 4 Successfully copied value 'v' from FROM/key to TO/key"_s});
        row("missing", QString(), true, u"expect config FROM key d\nexpect config TO key d"_s,
            {missing, u"log 4 Successfully initialized default value FROM/key=d"_s,
             u"log 4 Successfully set default value TO/key=d"_s});
        row("unwritable", u"config FROM key v\nfail configmanager.SetStringValue error"_s, false, none,
            {u"log 1 Can't write TO/key=v"_s});
        row("missing and unwritable", u"fail configmanager.SetStringValue status 1"_s, false, none,
            {missing, u"log 2 Failed to initialize default value FROM/key=d"_s, u"log 1 Can't write TO/key=d"_s});
    }

    void copiedValues()
    {
        QFETCH(QString, before);
        QCOMPARE(run(before), QString());
        const Configuration store(QString::fromLatin1(kObjectPath));

        QTEST(m_manager->CopyConfigValue(store, u"key"_s, u"FROM"_s, u"TO"_s, u"d"_s), "isCopied");

        QTEST(take().filter(QRegularExpression(u"^log"_s)), "log");
        QFETCH(QString, after);
        QCOMPARE(run(after), QString());
    }

    void buttonsReachTheResetAndItsRebootFollows()
    {
        m_manager.reset();
        QVERIFY(start());
        QCOMPARE(arrange(u"event reset_factory on\nexpect log \"RESET timer started\"\n"
                         "event \"power|atmega_low_power\" off\n"
                         "event reset_factory off\nexpect log \"RESET timer stopped\""_s),
                 QString());

        QVERIFY(manager().findChild<FactoryRestoreManager*>()->FactorySoftReset(true, false));

        const QStringList lines = take();
        const QStringList reset = restoring(0);
        QCOMPARE(lines.mid(0, reset.size()), reset);
        QCOMPARE(lines.at(reset.size()), u"log 2 Reboot (restore) requested: will restart in about 5 seconds..."_s);
        QCOMPARE(lines.constLast(), u"call freqmanager.Reboot()"_s);

        QCOMPARE(run(u"event \"power|atmega_low_power\" on\nexpect call freqmanager.Shutdown"_s), QString());
        QVERIFY(take().contains(u"log 2 Shutdown (cmd_shdm) requested: will poweroff in about 5 seconds..."_s));
    }
};

QTEST_GUILESS_MAIN(TstFactoryRestore)
#include "tst_factoryrestore.moc"
