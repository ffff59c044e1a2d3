// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Configuration.h"
#include "EventMonitor.h"
#include "FactoryRestoreManager.h"
#include "Names.h"
#include "Paths.h"
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kOn = u"line 24 on"_s;
const QString kOff = u"line 24 off"_s;
const QString kHalfSecond = u"pause 500000 us"_s;
const QStringList kSoftPattern{kOn, kHalfSecond, kOff, kHalfSecond, kOn, kHalfSecond, kOff};
const QStringList kHardPattern{kOn, kHalfSecond, kOff, kHalfSecond, kOn, u"pause 2000000 us"_s, kOff};
const QString kModeRead = u"line 134 read"_s;
const QString kSoftStopped = u"log 4 SOFT FACTORY RESET timer stopped"_s;
const QString kHardStopped = u"log 4 HARD FACTORY RESET timer stopped"_s;
const QString kSoftStarted = u"log 4 SOFT FACTORY RESET timer started: 5000 s..."_s;
const QString kHardStarted = u"log 4 HARD FACTORY RESET timer started: 5000 s..."_s;

/// What a reset does to the store, from the published table: "kind|group|key|value", of kind "mode" with a value more
/// for the access point. What is kept is missing before.
QStringList writing(int mode)
{
    QFile table(QStringLiteral(SOURCE_FOLDER "/tests/data/factory-settings.txt"));
    if (!table.open(QIODevice::ReadOnly)) {
        qFatal("%s: %s", qPrintable(table.fileName()), qPrintable(table.errorString()));
    }
    QStringList lines;
    const QStringList rows = QString::fromUtf8(table.readAll()).split(u'\n', Qt::SkipEmptyParts);
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

QStringList clearing(const QString& schedule, const QString& events)
{
    return kHardPattern + QStringList{u"log 2 HARD FACTORY RESET (includes SOFT) started"_s,
                                      u"log 4 HARD FACTORY RESET: clear schedule"_s,
                                      u"call scheduler.Clear()"_s,
                                      schedule,
                                      u"log 4 HARD FACTORY RESET: clear events"_s,
                                      u"call eventmanager.Clear()"_s,
                                      events};
}

const QString kScheduleDone = u"log 4 HARD FACTORY RESET: clear schedule done"_s;
const QString kEventsDone = u"log 4 HARD FACTORY RESET: clear events done"_s;
const QString kScriptFailed = u"log 1 Clear data failed ...! Continuing anyway with SoftReset... "_s;
const QString kRequested = u"log 4 Restore Configuration requested"_s;
const QString kRebooting = u"log 4 Succesfully Soft Reset! Rebooting... @/com/quillmark/zelt/networkmanager/netobj"_s;

} // namespace

/// Hardware events, and the factory resets that two buttons start.
class TstFactoryRestore : public QObject
{
    Q_OBJECT

    std::unique_ptr<PowerManagerFixture> m_fixture;
    std::unique_ptr<FactoryRestoreManager> m_manager;

    /// As PowerManagerFixture::take(), with the time of the restore as NOW where it is the present one.
    QStringList take()
    {
        QStringList lines = m_fixture->take();
        static const QRegularExpression kTime(u"\\d{4}/\\d\\d/\\d\\d-\\d\\d:\\d\\d:\\d\\d"_s);
        for (QString& line : lines) {
            const QDateTime time = QDateTime::fromString(kTime.match(line).captured(), u"yyyy/MM/dd-hh:mm:ss"_s);
            if (qAbs(time.secsTo(QDateTime::currentDateTime())) < 10) {
                line.replace(kTime, u"NOW"_s);
            }
        }
        return lines;
    }

    QString run(const QString& lines)
    {
        return m_fixture->run(lines);
    }

    static void writeScript(const QByteArray& content)
    {
        writeFile(paths::clearDataScript(), "#!/bin/sh\n" + content + '\n');
        QVERIFY(QFile::setPermissions(paths::clearDataScript(), QFile::ReadOwner | QFile::ExeOwner));
    }

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_fixture = std::make_unique<PowerManagerFixture>();
        m_manager = std::make_unique<FactoryRestoreManager>(nullptr);
        QVERIFY(m_manager->isInitialized());
    }

    void cleanup()
    {
        m_manager.reset();
        m_fixture.reset();
    }

    void onlyThreeEventsArePassedOn()
    {
        EventMonitor monitor(nullptr);
        QVERIFY(monitor.isConnected());
        QStringList passed;
        connect(&monitor, &EventMonitor::event, this,
                [&passed](const Event& event) { passed += event.name + u"=%1"_s.arg(event.value); });
        QString lines;
        QStringList log;
        for (const char* name : {"power|atmega_low_power", "reset_factory", "seek-"}) {
            lines += u"event \"%1\" on\nevent \"%1\" off\n"_s.arg(QLatin1StringView(name));
            log += u"log 5 Event got: name=%1, value=1"_s.arg(QLatin1StringView(name));
            log += u"log 5 Event got: name=%1, value=0"_s.arg(QLatin1StringView(name));
        }
        for (const char* name : {"Reset_factory", "seek-2", "seek+", "", "reset_factory "}) {
            lines += u"event \"%1\" on\n"_s.arg(QLatin1StringView(name));
            log += u"log 5 Event got: name=%1, value=1"_s.arg(QLatin1StringView(name));
            log += u"log 9 Event ignored: name=%1, value=1"_s.arg(QLatin1StringView(name));
        }

        QCOMPARE(run(lines + u"expect log \"Event ignored: name=reset_factory \""_s), QString());

        QCOMPARE(take(), log);
        QCOMPARE(passed, (QStringList{u"power|atmega_low_power=1"_s, u"power|atmega_low_power=0"_s,
                                      u"reset_factory=1"_s, u"reset_factory=0"_s, u"seek-=1"_s, u"seek-=0"_s}));
    }

    void lateEventServiceIsHeard()
    {
        QCOMPARE(run(u"stop gpeventmanager"_s), QString());
        EventMonitor monitor(nullptr);
        QVERIFY(!monitor.isConnected());
        QCOMPARE(take(), QStringList{u"log 9 Impossible to connect GpEvent signals"_s});

        QCOMPARE(run(u"start gpeventmanager\nwait 0.1\nevent seek- on\nexpect log \"Event got: name=seek-\""_s),
                 QString());
    }

    void gestures_data()
    {
        QTest::addColumn<QString>("events"); // R reset pressed, r released; S seek-down pressed, s released; x another
        QTest::addColumn<QStringList>("log");
        QTest::newRow("reset tapped") << u"Rr"_s << QStringList{kSoftStarted, kSoftStopped};
        QTest::newRow("reset told twice") << u"RR"_s << QStringList{kSoftStarted, kSoftStarted};
        QTest::newRow("seek alone") << u"SsS"_s << QStringList();
        QTest::newRow("reset, then seek") << u"RS"_s << QStringList{kSoftStarted, kSoftStopped, kHardStarted};
        QTest::newRow("seek, then reset") << u"SR"_s << QStringList{kHardStarted};
        QTest::newRow("seek let go leaves the hard countdown running")
            << u"RSs"_s << QStringList{kSoftStarted, kSoftStopped, kHardStarted, kSoftStarted};
        QTest::newRow("reset let go stops both") << u"RSsr"_s << QStringList{kSoftStarted, kSoftStopped, kHardStarted,
                                                                             kSoftStarted, kSoftStopped, kHardStopped};
        QTest::newRow("both let go, reset first")
            << u"RSrs"_s << QStringList{kSoftStarted, kSoftStopped, kHardStarted, kHardStopped};
        QTest::newRow("seek held on, reset again")
            << u"RSrR"_s << QStringList{kSoftStarted, kSoftStopped, kHardStarted, kHardStopped, kHardStarted};
        QTest::newRow("low power is none of it") << u"Rxr"_s << QStringList{kSoftStarted, kSoftStopped};
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
        QTest::addColumn<int>("mode");
        QTest::newRow("infrastructure") << 0;
        QTest::newRow("access point") << 1;
        QTest::newRow("neither") << 2;
    }

    void softReset()
    {
        QFETCH(int, mode);
        setModeSelect(mode);
        QSignalSpy completed(m_manager.get(), &FactoryRestoreManager::ResetCompleted);

        QVERIFY(QMetaObject::invokeMethod(m_manager.get(), "SoftResetTimer_Elapsed"));

        QCOMPARE(take(), QStringList{u"log 4 SOFT FACTORY RESET timer elapsed"_s} + kSoftPattern + restoring(mode));
        QCOMPARE(completed.size(), 1);
    }

    void identityOutlastsTheReset()
    {
        QCOMPARE(run(u"config GENERAL SerialNumber 0815\nconfig GENERAL Nickname Kitchen\nconfig GENERAL ZeltId z\n"
                     "config GENERAL PartNumber p-1\nconfig DEVICES_SETUP wifi-regulatory-region US\n"
                     "config DEVICES_SETUP wifi-infrastructure-passwd secret\nconfig USER playlist mine"_s),
                 QString());

        QVERIFY(m_manager->FactorySoftReset(false, false));

        QCOMPARE(run(u"expect config GENERAL SerialNumber 0815\nexpect config GENERAL Nickname Kitchen\n"
                     "expect config GENERAL ZeltId z\nexpect config GENERAL PartNumber p-1\n"
                     "expect config DEVICES_SETUP wifi-regulatory-region US\n"
                     "expect config DEVICES_SETUP wifi-infrastructure-passwd brightfox\n"
                     "expect config USER playlist mine"_s),
                 QString());
    }

    void emptyRegionBecomesTheFactorys()
    {
        m_fixture->device().invoke([](Simulator& simulator) {
            simulator.device().config.insert({u"DEVICES_SETUP"_s, u"wifi-regulatory-region"_s}, QString());
        });
        QVERIFY(m_manager->FactorySoftReset(false, false));
        QCOMPARE(run(u"expect config DEVICES_SETUP wifi-regulatory-region IT"_s), QString());
    }

    void failedSoftResets_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QStringList>("last"); // the last lines
        const QString failed = u"log 1 SOFT FACTORY RESET failed (config update error)"_s;
        const QStringList first{u"call configmanager.SetStringValue(GENERAL, LastRestore, NOW)"_s,
                                u"log 1 Can't write 'NOW' to GENERAL/LastRestore"_s, failed};
        QTest::newRow("mode unreadable")
            << -EIO << u"note no fault"_s
            << QStringList{kModeRead, u"log 1 Impossible to read MODE_SELECT (Infrastructure or Access Point)"_s};
        QTest::newRow("no store") << 0 << u"stop configmanager"_s
                                  << QStringList{u"log 1 SOFT FACTORY RESET failed (invalid config proxy)"_s};
        QTest::newRow("write refused") << 0 << u"fail configmanager.SetStringValue status 5"_s << first;
        QTest::newRow("store dies in the middle")
            << 0 << u"fail configmanager.GetStringValue dies"_s
            << QStringList{u"call configmanager.GetStringValue(GENERAL, SerialNumber)"_s,
                           u"log 1 Can't write '' to GENERAL/SerialNumber"_s, failed};
    }

    void failedSoftResets()
    {
        QFETCH(int, mode);
        QFETCH(QString, fault);
        QFETCH(QStringList, last);
        setModeSelect(mode);
        QCOMPARE(run(fault), QString());
        QSignalSpy completed(m_manager.get(), &FactoryRestoreManager::ResetCompleted);

        QVERIFY(!m_manager->FactorySoftReset(true, false));

        const QStringList lines = take();
        QCOMPARE(lines.mid(lines.size() - last.size()), last);
        QVERIFY(!lines.contains(u"call configmanager.Save()"_s) && !lines.contains(u"call configmanager.Freeze()"_s));
        QCOMPARE(completed.size(), 0);

        // Nothing is left that stops the next try.
        setModeSelect(0);
        QCOMPARE(run(u"repair all\nstart configmanager"_s), QString());
        QVERIFY(m_manager->FactorySoftReset(true, false));
        QCOMPARE(completed.size(), 1);
    }

    void hardReset()
    {
        const QString witness = paths::clearDataScript() + u".ran"_s;
        writeScript("touch \"$0.ran\"; read line; echo noise; exit 3"); // neither input nor status nor output matter
        QList<QVariant> refusals;
        connect(m_manager.get(), &FactoryRestoreManager::ResetCompleted, this,
                [this, &refusals] { refusals.append(m_manager->FactoryHardReset()); });

        QVERIFY(QMetaObject::invokeMethod(m_manager.get(), "HardResetTimer_Elapsed"));

        const QStringList refused{u"log 2 HARD FACTORY RESET already running: refused"_s};
        QCOMPARE(take(),
                 (QStringList{u"log 4 HARD FACTORY RESET timer elapsed"_s} + clearing(kScheduleDone, kEventsDone) +
                  QStringList{u"log 2 Clear data executed OK!"_s, kRequested} + restoring(0) + QStringList{kRebooting} +
                  refused));
        QCOMPARE(refusals, QList<QVariant>{false});
        QVERIFY(QFile::exists(witness));

        // Until the reboot, nothing more.
        QVERIFY(!m_manager->FactoryHardReset());
        QVERIFY(!m_manager->FactorySoftReset(true, true));
        QCOMPARE(take(), refused + QStringList{u"log 2 SOFT FACTORY RESET already running: refused"_s});
    }

    void whatFailsStopsNoHardReset_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QStringList>("clearing");
        const QString scheduleFailed = u"log 1 HARD FACTORY RESET: clear schedule failed"_s;
        const QString eventsFailed = u"log 1 HARD FACTORY RESET: clear events failed"_s;
        QTest::newRow("schedule refused")
            << u"fail scheduler.Clear status 4"_s << clearing(scheduleFailed, kEventsDone);
        QTest::newRow("events refused") << u"fail eventmanager.Clear status -1"_s
                                        << clearing(kScheduleDone, eventsFailed);
        // A call that failed outright counts as done: kept.
        QTest::newRow("schedule fails") << u"fail scheduler.Clear error 7"_s << clearing(kScheduleDone, kEventsDone);
        QStringList absent = clearing(kScheduleDone, kEventsDone);
        absent.removeIf([](const QString& line) { return line.startsWith(u"call"); });
        QTest::newRow("absent") << u"stop scheduler\nstop eventmanager"_s << absent;
    }

    void whatFailsStopsNoHardReset()
    {
        QFETCH(QString, fault);
        QFETCH(QStringList, clearing);
        QCOMPARE(run(fault), QString()); // the script is missing besides

        QVERIFY(m_manager->FactoryHardReset());

        QCOMPARE(take(), (clearing + QStringList{kScriptFailed, kRequested} + restoring(0) + QStringList{kRebooting}));
    }

    void failedRestoreOfAHardResetRebootsAnyway()
    {
        QCOMPARE(run(u"stop configmanager"_s), QString());
        QSignalSpy completed(m_manager.get(), &FactoryRestoreManager::ResetCompleted);

        QVERIFY(!m_manager->FactoryHardReset());

        const QStringList lines = take();
        QCOMPARE(lines.mid(lines.size() - 3),
                 (QStringList{u"log 1 SOFT FACTORY RESET failed (invalid config proxy)"_s,
                              u"log 1 Impossible to do SOFT FACTORY RESET: ignored"_s,
                              u"log 1 HARD FACTORY RESET (includes SOFT) failed (can't connect/request Software "
                              "Recovery), REBOOTING ANYWAY.."_s}));
        QCOMPARE(completed.size(), 1);
        QVERIFY(!m_manager->FactorySoftReset(true, true));
        QCOMPARE(take(), QStringList{u"log 2 SOFT FACTORY RESET already running: refused"_s});
    }

    void softResetDuringASoftResetIsRefused()
    {
        QList<QVariant> results;
        connect(m_manager.get(), &FactoryRestoreManager::ResetCompleted, this,
                [this, &results] { results.append(m_manager->FactorySoftReset(true, true)); });
        QVERIFY(m_manager->FactorySoftReset(true, false));
        QCOMPARE(results, QList<QVariant>{false});
        QCOMPARE(take().constLast(), u"log 2 SOFT FACTORY RESET already running: refused"_s);
    }

    void copiedValues_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<bool>("isCopied");
        const QString missing = u"log 2 Can't find FROM/key, using default (d)"_s;
        QTest::newRow("found") << u"config FROM key v"_s
                               << QStringList{u"log 4 Successfully copied value 'v' from FROM/key to TO/key"_s} << true;
        QTest::newRow("missing") << u"note nothing"_s
                                 << QStringList{missing, u"log 4 Successfully initialized default value FROM/key=d"_s,
                                                u"log 4 Successfully set default value TO/key=d"_s}
                                 << true;
        QTest::newRow("unwritable") << u"config FROM key v\nfail configmanager.SetStringValue error"_s
                                    << QStringList{u"log 1 Can't write TO/key=v"_s} << false;
        QTest::newRow("missing and unwritable")
            << u"fail configmanager.SetStringValue status 1"_s
            << QStringList{missing, u"log 2 Failed to initialize default value FROM/key=d"_s,
                           u"log 1 Can't write TO/key=d"_s}
            << false;
    }

    void copiedValues()
    {
        QFETCH(QString, before);
        QCOMPARE(run(before), QString());
        const Configuration store(QString::fromLatin1(kObjectPath));

        QTEST(m_manager->CopyConfigValue(store, u"key"_s, u"FROM"_s, u"TO"_s, u"d"_s), "isCopied");

        QTEST(take().filter(QRegularExpression(u"^log"_s)), "log");
    }

    void buttonsReachTheResetAndItsRebootFollows()
    {
        m_manager.reset();
        QVERIFY(m_fixture->start());
        QCOMPARE(
            run(u"event reset_factory on\nexpect log \"RESET timer started\"\nevent \"power|atmega_low_power\" off\n"
                "event reset_factory off\nexpect log \"RESET timer stopped\""_s),
            QString());
        timeline().clear();

        QVERIFY(m_fixture->manager().findChild<FactoryRestoreManager*>()->FactorySoftReset(true, false));

        QStringList lines = take();
        const qsizetype begin = restoring(0).size();
        QCOMPARE(lines.mid(0, begin), restoring(0));
        QCOMPARE(lines.at(begin), u"log 2 Reboot (restore) requested: will restart in about 5 seconds..."_s);
        QCOMPARE(lines.constLast(), u"call freqmanager.Reboot()"_s);

        QCOMPARE(run(u"event \"power|atmega_low_power\" on\nexpect call freqmanager.Shutdown"_s), QString());
        lines = take();
        QVERIFY(lines.contains(u"log 2 Shutdown (cmd_shdm) requested: will poweroff in about 5 seconds..."_s));
    }
};

QTEST_GUILESS_MAIN(TstFactoryRestore)
#include "tst_factoryrestore.moc"
