// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FrequencyLadder.h"
#include "LoadMonitor.h"
#include "PowerManagerFixture.h"

#include <QDir>
#include <QFile>

#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kMax = std::numeric_limits<int>::max();
constexpr int kMin = std::numeric_limits<int>::min();

} // namespace

/// The CPU load, and the frequency that follows it.
class TstFrequency : public PowerManagerFixture
{
    Q_OBJECT

    void setDeviceFreq(int freqMHz)
    {
        device().invoke([freqMHz](Simulator& simulator) { simulator.device().freqMHz = freqMHz; });
    }

private Q_SLOTS:
    void samples_data()
    {
        const Table<QByteArray, int, int, int> row("line", "fields", "total", "busy");
        row("counters", "cpu  1 2 4 8 16 32 64 128 256 512", 11, 1023, 7);
        row("older kernel", "cpu  1 2 3 4 5 6 7 8 9", 10, 0, 0);
        row("a counter more", "cpu  1 2 3 4 5 6 7 8 9 10 11", 12, 0, 0);
        row("empty", "", 0, 0, 0);
        row("another name", "9 1 2 4 8 16 32 64 128 256 512", 11, 1023, 7);
        row("blanks", "   cpu   1 2 3 4 5 6 7 8 9 10  ", 11, 55, 6);
        row("no numbers", "cpu one -2 0x3 4. 5 6 7 8 9 \xff", 11, 33, -2);
        row("beyond 32 bits", "cpu 2147483648 99999999999999999999 3 4 0 0 0 0 0 0", 11, 7, 3);
        row("sums wrap", "cpu 2147483647 1 2 2147483647 0 0 0 0 0 0", 11, 1, kMin + 2);
    }

    void samples()
    {
        QFETCH(QByteArray, line);
        int fields = -1;

        const auto sample = LoadMonitor::sampleOf(QLatin1StringView(line), &fields);

        QTEST(fields, "fields");
        QCOMPARE(sample.has_value(), fields == 11);
        QTEST(sample.value_or(LoadMonitor::Sample{}).total, "total");
        QTEST(sample.value_or(LoadMonitor::Sample{}).busy, "busy");
    }

    void loads_data()
    {
        using Sample = LoadMonitor::Sample;
        const Table<Sample, Sample, int> row("before", "after", "load");
        row("since boot", {}, {1000, 359}, 35);
        row("since the last sample", {1000, 359}, {1100, 435}, 76);
        row("all busy", {10, 10}, {110, 110}, 100);
        row("total unchanged, idle", {10, 5}, {10, 5}, 0);
        row("total unchanged, busy", {10, 5}, {10, 9}, 0);
        row("total shrinks", {1000, 500}, {900, 550}, -50);
        row("towards zero", {1000, 500}, {9000, 460}, 0);
        row("across the wrap", {kMax - 50, kMax - 10}, {kMin + 49, kMin + 29}, 40);
        row("more than an int holds", {0, 0}, {1, kMax}, kMax);
        row("less than an int holds", {0, 0}, {1, kMin}, kMin);
    }

    void loads()
    {
        QFETCH(LoadMonitor::Sample, before);
        QFETCH(LoadMonitor::Sample, after);
        QTEST(LoadMonitor::loadBetween(before, after), "load");
    }

    void notifications_data()
    {
        // Loads in percent, -1: the counters cannot be read. Expected for each sample: L low, H high, - nothing.
        const Table<QList<int>, QString> row("loads", "expected");
        row("four lows, twice", QList<int>(8, 10), u"---L---L"_s);
        row("interrupted lows", {0, 0, 0, 50, 0, 0, 0}, u"-------"_s);
        row("35 is not low", {34, 34, 34, 35, 34, 34, 34, 34}, u"-------L"_s);
        row("75 is not high, 76 is at once and again", {75, 76, 100, 75}, u"-HH-"_s);
        row("high ends the lows", {0, 0, 0, 90, 0, 0, 0, 0}, u"---H---L"_s);
        row("unreadable counts as low", {-1, 0, -1, -1, -1}, u"---L-"_s);
    }

    void notifications()
    {
        QFETCH(QList<int>, loads);
        LoadMonitor monitor(nullptr);
        const auto openFiles = [] { return QDir(u"/proc/self/fd"_s).count(); };
        const auto openBefore = openFiles();
        QString emitted;
        connect(&monitor, &LoadMonitor::lowCpuLoad, this, [&emitted] { emitted += u'L'; });
        connect(&monitor, &LoadMonitor::highCpuLoad, this, [&emitted] { emitted += u'H'; });
        int total = 0;
        int busy = 0;
        for (const int load : std::as_const(loads)) {
            const qsizetype before = emitted.size();
            if (load < 0) {
                QFile::remove(cpuCounters());
            } else {
                total += 100;
                busy += load;
                writeFile(cpuCounters(), "cpu  " + QByteArray::number(busy) + " 0 0 " +
                                             QByteArray::number(total - busy) +
                                             " 0 1222333444 1333444555 1444555666 1555666777 1666777888\ncpu0 1\n");
            }

            QVERIFY(QMetaObject::invokeMethod(&monitor, "updateLoadValue"));

            emitted += emitted.size() == before ? u"-"_s : QString();
        }
        QTEST(emitted, "expected");
        QCOMPARE(openFiles(), openBefore);
    }

    void unreadableCountersAreReported()
    {
        LoadMonitor monitor(nullptr);
        writeFile(cpuCounters(), "cpu  1 2 3 4 5 6 7 8 9\nintr 1 2\n");
        QCOMPARE(monitor.getLoad(), -1);
        QVERIFY(QFile::remove(cpuCounters()));
        QCOMPARE(monitor.getLoad(), -1);
        QCOMPARE(take(), (QStringList{u"log 1 Error reading %1. Expected 11 values, got 10"_s.arg(cpuCounters()),
                                      u"log 1 Error opening "_s + cpuCounters()}));
    }

    void ladder()
    {
        const QList<int> ladder(std::begin(kFrequenciesMHz), std::end(kFrequenciesMHz));
        QList<int> above;
        QList<int> below;
        for (const int freq : {50, 96, 200, 250, 300, 372, 408, 456, 1000}) { // on the ladder, between, and beyond
            above.append(rungAbove(ladder, freq));
            below.append(rungBelow(ladder, freq));
        }
        QCOMPARE(above, (QList<int>{96, 200, 300, 300, 372, 408, 456, 456, 456}));
        QCOMPARE(below, (QList<int>{96, 96, 96, 200, 200, 300, 372, 408, 456}));
    }

    void policy_data()
    {
        const Table<int, QByteArray, int> row("freq", "slot", "target"); // target 0: no frequency is set
        row("a rung up", 300, "freqIncrease", 372);
        row("a rung down", 300, "freqDecrease", 200);
        row("jump", 96, "setMaxFreq", 456);
        row("up at the top", 456, "freqIncrease", 0);
        row("down at the bottom", 96, "freqDecrease", 0);
        row("jump at the top", 456, "setMaxFreq", 0);
        row("jump from above the ladder", 600, "setMaxFreq", 456);
        row("up, frequency unreadable", -1, "freqIncrease", 0);
        row("down, frequency unreadable", -1, "freqDecrease", 0);
        row("jump, frequency unreadable", -1, "setMaxFreq", 456);
    }

    void policy()
    {
        QFETCH(int, freq);
        QFETCH(QByteArray, slot);
        QFETCH(int, target);
        QVERIFY(start());
        manager().SetAutoscalingEnabled(true);
        setDeviceFreq(freq);
        QCOMPARE(arrange(freq < 0 ? u"fail freqmanager.GetFreq error"_s : QString()), QString());

        QVERIFY(QMetaObject::invokeMethod(&manager(), slot.constData()));

        QStringList expected{u"call freqmanager.GetFreq()"_s};
        if (target > 0) {
            expected += {u"call freqmanager.SetFreq(%1)"_s.arg(target), u"log 5 CPU Frequency set to %1"_s.arg(target)};
        } else if (freq < 0) {
            expected += u"log 1 GetFreq error"_s;
            // Only the function says which way was meant.
            QVERIFY(timeline().entries().constLast().as<LogLine>()->function.contains(QString::fromLatin1(slot)));
        }
        QCOMPARE(take(), expected);
    }

    void whatMovesTheFrequency_data()
    {
        const Table<QString> row("signal");
        row("playback requested", u"send soundmanager.PlayRequested"_s);
        row("file", u"send soundmanager.PlayingFile song.mp3"_s);
        row("playlist", u"send soundmanager.PlayingPlaylist list song.mp3 true false"_s);
        row("camera on", u"camera on"_s);
        row("camera off", u"camera off"_s);
        row("update", u"send updatemanager.FilesUpdateStarted 0 3"_s);
    }

    void whatMovesTheFrequency()
    {
        QFETCH(QString, signal);
        QVERIFY(start());
        auto* monitor = manager().findChild<LoadMonitor*>();
        setDeviceFreq(200);

        // While autoscaling is off, the frequency service is not called at all. The broadcast shows that the signal
        // before it was handled.
        QCOMPARE(run(signal + u"\ncharge 50\nexpect log \"CurrZone\""_s), QString());
        Q_EMIT monitor->highCpuLoad();
        Q_EMIT monitor->lowCpuLoad();
        QCOMPARE(manager().SetAutoscalingEnabled(true), 0);
        QCOMPARE(take().filter(u"freqmanager"_s), QStringList());

        QCOMPARE(arrange(signal + u"\nexpect call freqmanager.SetFreq 456"_s), QString());
        Q_EMIT monitor->lowCpuLoad();
        Q_EMIT monitor->highCpuLoad();
        QCOMPARE(take().filter(u"SetFreq"_s),
                 (QStringList{u"call freqmanager.SetFreq(408)"_s, u"call freqmanager.SetFreq(456)"_s}));
    }
};

QTEST_GUILESS_MAIN(TstFrequency)
#include "tst_frequency.moc"
