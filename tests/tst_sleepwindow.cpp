// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"
#include "SleepManager.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

/// The daily sleep window.
class TstSleepWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<PowerManagerFixture> m_fixture;

    QStringList take()
    {
        return m_fixture->take();
    }

    static QString inSeconds(int seconds)
    {
        return QTime::currentTime().addSecs(seconds).toString(u"hh:mm:ss"_s);
    }

    /// "Will sleep in N s", with N about as expected: a second may pass between two looks at the clock.
    static bool isAbout(const QString& line, int seconds)
    {
        const QRegularExpressionMatch match = QRegularExpression(u"^log 9 Will sleep in (\\d+) s$"_s).match(line);
        return match.hasMatch() && qAbs(match.captured(1).toInt() - seconds) <= 1;
    }

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

    void secondsUntil_data()
    {
        QTest::addColumn<QTime>("from");
        QTest::addColumn<QTime>("to");
        QTest::addColumn<int>("seconds");
        QTest::newRow("later today") << QTime(1, 0) << QTime(5, 0) << 14400;
        QTest::newRow("across midnight") << QTime(23, 0) << QTime(6, 30) << 27000;
        QTest::newRow("passed a moment ago") << QTime(22, 0, 5) << QTime(22, 0) << 86395;
        QTest::newRow("equal") << QTime(12, 0) << QTime(12, 0) << 0;
        QTest::newRow("within the same second") << QTime(12, 0, 0, 999) << QTime(12, 0) << 0;
        QTest::newRow("last second of the day") << QTime(23, 59, 59) << QTime(0, 0) << 1;
        QTest::newRow("whole day but a second") << QTime(0, 0) << QTime(23, 59, 59) << 86399;
        QTest::newRow("first second of the day") << QTime(0, 0, 1) << QTime(0, 0) << 86399;
    }

    void secondsUntil()
    {
        QFETCH(QTime, from);
        QFETCH(QTime, to);
        QTEST(SleepManager::secondsUntil(from, to), "seconds");
    }

    void windowIsArmedForItsNextStart_data()
    {
        QTest::addColumn<int>("startsIn");
        QTest::addColumn<int>("length");
        QTest::newRow("soon") << 100 << 60;
        QTest::newRow("began before now") << -100 << 3600;
        QTest::newRow("longest") << 7200 << 86399;
    }

    void windowIsArmedForItsNextStart()
    {
        QFETCH(int, startsIn);
        QFETCH(int, length);
        SleepManager manager(nullptr);
        const QString start = inSeconds(startsIn);
        const QString end = QTime::fromString(start, u"hh:mm:ss"_s).addSecs(length).toString(u"hh:mm:ss"_s);

        QVERIFY(manager.setSleep(true, start, end));

        const QStringList log = take();
        QCOMPARE(log.mid(0, 2),
                 (QStringList{u"log 4 Sleep enable requested: startTime=%1, endTime=%2"_s.arg(start, end),
                              u"log 9 Sleep is enabled (sleep_length=%1)"_s.arg(length)}));
        QVERIFY2(isAbout(log.value(2), startsIn < 0 ? startsIn + 86400 : startsIn), qPrintable(log.value(2)));
        QVERIFY(manager.isArmed());
    }

    void refusedTimes_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("startKept");
        QTest::addColumn<QString>("endKept");
        const QString empty = u"log 1 StartTime and/or EndTime are empty"_s;
        const QString badStart = u"log 1 StartTime is invalid"_s;
        const QString badEnd = u"log 1 EndTime is invalid"_s;
        const QString before = u"00:00:01"_s;
        QTest::newRow("no start") << QString() << u"06:00:00"_s << empty << before << before;
        QTest::newRow("no end") << u"06:00:00"_s << QString() << empty << before << before;
        QTest::newRow("hour 25") << u"25:00:00"_s << u"06:00:00"_s << badStart << QString() << before;
        QTest::newRow("no seconds") << u"23:00"_s << u"06:00:00"_s << badStart << QString() << before;
        QTest::newRow("one digit") << u"7:00:00"_s << u"06:00:00"_s << badStart << QString() << before;
        QTest::newRow("minute 60") << u"23:00:00"_s << u"06:60:00"_s << badEnd << u"23:00:00"_s << QString();
        QTest::newRow("text") << u"23:00:00"_s << u"%s\n"_s << badEnd << u"23:00:00"_s << QString();
    }

    void refusedTimes()
    {
        QFETCH(QString, start);
        QFETCH(QString, end);
        SleepManager manager(nullptr);
        QVERIFY(manager.setSleep(true, u"00:00:01"_s, u"00:00:02"_s));
        QVERIFY(manager.setSleep(true, u"00:00:01"_s, u"00:00:01"_s)); // length 0: not armed
        QVERIFY(!manager.isArmed());
        QVERIFY(manager.setSleep(true, inSeconds(1000), inSeconds(2000)));
        const bool wasArmed = manager.isArmed();
        SleepManager other(nullptr);
        QVERIFY(other.setSleep(true, u"00:00:01"_s, u"00:00:01"_s));
        timeline().clear();

        QVERIFY(!other.setSleep(true, start, end));
        QVERIFY(!manager.setSleep(true, start, end));

        const QString request = u"log 4 Sleep enable requested: startTime=%1, endTime=%2"_s.arg(start, end);
        QFETCH(QString, error);
        QCOMPARE(take(), (QStringList{request, error, request, error}));
        QTEST(other.startTime().toString(u"HH:mm:ss"_s), "startKept");
        QTEST(other.endTime().toString(u"HH:mm:ss"_s), "endKept");
        QVERIFY(wasArmed && manager.isArmed()); // the window from before stays due
    }

    void equalTimesArmNothing()
    {
        SleepManager manager(nullptr);
        QVERIFY(manager.setSleep(true, u"12:00:00"_s, u"12:00:00"_s));
        QCOMPARE(take().mid(1), (QStringList{u"log 9 Sleep is enabled (sleep_length=0)"_s,
                                             u"log 9 Sleep is disabled (sleep_length=0)"_s}));
        QVERIFY(!manager.isArmed());
    }

    void disablingKeepsTheTimes()
    {
        SleepManager manager(nullptr);
        QVERIFY(manager.setSleep(true, u"12:00:00"_s, u"13:00:00"_s));
        timeline().clear();

        QVERIFY(manager.setSleep(false, u"nonsense"_s, QString()));

        QCOMPARE(take(),
                 (QStringList{u"log 4 Sleep disable requested"_s, u"log 9 Sleep is disabled (sleep_length=0)"_s}));
        QVERIFY(!manager.isArmed());
        QCOMPARE(manager.startTime(), QTime(12, 0));
        QCOMPARE(manager.endTime(), QTime(13, 0));
    }

    void firesOnceAndWakesAfterItsLength()
    {
        SleepManager manager(nullptr);
        QSignalSpy sleeps(&manager, &SleepManager::SleepTimeout);
        // A start in this very second; where the second has just passed, the next try has all of one.
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
        QVERIFY(m_fixture->start());
        QCOMPARE(m_fixture->run(u"fail freqmanager.SetWakeup status 1"_s), QString());
        timeline().clear();
        QString start;
        QString end;
        bool isEnabled = false;

        QCOMPARE(m_fixture->manager().SetSleepEnabled(true, inSeconds(1), inSeconds(3600)), 0);
        QCOMPARE(m_fixture->manager().IsSleepEnabled(isEnabled, start, end), 0);
        QVERIFY(isEnabled);
        QCOMPARE(m_fixture->run(u"note waiting\nexpect log \"Suspend until\""_s), QString());

        QCOMPARE(m_fixture->manager().IsSleepEnabled(isEnabled, start, end), 0);
        QVERIFY(!isEnabled); // once only
    }

    void disabledWindowNeverSuspends()
    {
        QVERIFY(m_fixture->start());
        timeline().clear();
        QString start;
        QString end;
        bool isEnabled = true;
        QCOMPARE(m_fixture->manager().IsSleepEnabled(isEnabled, start, end), 0);
        QVERIFY(!isEnabled && start.isEmpty() && end.isEmpty());

        // Refused, but the client is answered and told all the same.
        QCOMPARE(m_fixture->manager().SetSleepEnabled(true, u"soon"_s, u"late"_s), 0);
        QCOMPARE(take().mid(1),
                 (QStringList{u"log 1 StartTime is invalid"_s, u"signal powermanager.SleepEnabled(true)"_s}));

        QCOMPARE(m_fixture->manager().SetSleepEnabled(true, u"12:00:00"_s, u"13:00:00"_s), 0);
        QCOMPARE(m_fixture->manager().SetSleepEnabled(false, QString(), QString()), 0);
        QCOMPARE(take().constLast(), u"signal powermanager.SleepEnabled(false)"_s);
        QCOMPARE(m_fixture->manager().IsSleepEnabled(isEnabled, start, end), 0);
        QVERIFY(!isEnabled);
        QCOMPARE(start + u' ' + end, u"12:00:00 13:00:00"_s);

        // Even a timer that fires now reaches nobody.
        auto* sleepManager = m_fixture->manager().findChild<SleepManager*>();
        Q_EMIT sleepManager->SleepTimeout(u"2024-01-01 00:00:00"_s);
        QCOMPARE(take(), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstSleepWindow)
#include "tst_sleepwindow.moc"
