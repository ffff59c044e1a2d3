// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FactoryRestoreManager.h"
#include "LoadMonitor.h"
#include "Paths.h"
#include "PowerManagerFixture.h"
#include "SleepManager.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTime>

using namespace Qt::Literals::StringLiterals;

/// The behaviour that shows only after the device's own times have really passed.
class TstTimeouts : public PowerManagerFixture
{
    Q_OBJECT

    /// The times of the log lines that contain a text, in milliseconds on the timeline's clock.
    static QList<qint64> timesOf(const QString& text)
    {
        QList<qint64> times;
        const QList<Timeline::Entry> entries = timeline().entries();
        for (const Timeline::Entry& entry : entries) {
            const auto* log = entry.as<LogLine>();
            if (log != nullptr && log->message.contains(text)) {
                times.append(entry.msec);
            }
        }
        return times;
    }

private Q_SLOTS:
    void countdownsOfFiveSecondsNeverEndEarly()
    {
        FactoryRestoreManager buttons(nullptr);
        QSignalSpy completed(&buttons, &FactoryRestoreManager::ResetCompleted);
        SleepManager windows[] = {SleepManager(nullptr), SleepManager(nullptr)};
        QList<qint64> begins;

        buttons.OnEvent(Event(kResetEvent, true));
        // A coarse timer rounds to a whole second: of two that begin half a second apart, one would end early.
        for (SleepManager& window : windows) {
            begins.append(timeline().elapsedMs());
            buttons.OnEvent(Event(kSeekEvent, begins.size() == 1)); // released: the soft countdown joins the hard one
            // Repeated if the second has just changed.
            do {
                const QTime now = QTime::currentTime();
                QVERIFY(window.setSleep(true, now.addSecs(5).toString(u"hh:mm:ss"_s), now.toString(u"hh:mm:ss"_s)));
            } while (take().constLast() != u"log 9 Will sleep in 5 s");
            QCOMPARE(run(u"wait 0.5"_s), QString());
        }
        QCOMPARE(run(u"expect log \"SOFT FACTORY RESET already running: refused\" within 20"_s), QString());
        QTRY_COMPARE(timesOf(u"Requesting to sleep"_s).size(), 2);

        const QList<qint64> ends = timesOf(u"HARD FACTORY RESET timer elapsed"_s) +
                                   timesOf(u"SOFT FACTORY RESET timer elapsed"_s) + timesOf(u"Requesting to sleep"_s);
        QCOMPARE(ends.size(), 4);
        for (qsizetype i = 0; i < ends.size(); ++i) {
            const qint64 length = ends.at(i) - begins.at(i % 2);
            QVERIFY2(length >= 5000 && length < 15'000, qPrintable(QString::number(length)));
        }
        QCOMPARE(completed.size(), 1);
    }

    void loadIsSampledOnceASecond()
    {
        QVERIFY(QFile::remove(cpuCounters())); // so that every sample logs an error
        LoadMonitor monitor(nullptr);
        const qint64 begin = timeline().elapsedMs();

        QVERIFY(monitor.start());

        QTRY_VERIFY_WITH_TIMEOUT(timesOf(u"Error opening"_s).size() >= 3, 20'000);
        const qint64 length = timesOf(u"Error opening"_s).at(2) - begin;
        QVERIFY2(length > 2500 && length < 5500, qPrintable(QString::number(length)));
    }

    void hangingScriptIsGivenUp()
    {
        const QString script = paths::clearDataScript();
        writeFile(script, "#!/bin/sh\nyes | head -c 100000000\nsleep 3600 &\necho $! > \"$0.pid\"\nwait\n");
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
        FactoryRestoreManager manager(nullptr);
        QElapsedTimer clock;
        clock.start();

        QVERIFY(manager.FactoryHardReset());

        QVERIFY2(clock.elapsed() > 29'000 && clock.elapsed() < 45'000, qPrintable(QString::number(clock.elapsed())));
        const QStringList lines = take();
        QVERIFY(lines.contains(u"log 1 Clear data failed ...! Continuing anyway with SoftReset... "_s));
        QVERIFY(lines.constLast().startsWith(u"log 4 Succesfully Soft Reset! Rebooting..."));
        // The script's child was killed as well; it may still be a zombie.
        QFile pid(script + u".pid"_s);
        QVERIFY(pid.open(QIODevice::ReadOnly));
        QFile child(u"/proc/"_s + QString::fromLatin1(pid.readAll().trimmed()) + u"/stat");
        QVERIFY(!child.open(QIODevice::ReadOnly) || child.readAll().contains(") Z "));
    }
};

QTEST_GUILESS_MAIN(TstTimeouts)
#include "tst_timeouts.moc"
