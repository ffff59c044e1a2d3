// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManagerFixture.h"
#include "SleepManager.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QSignalSpy>

using namespace Qt::Literals::StringLiterals;

namespace {

QString inSeconds(int seconds)
{
    return QTime::currentTime().addSecs(seconds).toString(u"hh:mm:ss"_s);
}

} // namespace

/// The daily sleep window.
class TstSleepWindow : public PowerManagerFixture
{
    Q_OBJECT

private Q_SLOTS:
    void secondsUntil_data()
    {
        const Table<QTime, QTime, int> row("from", "to", "seconds");
        row("later today", {1, 0}, {5, 0}, 14400);
        row("across midnight", {23, 0}, {6, 30}, 27000);
        row("passed a moment ago", {22, 0, 5}, {22, 0}, 86395);
        row("equal", {12, 0}, {12, 0}, 0);
        row("within the same second", {12, 0, 0, 999}, {12, 0}, 0);
        row("last second of the day", {23, 59, 59}, {0, 0}, 1);
        row("whole day but a second", {0, 0}, {23, 59, 59}, 86399);
        row("first second of the day", {0, 0, 1}, {0, 0}, 86399);
    }

    void secondsUntil()
    {
        QFETCH(QTime, from);
        QFETCH(QTime, to);
        QTEST(SleepManager::secondsUntil(from, to), "seconds");
    }

    void windowIsArmedForItsNextStart_data()
    {
        const Table<int, int> row("startsIn", "length");
        row("soon", 100, 60);
        row("began before now", -100, 3600);
        row("longest", 7200, 86399);
    }

    void windowIsArmedForItsNextStart()
    {
        QFETCH(int, startsIn);
        QFETCH(int, length);
        SleepManager manager(nullptr);
        const QString start = inSeconds(startsIn);
        const QString end = QTime::fromString(start, u"hh:mm:ss"_s).addSecs(length).toString(u"hh:mm:ss"_s);

        QVERIFY(manager.setSleep(true, start, end));

        QStringList log = take();
        const QString until = log.takeLast();
        QCOMPARE(log, (QStringList{u"log 4 Sleep enable requested: startTime=%1, endTime=%2"_s.arg(start, end),
                                   u"log 9 Sleep is enabled (sleep_length=%1)"_s.arg(length)}));
        const auto match = QRegularExpression(u"^log 9 Will sleep in (\\d+) s$"_s).match(until);
        // The second may change between two readings of the clock.
        const int error = match.captured(1).toInt() - (startsIn < 0 ? startsIn + 86400 : startsIn);
        QVERIFY2(match.hasMatch() && qAbs(error) <= 1, qPrintable(until));
        QVERIFY(manager.isArmed());
    }

    void refusedTimes_data()
    {
        const Table<QString, QString, QString, QTime, QTime> row("start", "end", "error", "startKept", "endKept");
        const QString empty = u"log 1 StartTime and/or EndTime are empty"_s;
        const QString badStart = u"log 1 StartTime is invalid"_s;
        const QString badEnd = u"log 1 EndTime is invalid"_s;
        row("no start", QString(), u"06:00:00"_s, empty, {1, 0}, {2, 0});
        row("no end", u"06:00:00"_s, QString(), empty, {1, 0}, {2, 0});
        row("hour 25", u"25:00:00"_s, u"06:00:00"_s, badStart, {}, {2, 0});
        row("no seconds", u"23:00"_s, u"06:00:00"_s, badStart, {}, {2, 0});
        row("one digit", u"7:00:00"_s, u"06:00:00"_s, badStart, {}, {2, 0});
        row("minute 60", u"23:00:00"_s, u"06:60:00"_s, badEnd, {23, 0}, {});
        row("text", u"23:00:00"_s, u"%s\n"_s, badEnd, {23, 0}, {});
    }

    void refusedTimes()
    {
        QFETCH(QString, start);
        QFETCH(QString, end);
        QFETCH(QString, error);
        SleepManager manager(nullptr);
        QVERIFY(manager.setSleep(true, u"01:00:00"_s, u"02:00:00"_s));
        SleepManager unarmed(nullptr);
        timeline().clear();

        QVERIFY(!manager.setSleep(true, start, end));
        QVERIFY(!unarmed.setSleep(true, start, end));

        const QString request = u"log 4 Sleep enable requested: startTime=%1, endTime=%2"_s.arg(start, end);
        QCOMPARE(take(), (QStringList{request, error, request, error}));
        QTEST(manager.startTime(), "startKept");
        QTEST(manager.endTime(), "endKept");
        QVERIFY(manager.isArmed() && !unarmed.isArmed()); // the earlier window stays armed
    }

    void noWindowArmsNothing()
    {
        SleepManager manager(nullptr);
        QVERIFY(manager.setSleep(true, u"12:00:00"_s, u"13:00:00"_s));
        timeline().clear();

        QVERIFY(manager.setSleep(false, u"nonsense"_s, QString()));

        const QString disabled = u"log 9 Sleep is disabled (sleep_length=0)"_s;
        QCOMPARE(take(), (QStringList{u"log 4 Sleep disable requested"_s, disabled}));
        QVERIFY(!manager.isArmed());
        QCOMPARE(manager.startTime(), QTime(12, 0)); // the times are kept
        QCOMPARE(manager.endTime(), QTime(13, 0));

        QVERIFY(manager.setSleep(true, u"12:00:00"_s, u"13:00:00"_s));
        QVERIFY(manager.setSleep(true, u"12:00:00"_s, u"12:00:00"_s));
        QCOMPARE(take().mid(4), (QStringList{u"log 9 Sleep is enabled (sleep_length=0)"_s, disabled}));
        QVERIFY(!manager.isArmed());
    }

    void firesOnceAndWakesAfterItsLength()
    {
        SleepManager manager(nullptr);
        QSignalSpy sleeps(&manager, &SleepManager::SleepTimeout);
        // Starts in this very second. If it has just passed, the next try has a whole one.
        do {
            QVERIFY(manager.setSleep(true, inSeconds(0), inSeconds(27000)));
        } while (take().constLast() != u"log 9 Will sleep in 0 s");

        QTRY_COMPARE(sleeps.size(), 1);

        QVERIFY(!manager.isArmed());
        const QString wakeUp = sleeps.constFirst().constFirst().toString();
        QCOMPARE(take(), QStringList{u"log 9 Requesting to sleep until '%1')"_s.arg(wakeUp)});
        const QDateTime moment = QDateTime::fromString(wakeUp, u"yyyy-MM-dd hh:mm:ss"_s);
        QVERIFY(qAbs(QDateTime::currentDateTime().secsTo(moment) - 27000) <= 2);
    }

    void windowSuspendsTheDevice()
    {
        QVERIFY(start());
        QCOMPARE(arrange(u"fail freqmanager.SetWakeup status 1"_s), QString());
        QCOMPARE(manager().SetSleepEnabled(false, QString(), QString()), 0); // does not disable the next window
        QString begin;
        QString end;
        bool isEnabled = false;

        QCOMPARE(manager().SetSleepEnabled(true, inSeconds(1), inSeconds(3600)), 0);
        QCOMPARE(manager().IsSleepEnabled(isEnabled, begin, end), 0);
        QVERIFY(isEnabled);
        QCOMPARE(run(u"expect log \"Suspend until\""_s), QString());

        QCOMPARE(manager().IsSleepEnabled(isEnabled, begin, end), 0);
        QVERIFY(!isEnabled); // once only
    }

    void disabledWindowNeverSuspends()
    {
        QVERIFY(start());
        timeline().clear();
        QString begin;
        QString end;
        bool isEnabled = true;
        QCOMPARE(manager().IsSleepEnabled(isEnabled, begin, end), 0);
        QVERIFY(!isEnabled && begin.isEmpty() && end.isEmpty());

        // The times are refused, but the client gets its answer and the signal all the same.
        QCOMPARE(manager().SetSleepEnabled(true, u"soon"_s, u"late"_s), 0);
        QCOMPARE(take().mid(1),
                 (QStringList{u"log 1 StartTime is invalid"_s, u"signal powermanager.SleepEnabled(true)"_s}));

        QCOMPARE(manager().SetSleepEnabled(true, u"12:00:00"_s, u"13:00:00"_s), 0);
        QCOMPARE(manager().SetSleepEnabled(false, QString(), QString()), 0);
        QCOMPARE(take().constLast(), u"signal powermanager.SleepEnabled(false)"_s);
        QCOMPARE(manager().IsSleepEnabled(isEnabled, begin, end), 0);
        QVERIFY(!isEnabled);
        QCOMPARE(begin + u' ' + end, u"12:00:00 13:00:00"_s);

        // A timer that fires now has no effect.
        Q_EMIT manager().findChild<SleepManager*>()->SleepTimeout(u"2024-01-01 00:00:00"_s);
        QCOMPARE(take(), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstSleepWindow)
#include "tst_sleepwindow.moc"
