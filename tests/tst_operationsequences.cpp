// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManagerFixture.h"
#include "Sequence.h"
#include "Table.h"

#include <QRegularExpression>

#include <functional>

using namespace Qt::Literals::StringLiterals;

Q_DECLARE_METATYPE(QList<SequenceStep>)

/// What zelt-power --dry-run says the power daemon does, beside what it does.
class TstOperationSequences : public PowerManagerFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        PowerManagerFixture::init();
        QVERIFY(start());
        (void)take(); // what the start did
    }

    void stepsAreTheDaemons_data()
    {
        const Table<QList<SequenceStep>, std::function<int(PowerManager&)>, double> row("steps", "operation", "worst");
        row(
            "reboot", sequence::reboot(), [](PowerManager& manager) { return manager.Reboot(u"upgrade"_s); }, 142.5);
        row(
            "shutdown", sequence::shutdown(), [](PowerManager& manager) { return manager.Shutdown(u"upgrade"_s); }, 30);
        row(
            "suspend", sequence::suspend(),
            [](PowerManager& manager) { return manager.Suspend(u"2024-03-08 07:30:00"_s); }, 317.5);
        row(
            "frequency", sequence::setFreq(), [](PowerManager& manager) { return manager.SetFreq(300); }, 25);
        row(
            "actions on", sequence::setActionsEnabled(true),
            [](PowerManager& manager) { return manager.SetActionsEnabled(true); }, 75);
        row(
            "actions off", sequence::setActionsEnabled(false),
            [](PowerManager& manager) { return manager.SetActionsEnabled(false); }, 0);
    }

    /// The calls in their order, the pauses between them, and the published worst case.
    void stepsAreTheDaemons()
    {
        QFETCH(QList<SequenceStep>, steps);
        QFETCH(std::function<int(PowerManager&)>, operation);
        QFETCH(double, worst);

        QCOMPARE(operation(manager()), 0);

        // Each call with the seconds paused before it.
        const QRegularExpression call(u"^call (\\w+\\.\\w+)\\("_s);
        const QRegularExpression pause(u"^pause ([\\d.]+) s$"_s);
        QStringList done;
        double after = 0;
        for (const QString& line : take()) {
            if (const auto match = call.match(line); match.hasMatch()) {
                done.append(u"%1 after %2"_s.arg(match.captured(1)).arg(after));
            } else if (const auto paused = pause.match(line); paused.hasMatch()) {
                after += paused.captured(1).toDouble();
            }
        }
        QStringList expected;
        double expectedAfter = 0;
        for (const SequenceStep& step : steps) {
            const QString text = u"%1.%2 after %3"_s.arg(step.service, step.member).arg(expectedAfter);
            if (!step.service.isEmpty() && (step.condition.isEmpty() || done.contains(text))) {
                expected.append(text);
            }
            expectedAfter += step.seconds;
        }
        QCOMPARE(done, expected);
        QCOMPARE(after, sequence::usualSeconds(steps));
        QCOMPARE(sequence::worstSeconds(steps), worst);
    }
};

QTEST_GUILESS_MAIN(TstOperationSequences)
#include "tst_operationsequences.moc"
