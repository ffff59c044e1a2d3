// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FrequencyLadder.h"
#include "LoadMonitor.h"
#include "Paths.h"
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <limits>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kAsk = u"call freqmanager.GetFreq()"_s;

} // namespace

/// The CPU load, and the frequency that follows it.
class TstFrequency : public QObject
{
    Q_OBJECT

    std::unique_ptr<PowerManagerFixture> m_fixture;

    QStringList take()
    {
        return m_fixture->take();
    }

    void setDeviceFreq(int freqMHz)
    {
        m_fixture->device().invoke([freqMHz](Simulator& simulator) { simulator.device().freqMHz = freqMHz; });
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

    void samples_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("fields");
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("busy");
        QTest::newRow("counters") << QByteArray("cpu  1 2 4 8 16 32 64 128 256 512") << 11 << 1023 << 7;
        QTest::newRow("older kernel") << QByteArray("cpu  1 2 3 4 5 6 7 8 9") << 10 << 0 << 0;
        QTest::newRow("a counter more") << QByteArray("cpu  1 2 3 4 5 6 7 8 9 10 11") << 12 << 0 << 0;
        QTest::newRow("empty") << QByteArray() << 0 << 0 << 0;
        QTest::newRow("blanks") << QByteArray("   cpu   1 2 3 4 5 6 7 8 9 10  ") << 11 << 55 << 6;
        QTest::newRow("no numbers") << QByteArray("cpu one -2 0x3 4. 5 6 7 8 9 \xff") << 11 << 33 << -2;
        QTest::newRow("beyond 32 bits") << QByteArray("cpu 2147483648 99999999999999999999 3 4 0 0 0 0 0 0") << 11 << 7
                                        << 3;
        QTest::newRow("sums wrap") << QByteArray("cpu 2147483647 1 2 2147483647 0 0 0 0 0 0") << 11 << 1
                                   << std::numeric_limits<int>::min() + 2;
    }

    void samples()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, total);
        QFETCH(int, busy);
        int fields = -1;

        const auto sample = LoadMonitor::sampleOf(QLatin1StringView(line), &fields);

        QTEST(fields, "fields");
        QCOMPARE(sample.has_value(), fields == 11);
        QCOMPARE(sample.value_or(LoadMonitor::Sample{}).total, total);
        QCOMPARE(sample.value_or(LoadMonitor::Sample{}).busy, busy);
    }

    void loads_data()
    {
        using Sample = LoadMonitor::Sample;
        constexpr int kMax = std::numeric_limits<int>::max();
        constexpr int kMin = std::numeric_limits<int>::min();
        QTest::addColumn<Sample>("before");
        QTest::addColumn<Sample>("after");
        QTest::addColumn<int>("load");
        QTest::newRow("since boot") << Sample{} << Sample{1000, 359} << 35;
        QTest::newRow("since the last sample") << Sample{1000, 359} << Sample{1100, 435} << 76;
        QTest::newRow("all busy") << Sample{10, 10} << Sample{110, 110} << 100;
        QTest::newRow("total unchanged, idle") << Sample{10, 5} << Sample{10, 5} << 0;
        QTest::newRow("total unchanged, busy") << Sample{10, 5} << Sample{10, 9} << 0;
        QTest::newRow("total shrinks") << Sample{1000, 500} << Sample{900, 550} << -50;
        QTest::newRow("towards zero") << Sample{1000, 500} << Sample{9000, 460} << 0;
        QTest::newRow("across the wrap") << Sample{kMax - 50, kMax - 10} << Sample{kMin + 49, kMin + 29} << 40;
        QTest::newRow("more than an int holds") << Sample{0, 0} << Sample{1, kMax} << kMax;
        QTest::newRow("less than an int holds") << Sample{0, 0} << Sample{1, kMin} << kMin;
    }

    void loads()
    {
        QFETCH(LoadMonitor::Sample, before);
        QFETCH(LoadMonitor::Sample, after);
        QTEST(LoadMonitor::loadBetween(before, after), "load");
    }

    void notifications_data()
    {
        QTest::addColumn<QList<int>>("loads"); // percent; -1: the counters cannot be read
        QTest::addColumn<QString>("expected"); // for each sample: L low, H high, - nothing
        QTest::newRow("four lows, twice") << QList<int>(8, 10) << u"---L---L"_s;
        QTest::newRow("interrupted lows") << QList<int>{0, 0, 0, 50, 0, 0, 0} << u"-------"_s;
        QTest::newRow("35 is not low") << QList<int>{34, 34, 34, 35, 34, 34, 34, 34} << u"-------L"_s;
        QTest::newRow("75 is not high, 76 is at once and again") << QList<int>{75, 76, 100, 75} << u"-HH-"_s;
        QTest::newRow("high ends the lows") << QList<int>{0, 0, 0, 90, 0, 0, 0, 0} << u"---H---L"_s;
        QTest::newRow("unreadable counts as low") << QList<int>{-1, 0, -1, -1, -1} << u"---L-"_s;
    }

    void notifications()
    {
        QFETCH(QList<int>, loads);
        LoadMonitor monitor(nullptr);
        QString emitted;
        connect(&monitor, &LoadMonitor::lowCpuLoad, this, [&emitted] { emitted += u'L'; });
        connect(&monitor, &LoadMonitor::highCpuLoad, this, [&emitted] { emitted += u'H'; });
        int total = 0;
        int busy = 0;
        for (const int load : std::as_const(loads)) {
            const qsizetype before = emitted.size();
            if (load < 0) {
                QFile::remove(paths::cpuCounters());
            } else {
                total += 100;
                busy += load;
                writeFile(paths::cpuCounters(), "cpu  " + QByteArray::number(busy) + " 0 0 " +
                                                    QByteArray::number(total - busy) + " 0 0 0 0 0 0\ncpu0 1\n");
            }

            QVERIFY(QMetaObject::invokeMethod(&monitor, "updateLoadValue"));

            emitted += emitted.size() == before ? u"-"_s : QString();
        }
        QTEST(emitted, "expected");
    }

    void unreadableCountersAreReported()
    {
        LoadMonitor monitor(nullptr);
        writeFile(paths::cpuCounters(), "cpu  1 2 3 4 5 6 7 8 9\nintr 1 2\n");
        QCOMPARE(monitor.getLoad(), -1);
        QVERIFY(QFile::remove(paths::cpuCounters()));
        QCOMPARE(monitor.getLoad(), -1);
        QCOMPARE(take(), (QStringList{u"log 1 Error reading %1. Expected 11 values, got 10"_s.arg(paths::cpuCounters()),
                                      u"log 1 Error opening "_s + paths::cpuCounters()}));
    }

    void ladder_data()
    {
        QTest::addColumn<int>("freq");
        QTest::addColumn<int>("above");
        QTest::addColumn<int>("below");
        QTest::newRow("below the ladder") << 50 << 96 << 96;
        QTest::newRow("bottom") << 96 << 200 << 96;
        QTest::newRow("second") << 200 << 300 << 96;
        QTest::newRow("between") << 250 << 300 << 200;
        QTest::newRow("third") << 300 << 372 << 200;
        QTest::newRow("fourth") << 372 << 408 << 300;
        QTest::newRow("fifth") << 408 << 456 << 372;
        QTest::newRow("top") << 456 << 456 << 408;
        QTest::newRow("above the ladder") << 1000 << 456 << 456;
    }

    void ladder()
    {
        const QList<int> ladder(std::begin(kFrequenciesMHz), std::end(kFrequenciesMHz));
        QFETCH(int, freq);
        QTEST(rungAbove(ladder, freq), "above");
        QTEST(rungBelow(ladder, freq), "below");
    }

    void policy_data()
    {
        QTest::addColumn<int>("freq");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QByteArray>("slot");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("lines");
        const QByteArray up("freqIncrease");
        const QByteArray down("freqDecrease");
        const QByteArray jump("setMaxFreq");
        const QStringList unreadable{kAsk, u"log 1 GetFreq error"_s};
        const auto set = [](int target) {
            return QStringList{kAsk, u"call freqmanager.SetFreq(%1)"_s.arg(target),
                               u"log 5 CPU Frequency set to %1"_s.arg(target)};
        };
        const QString none = u"note no fault"_s;
        QTest::newRow("a rung up") << 300 << none << up << 0 << set(372);
        QTest::newRow("a rung down") << 300 << none << down << 0 << set(200);
        QTest::newRow("jump") << 96 << none << jump << 0 << set(456);
        QTest::newRow("up at the top") << 456 << none << up << 0 << QStringList{kAsk};
        QTest::newRow("down at the bottom") << 96 << none << down << 0 << QStringList{kAsk};
        QTest::newRow("jump at the top") << 456 << none << jump << 0 << QStringList{kAsk};
        QTest::newRow("down, frequency unreadable")
            << 300 << u"fail freqmanager.GetFreq dies"_s << down << -53 << unreadable;
        QTest::newRow("jump, frequency unreadable")
            << 456 << u"fail freqmanager.GetFreq error"_s << jump << 0 << set(456);
    }

    void policy()
    {
        QFETCH(int, freq);
        QFETCH(QString, fault);
        QFETCH(QByteArray, slot);
        QVERIFY(m_fixture->start());
        m_fixture->manager().SetAutoscalingEnabled(true);
        setDeviceFreq(freq);
        QCOMPARE(m_fixture->run(fault), QString());
        timeline().clear();
        int status = 0;

        if (slot == "setMaxFreq") {
            QVERIFY(QMetaObject::invokeMethod(&m_fixture->manager(), slot.constData()));
        } else {
            QVERIFY(QMetaObject::invokeMethod(&m_fixture->manager(), slot.constData(), Q_RETURN_ARG(int, status)));
        }

        QTEST(take(), "lines");
        QTEST(status, "status");
    }

    void whatMovesTheFrequency_data()
    {
        QTest::addColumn<QString>("signal");
        QTest::newRow("playback requested") << u"send soundmanager.PlayRequested"_s;
        QTest::newRow("file") << u"send soundmanager.PlayingFile song.mp3"_s;
        QTest::newRow("playlist") << u"send soundmanager.PlayingPlaylist list song.mp3 true false"_s;
        QTest::newRow("camera on") << u"camera on"_s;
        QTest::newRow("camera off") << u"camera off"_s;
        QTest::newRow("update") << u"send updatemanager.FilesUpdateStarted 0 3"_s;
    }

    void whatMovesTheFrequency()
    {
        QFETCH(QString, signal);
        QVERIFY(m_fixture->start());
        auto* monitor = m_fixture->manager().findChild<LoadMonitor*>();
        setDeviceFreq(200);

        // While autoscaling is off, there is no traffic at all.
        QCOMPARE(m_fixture->run(signal + u"\nexpect no call freqmanager.GetFreq for 0.05"_s), QString());
        Q_EMIT monitor->highCpuLoad();
        Q_EMIT monitor->lowCpuLoad();
        QCOMPARE(m_fixture->run(u"note off\nexpect no call freqmanager.GetFreq"_s), QString());
        QCOMPARE(m_fixture->manager().SetAutoscalingEnabled(true), 0);
        QCOMPARE(m_fixture->run(u"note on\nexpect no call freqmanager.GetFreq"_s), QString());

        QCOMPARE(m_fixture->run(signal + u"\nexpect call freqmanager.SetFreq 456"_s), QString());
        timeline().clear();
        Q_EMIT monitor->lowCpuLoad();
        Q_EMIT monitor->highCpuLoad();
        QCOMPARE(take().filter(u"SetFreq"_s),
                 (QStringList{u"call freqmanager.SetFreq(408)"_s, u"call freqmanager.SetFreq(456)"_s}));
    }

    void clientsSetAnyFrequency()
    {
        QVERIFY(m_fixture->start());
        timeline().clear();

        (void)m_fixture->manager().SetFreq(123); // whether that is a rung is the frequency service's business

        QCOMPARE(take().constFirst(), u"call freqmanager.SetFreq(123)"_s);
    }
};

QTEST_GUILESS_MAIN(TstFrequency)
#include "tst_frequency.moc"
