// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FactoryRestoreManager.h"
#include "LoadMonitor.h"
#include "Paths.h"
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

/// What cannot be shown without letting the device's own times pass.
class TstTimeouts : public QObject
{
    Q_OBJECT

    std::unique_ptr<PowerManagerFixture> m_fixture;

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_fixture = std::make_unique<PowerManagerFixture>();
    }

    void cleanup()
    {
        m_fixture.reset();
    }

    void buttonsHeldForFiveSecondsReset()
    {
        FactoryRestoreManager manager(nullptr);
        QElapsedTimer clock;
        clock.start();
        QList<qint64> completed;
        connect(&manager, &FactoryRestoreManager::ResetCompleted, this,
                [&clock, &completed] { completed.append(clock.elapsed()); });

        manager.OnEvent(Event(kResetEvent, true));
        manager.OnEvent(Event(kSeekEvent, true));
        manager.OnEvent(Event(kSeekEvent, false)); // the hard countdown goes on, the soft one begins again
        QTRY_COMPARE_WITH_TIMEOUT(completed.size(), 1, 8000);

        QVERIFY2(completed.constFirst() >= 4750 && completed.constFirst() < 7000,
                 qPrintable(QString::number(completed.constFirst())));
        QCOMPARE(m_fixture->run(u"note elapsed\nexpect log \"SOFT FACTORY RESET already running: refused\""_s),
                 QString());
        const QStringList lines = m_fixture->take();
        QVERIFY(lines.contains(u"log 4 HARD FACTORY RESET timer elapsed"_s));
        QVERIFY(lines.contains(u"log 4 SOFT FACTORY RESET timer elapsed"_s));
        QCOMPARE(completed.size(), 1);
    }

    void loadIsSampledOnceASecond()
    {
        QVERIFY(QFile::remove(paths::cpuCounters())); // which every sample reports
        LoadMonitor monitor(nullptr);

        QVERIFY(monitor.start());

        QCOMPARE(m_fixture->run(u"wait 3.5"_s), QString());
        QCOMPARE(m_fixture->take(), QStringList(3, u"log 1 Error opening "_s + paths::cpuCounters()));
    }

    void muteRgbServiceCostsFiveSeconds()
    {
        QVERIFY(m_fixture->start());
        QCOMPARE(m_fixture->run(u"fail rgbfeaturemanager.Disable mute"_s), QString());
        timeline().clear();
        QElapsedTimer clock;
        clock.start();

        QCOMPARE(m_fixture->manager().Reboot(u"x"_s), 0);

        QVERIFY2(qAbs(clock.elapsed() - 5000) < 500, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(m_fixture->take().contains(u"log 1 Error turning rgb 1"_s));
    }

    void hangingScriptIsGivenUp()
    {
        const QString script = paths::clearDataScript();
        writeFile(script, "#!/bin/sh\nyes | head -c 100000000\necho $$ > \"$0.pid\"\nexec sleep 3600\n");
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
        FactoryRestoreManager manager(nullptr);
        QElapsedTimer clock;
        clock.start();

        QVERIFY(manager.FactoryHardReset());

        QVERIFY2(qAbs(clock.elapsed() - 30'000) < 1000, qPrintable(QString::number(clock.elapsed())));
        const QStringList lines = m_fixture->take();
        QVERIFY(lines.contains(u"log 1 Clear data failed ...! Continuing anyway with SoftReset... "_s));
        QVERIFY(lines.constLast().startsWith(u"log 4 Succesfully Soft Reset! Rebooting..."));
        QFile pid(script + u".pid"_s);
        QVERIFY(pid.open(QIODevice::ReadOnly));
        QVERIFY(!QFile::exists(u"/proc/"_s + QString::fromLatin1(pid.readAll().trimmed()))); // nothing is left running
    }
};

QTEST_GUILESS_MAIN(TstTimeouts)
#include "tst_timeouts.moc"
