// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ClockedDaemon.h"
#include "SimulatedDevice.h"
#include "Table.h"

#include <QDateTime>
#include <QRegularExpression>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QDateTime utc(const QString& text)
{
    return QDateTime::fromString(text, Qt::ISODate);
}

/// What the daemon has logged about the sleep window.
QStringList sleepLines(const QString& log)
{
    static const QRegularExpression kLine(u"(Will sleep in|Requesting to sleep until) .*"_s);
    QStringList lines;
    for (auto matches = kLine.globalMatch(log); matches.hasNext();) {
        lines.append(matches.next().captured());
    }
    return lines;
}

} // namespace

/// The sleep window as the clock goes, or is set.
class TstClock : public QObject
{
    Q_OBJECT

    Timeline m_timeline;
    std::unique_ptr<SimulatedDevice> m_device;

    /// Sets a window. The alarm is refused, so that the suspend ends with it.
    QString arm(const QString& start, const QString& end)
    {
        return m_device->run(u"expect daemon up within 10\nfail freqmanager.SetWakeup status 1\n"
                             "call SetSleepEnabled true %1 %2\nexpect answer SetSleepEnabled 0"_s.arg(start, end));
    }

    QStringList alarms() const
    {
        QStringList calls;
        for (const Timeline::Entry& entry : m_timeline.entries()) {
            if (events::memberName(entry.event) == u"freqmanager.SetWakeup") {
                calls.append(entry.toString());
            }
        }
        return calls;
    }

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_timeline.clear();
        m_device = std::make_unique<SimulatedDevice>(m_timeline);
    }

    void cleanup()
    {
        m_device.reset();
    }

    void nights_data()
    {
        const Table<QString, QString, QString, QString, int, QString, QString> row("zone", "setAt", "start", "end",
                                                                                   "seconds", "wakeUp", "alarm");
        // At 22:00 local time, unless said.
        const QString rome = u"Europe/Rome"_s;
        const QString lordHowe = u"Australia/Lord_Howe"_s; // of the southern half, changes by half an hour
        const QString santiago = u"America/Santiago"_s;    // changes at midnight
        const QString eleven = u"23:00:00"_s;
        const QString morning = u"06:30:00"_s;
        row("spring, asleep", rome, u"2026-03-28T21:00:00Z"_s, eleven, morning, 3600, u"2026-03-29 07:30:00"_s,
            u"2026-03-29 05:30:00"_s);
        row("spring, armed", rome, u"2026-03-28T21:00:00Z"_s, u"04:00:00"_s, morning, 21600, u"2026-03-29 07:30:00"_s,
            u"2026-03-29 05:30:00"_s);
        row("autumn, asleep", rome, u"2026-10-24T20:00:00Z"_s, eleven, morning, 3600, u"2026-10-25 05:30:00"_s,
            u"2026-10-25 04:30:00"_s);
        row("autumn, armed", rome, u"2026-10-24T20:00:00Z"_s, u"04:00:00"_s, morning, 21600, u"2026-10-25 05:30:00"_s,
            u"2026-10-25 04:30:00"_s);
        row("autumn, up in the hour that comes twice", rome, u"2026-10-24T20:00:00Z"_s, eleven, u"02:30:00"_s, 3600,
            u"2026-10-25 02:30:00"_s, u"2026-10-25 00:30:00"_s);
        // The alarm is the first 02:30, an hour early: the wake-up is handed on as a local time, which does not say
        // which.
        row("autumn, up in its second pass", rome, u"2026-10-24T20:00:00Z"_s, eleven, u"03:30:00"_s, 3600,
            u"2026-10-25 02:30:00"_s, u"2026-10-25 00:30:00"_s);
        row("southern spring, asleep", lordHowe, u"2026-10-03T11:30:00Z"_s, eleven, morning, 3600,
            u"2026-10-04 07:00:00"_s, u"2026-10-03 20:00:00"_s);
        row("southern spring, armed", lordHowe, u"2026-10-03T11:30:00Z"_s, u"04:00:00"_s, morning, 21600,
            u"2026-10-04 07:00:00"_s, u"2026-10-03 20:00:00"_s);
        row("southern autumn, asleep", lordHowe, u"2026-04-04T11:00:00Z"_s, eleven, morning, 3600,
            u"2026-04-05 06:00:00"_s, u"2026-04-04 19:30:00"_s);
        row("southern autumn, armed", lordHowe, u"2026-04-04T11:00:00Z"_s, u"04:00:00"_s, morning, 21600,
            u"2026-04-05 06:00:00"_s, u"2026-04-04 19:30:00"_s);
        row("day without a midnight", santiago, u"2026-09-06T02:00:00Z"_s, u"00:00:00"_s, u"06:00:00"_s, 7200,
            u"2026-09-06 07:00:00"_s, u"2026-09-06 10:00:00"_s);
        row("day with two hours before midnight", santiago, u"2026-04-05T01:00:00Z"_s, u"23:30:00"_s, morning, 5400,
            u"2026-04-05 05:30:00"_s, u"2026-04-05 09:30:00"_s);
        row("a second before midnight", u"UTC"_s, u"2026-12-31T23:59:59Z"_s, u"00:00:00"_s, u"00:00:01"_s, 1,
            u"2027-01-01 00:00:01"_s, u"2027-01-01 00:00:01"_s);
        row("at midnight, up a second before the next", u"UTC"_s, u"2026-12-31T00:00:00Z"_s, u"00:00:00"_s,
            u"23:59:59"_s, 0, u"2026-12-31 23:59:59"_s, u"2026-12-31 23:59:59"_s);
        row("into a leap day", u"UTC"_s, u"2028-02-28T22:00:00Z"_s, eleven, morning, 3600, u"2028-02-29 06:30:00"_s,
            u"2028-02-29 06:30:00"_s);
        row("out of a leap day", u"UTC"_s, u"2028-02-29T22:00:00Z"_s, eleven, morning, 3600, u"2028-03-01 06:30:00"_s,
            u"2028-03-01 06:30:00"_s);
        // On a system with 32-bit times, Qt's clock ends then.
        if (SYSTEM_TIME_BYTES < 8) {
            return;
        }
        row("asleep as 31 bits of seconds end", u"UTC"_s, u"2038-01-19T02:00:00Z"_s, u"03:00:00"_s, u"04:00:00"_s, 3600,
            u"2038-01-19 04:00:00"_s, u"2038-01-19 04:00:00"_s);
        row("armed as 31 bits of seconds end", u"UTC"_s, u"2038-01-19T03:14:07Z"_s, u"03:14:09"_s, u"04:00:00"_s, 2,
            u"2038-01-19 04:00:00"_s, u"2038-01-19 04:00:00"_s);
    }

    /// The window is counted in seconds that pass, from its setting to its start and from there to the wake-up.
    void nights()
    {
        QFETCH(QString, zone);
        QFETCH(QString, setAt);
        QFETCH(QString, start);
        QFETCH(QString, end);
        QFETCH(int, seconds);
        QFETCH(QString, wakeUp);
        QFETCH(QString, alarm);
        ClockedDaemon daemon(zone, utc(setAt), ClockedDaemon::Timers::FollowTheClock);
        daemon.start();
        QCOMPARE(arm(start, end), QString());
        if (seconds > 0) { // a second too early, nothing
            daemon.setClock(utc(setAt).addSecs(seconds - 1));
            QCOMPARE(m_device->run(u"call IsSleepEnabled\nexpect answer IsSleepEnabled 0 true %1 %2"_s.arg(start, end)),
                     QString());
        }

        daemon.setClock(utc(setAt).addSecs(seconds));

        // The call makes the daemon look at its timers at once.
        QCOMPARE(m_device->run(u"call IsSleepEnabled\nexpect answer IsSleepEnabled"_s), QString());
        QTRY_COMPARE(sleepLines(daemon.log()), (QStringList{u"Will sleep in %1 s"_s.arg(seconds),
                                                            u"Requesting to sleep until '%1')"_s.arg(wakeUp)}));
        QTRY_COMPARE(alarms(), QStringList{u"call freqmanager.SetWakeup(2, %1)"_s.arg(alarm)});
    }

    void clockIsSetWhileArmed_data()
    {
        const Table<QString, QString> row("clock", "alarm");
        row("forward into the window", u"2026-06-01T03:00:00Z"_s, u"2026-06-01 11:29:59"_s);
        row("forward past its end", u"2026-06-01T07:00:00Z"_s, u"2026-06-01 15:29:59"_s);
        row("back", u"2026-05-31T15:00:00Z"_s, u"2026-05-31 23:29:59"_s);
    }

    /// The start does not move; the wake-up counts from the new time.
    void clockIsSetWhileArmed()
    {
        QFETCH(QString, clock);
        QFETCH(QString, alarm);
        ClockedDaemon daemon(u"UTC"_s, utc(u"2026-05-31T22:00:00Z"_s), ClockedDaemon::Timers::RunOn);
        daemon.start();
        QCOMPARE(arm(u"22:00:01"_s, u"06:30:00"_s), QString());

        daemon.setClock(utc(clock));

        QCOMPARE(m_device->run(u"call IsSleepEnabled\nexpect answer IsSleepEnabled"_s), QString());
        QTRY_COMPARE(alarms(), QStringList{u"call freqmanager.SetWakeup(2, %1)"_s.arg(alarm)});
    }
};

QTEST_GUILESS_MAIN(TstClock)
#include "tst_clock.moc"
