// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ClockedDaemon.h"
#include "SimulatedDevice.h"
#include "Table.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimeZone>

#include <algorithm>
#include <atomic>
#include <csignal>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kPatienceMs = 10'000;

QDateTime now()
{
    return {QDate(2026, 6, 1), QTime(12, 0), QTimeZone::utc()};
}

/// What happens to the daemon in a phase.
enum class Event
{
    None, ///< it is asked to end when all is done
    Termination,
    BusLoss,
};

/// What it came to.
struct Run
{
    QStringList log;   ///< of the daemon
    QStringList calls; ///< that the services received, and the answer to the action
    QString end;       ///< exit status, or what went wrong
    QStringList phases;
};

QString difference(const QStringList& found, const QStringList& expected)
{
    for (qsizetype i = 0; i < qMax(found.size(), expected.size()); ++i) {
        if (found.value(i) != expected.value(i)) {
            return u"found \"%1\", expected \"%2\""_s.arg(found.value(i), expected.value(i));
        }
    }
    return {};
}

} // namespace

/// The real executable, asked to end, or left without its bus, in every phase of every power action, that is, each
/// pause and each call of a service. Its pauses and its clock are the test's.
class TstEndings : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

    QString address() const
    {
        return u"unix:path="_s + m_folder.filePath(u"bus"_s);
    }

    /// @param lines   what asks for the action
    /// @param gesture what the daemon logs when a gesture begins; empty: the action is an operation
    Run play(const QString& lines, const QString& gesture, Event event = Event::None, qsizetype phase = -1)
    {
        Run run;
        QDir(QStringLiteral(DEVICE_ROOT)).removeRecursively();
        ChildProcess bus;
        bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s, u"--address="_s + address()});
        if (!bus.waitForReadyRead(kPatienceMs)) {
            run.end = u"no bus"_s;
            return run;
        }
        Timeline timeline;
        SimulatedDevice device(timeline, {}, QStringLiteral(DEVICE_ROOT));
        ClockedDaemon daemon(u"UTC"_s, now(), ClockedDaemon::Timers::FollowTheClock);

        std::atomic<pid_t> victim = 0; // daemon or bus; 0: no action yet
        // On the thread of whoever sees the phase begin, while the daemon waits. The same once more is no new phase,
        // nor is the next setting of a factory reset.
        const auto onStep = [&run, &victim, phase, event](const QString& step) {
            const QString name = step.endsWith(u"tStringValue") ? u"settings"_s : step;
            if (victim == 0 || (!run.phases.isEmpty() && run.phases.constLast() == name)) {
                return;
            }
            run.phases.append(name);
            if (run.phases.size() - 1 == phase) {
                (void)::kill(victim, event == Event::BusLoss ? SIGKILL : SIGTERM);
            }
        };
        device.invoke([&onStep](Simulator& simulator) {
            for (SimulatedService* service : simulator.findChildren<SimulatedService*>()) {
                connect(service, &SimulatedService::called, service, onStep);
            }
        });
        connect(&daemon, &QProcess::readyReadStandardOutput, &daemon, [&daemon, &onStep] {
            for (qsizetype count = daemon.readAllStandardOutput().size(); count > 0; --count) {
                onStep(u"pause"_s);
                daemon.write("p", 1);
            }
        });
        const auto hasLogged = [&daemon](const QString& text) {
            return QTest::qWaitFor([&] { return daemon.log().contains(text); }, kPatienceMs);
        };

        daemon.start();
        run.end = device.run(u"expect daemon up within 10"_s);
        timeline.clear();
        victim = static_cast<pid_t>((event == Event::BusLoss ? bus : static_cast<QProcess&>(daemon)).processId());
        run.end += device.run(lines);
        if (!gesture.isEmpty()) {
            run.end += hasLogged(gesture) ? QString() : u"no gesture"_s;
            daemon.setClock(now().addSecs(5));
            run.end += device.run(u"call IsActionsEnabled"_s); // makes the daemon look at its timers at once
            run.end += hasLogged(u"timer elapsed"_s) ? QString() : u"no countdown"_s;
        }
        if (event == Event::None) {
            run.end += device.run(u"call IsActionsEnabled\nexpect answer IsActionsEnabled 0 true within 10"_s);
            daemon.terminate();
        }
        if (!QTest::qWaitFor([&] { return daemon.state() == QProcess::NotRunning; }, kPatienceMs)) {
            run.end += u"runs on"_s;
        } else if (daemon.exitStatus() != QProcess::NormalExit) {
            run.end += u"crashed"_s;
        } else {
            run.end += QString::number(daemon.exitCode());
        }
        // The answer may come after the end.
        const auto isAnswered = [&timeline] {
            const QList<Timeline::Entry> entries = timeline.entries();
            return std::any_of(entries.begin(), entries.end(), [](const Timeline::Entry& entry) {
                const auto* answer = entry.as<events::Answer>();
                return answer != nullptr && answer->service == events::kPowerDaemon;
            });
        };
        if (gesture.isEmpty() && event != Event::BusLoss) {
            (void)QTest::qWaitFor(isAnswered, kPatienceMs); // the calls are compared
        }
        run.log = daemon.log().split(u'\n', Qt::SkipEmptyParts);
        for (const Timeline::Entry& entry : timeline.entries()) {
            const auto* answer = entry.as<events::Answer>();
            if (entry.as<events::Call>() != nullptr || (answer != nullptr && answer->service == events::kPowerDaemon &&
                                                        answer->member != u"IsActionsEnabled")) {
                run.calls.append(entry.toString());
            }
        }
        return run;
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Before the first connection: the bus library asks once.
        qputenv("DBUS_SESSION_BUS_ADDRESS", address().toLocal8Bit());
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
    }

    void everyPhase_data()
    {
        const Table<QString, QString, int> row("lines", "gesture", "phases");
        row("reboot", u"call Reboot user_gui"_s, QString(), 9);
        row("shutdown", u"call Shutdown user_gui"_s, QString(), 2);
        row("suspend", u"call Suspend \"2024-03-08 07:30:00\""_s, QString(), 22);
        row("soft reset", u"press reset_factory"_s, u"SOFT FACTORY RESET timer started"_s, 13);
        row("hard reset", u"press seek-\npress reset_factory"_s, u"HARD FACTORY RESET timer started"_s, 15);
    }

    void everyPhase()
    {
        QFETCH(QString, lines);
        QFETCH(QString, gesture);
        QFETCH(int, phases);
        const Run whole = play(lines, gesture);
        QCOMPARE(whole.end, u"0"_s);
        QVERIFY2(whole.phases.size() == phases, qPrintable(whole.phases.join(u' ')));

        for (qsizetype phase = 0; phase < whole.phases.size(); ++phase) {
            const QString place = u"%1 (phase %2): "_s.arg(whole.phases.at(phase)).arg(phase);
            // The action is done whole, and answered.
            const Run asked = play(lines, gesture, Event::Termination, phase);
            QCOMPARE(place + asked.end, place + u"0"_s);
            QCOMPARE(place + difference(asked.log, whole.log), place);
            QCOMPARE(place + difference(asked.calls, whole.calls), place);

            // Without the bus, the action runs on to its end, in which all calls fail at once.
            const Run cut = play(lines, gesture, Event::BusLoss, phase);
            QCOMPARE(place + cut.end, place + u"255"_s);
            QCOMPARE(cut.phases.first(phase + 1), whole.phases.first(phase + 1));
            const QStringList calls =
                cut.calls.filter(QRegularExpression(u"^call "_s)); // the answer is the client's own
            QCOMPARE(place + difference(calls, whole.calls.mid(0, calls.size())), place);
            QVERIFY2(cut.log.size() > 2 &&
                         cut.log.at(cut.log.size() - 2).endsWith(u"DBUS: Session bus lost. Exiting..."),
                     qPrintable(place + cut.log.join(u'\n')));
            QCOMPARE(cut.log.constLast(), whole.log.constLast());
        }
    }
};

QTEST_GUILESS_MAIN(TstEndings)
#include "tst_endings.moc"
