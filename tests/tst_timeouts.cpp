// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FactoryRestoreManager.h"
#include "LoadMonitor.h"
#include "Paths.h"
#include "PowerManagerFixture.h"

#include <QElapsedTimer>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

/// What cannot be shown without letting the device's own times pass.
class TstTimeouts : public PowerManagerFixture
{
    Q_OBJECT

private Q_SLOTS:
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
        QCOMPARE(run(u"expect log \"SOFT FACTORY RESET already running: refused\""_s), QString());
        const QStringList lines = take();
        QVERIFY(lines.contains(u"log 4 HARD FACTORY RESET timer elapsed"_s));
        QVERIFY(lines.contains(u"log 4 SOFT FACTORY RESET timer elapsed"_s));
        QCOMPARE(completed.size(), 1);
    }

    void loadIsSampledOnceASecond()
    {
        QVERIFY(QFile::remove(QLatin1StringView(paths::cpuCounters()))); // which every sample reports
        LoadMonitor monitor(nullptr);

        QVERIFY(monitor.start());

        QCOMPARE(run(u"wait 3.5"_s), QString());
        QCOMPARE(take(), QStringList(3, u"log 1 Error opening "_s + QLatin1StringView(paths::cpuCounters())));
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
        const QStringList lines = take();
        QVERIFY(lines.contains(u"log 1 Clear data failed ...! Continuing anyway with SoftReset... "_s));
        QVERIFY(lines.constLast().startsWith(u"log 4 Succesfully Soft Reset! Rebooting..."));
        QFile pid(script + u".pid"_s);
        QVERIFY(pid.open(QIODevice::ReadOnly));
        QVERIFY(!QFile::exists(u"/proc/"_s + QString::fromLatin1(pid.readAll().trimmed()))); // nothing is left running
    }
};

QTEST_GUILESS_MAIN(TstTimeouts)
#include "tst_timeouts.moc"
