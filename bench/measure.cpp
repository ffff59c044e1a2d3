// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BenchDevice.h"
#include "DeviceFiles.h"
#include "Error.h"
#include "Program.h"
#include "Report.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QSaveFile>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <optional>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct Settings
{
    std::chrono::seconds idle;
    int starts;
};

void wait(std::chrono::milliseconds duration)
{
    QEventLoop loop;
    QTimer::singleShot(duration, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// The value below which the given fraction of the values lies.
double quantile(QList<double> values, double fraction)
{
    const auto index = static_cast<qsizetype>(fraction * static_cast<double>(values.size()));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values.at(index);
}

/// What a program has used in some time.
struct Usage
{
    double cpuNanoseconds = 0;
    double switches = 0;
};

/// What the kernel has counted for a program up to now.
Usage usage(const Program& program)
{
    return {static_cast<double>(program.cpuNanoseconds()), static_cast<double>(program.voluntarySwitches())};
}

Usage operator-(const Usage& a, const Usage& b)
{
    return {a.cpuNanoseconds - b.cpuNanoseconds, a.switches - b.switches};
}

/// What follows the start of a program is not its idle state yet.
constexpr std::chrono::milliseconds kSettlingTime = 2s;

Program makeDaemon()
{
    return {QStringLiteral(POWERMANAGER_PROGRAM), {}, Catalogue().powerDaemon().busName};
}

/// Daemon and floor, side by side on the bus.
struct Pair
{
    [[nodiscard]] bool start()
    {
        if (!daemon.start() || !floor.start()) {
            return false;
        }
        wait(kSettlingTime);
        return true;
    }

    /// What both use while something is done; first the daemon, then the floor. Nothing where one of them has ended.
    [[nodiscard]] std::optional<std::pair<Usage, Usage>> usageDuring(const std::function<void()>& action) const
    {
        const std::pair before(usage(daemon), usage(floor));
        action();
        const std::pair after(usage(daemon), usage(floor));
        if (!daemon.isRunning() || !floor.isRunning()) {
            printError(u"a program has ended while it was measured"_s);
            return std::nullopt;
        }
        return std::pair(after.first - before.first, after.second - before.second);
    }

    Program daemon = makeDaemon();
    Program floor{QStringLiteral(FLOOR_PROGRAM), {u"com.quillmark.zelt.floor"_s}, u"com.quillmark.zelt.floor"_s};
};

bool measureStart(const Settings& settings, Report& report)
{
    Pair pair;
    QList<double> daemonTimes;
    QList<double> floorTimes;
    for (int i = 0; i <= settings.starts; ++i) {
        const std::optional<double> daemonTime = pair.daemon.start();
        const std::optional<double> floorTime = pair.floor.start();
        if (!daemonTime || !floorTime) {
            return false;
        }
        pair.daemon.stop();
        pair.floor.stop();
        if (i > 0) { // the first one may have read files from the disk
            daemonTimes.append(*daemonTime);
            floorTimes.append(*floorTime);
        }
    }
    report.add(u"start to name on the bus, no other service, median of %1"_s.arg(settings.starts), u"ms"_s,
               quantile(daemonTimes, 0.5), quantile(floorTimes, 0.5));
    return true;
}

bool measureIdle(const Settings& settings, Report& report)
{
    Pair pair;
    if (!pair.start()) {
        return false;
    }
    const auto used = pair.usageDuring([&settings] { wait(settings.idle); });
    if (!used) {
        return false;
    }
    const auto& [daemon, floor] = *used;
    const double minutes = std::chrono::duration<double, std::ratio<60>>(settings.idle).count();
    report.add(u"idle: CPU time, all threads, over %1 s"_s.arg(settings.idle.count()), u"ms/min"_s,
               daemon.cpuNanoseconds / 1e6 / minutes, floor.cpuNanoseconds / 1e6 / minutes);
    report.add(u"idle: voluntary context switches, all threads"_s, u"1/min"_s, daemon.switches / minutes,
               floor.switches / minutes);
    for (const char* field : {"Pss", "Private_Dirty"}) {
        report.add(u"idle: memory, "_s + QLatin1StringView(field), u"kB"_s,
                   static_cast<double>(pair.daemon.memoryKilobytes(field)),
                   static_cast<double>(pair.floor.memoryKilobytes(field)));
    }
    return true;
}

/// Calls a program and appends the round trip in microseconds. @return whether it answered as it should
[[nodiscard]] bool call(const Program& program, QList<double>& times)
{
    QElapsedTimer clock;
    clock.start();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(program.call());
    times.append(static_cast<double>(clock.nsecsElapsed()) / 1e3);
    if (reply.arguments() != QVariantList{0, true}) {
        printError(u"IsActionsEnabled of "_s + program.call().service() + u": "_s + reply.errorMessage());
        return false;
    }
    return true;
}

bool measureCalls(const Settings&, Report& report)
{
    constexpr int kWarmUp = 200;
    constexpr int kCalls = 5000;
    Pair pair;
    if (!pair.start()) {
        return false;
    }
    QList<double> daemonTimes;
    QList<double> floorTimes;
    for (int i = 0; i < kWarmUp + kCalls; ++i) {
        if (i == kWarmUp) {
            daemonTimes.clear();
            floorTimes.clear();
        }
        if (!call(pair.daemon, daemonTimes) || !call(pair.floor, floorTimes)) {
            return false;
        }
    }
    for (const int percent : {50, 99}) {
        report.add(u"method call, round trip, p%1 of %2"_s.arg(percent).arg(kCalls), u"µs"_s,
                   quantile(daemonTimes, percent / 100.0), quantile(floorTimes, percent / 100.0));
    }
    return true;
}

bool measureBroadcasts(const Settings&, Report& report)
{
    constexpr int kWarmUp = 100;
    constexpr int kBroadcasts = 1000;
    Pair pair;
    BenchDevice device;
    if (!pair.start() || !device.start({u"statusmanager"_s})) {
        return false;
    }
    // One at a time, as on the device: each wakes the programs.
    const auto broadcast = [&device](int count) {
        for (int i = 0; i < count; ++i) {
            device.simulator().broadcastStatus();
            wait(5ms);
        }
    };
    broadcast(kWarmUp);
    const auto used = pair.usageDuring([&broadcast] { broadcast(kBroadcasts); });
    if (!used) {
        return false;
    }
    // The first broadcast has entered a zone; proof that they arrive, and that no other one has changed it.
    if (device.count(u"signal powermanager.PowerZoneChanged(Normal)"_s) != 1) {
        printError(u"the broadcasts have not entered one zone"_s);
        return false;
    }
    const auto& [daemon, floor] = *used;
    report.add(u"status broadcast without a change of zone, CPU time"_s, u"µs"_s,
               daemon.cpuNanoseconds / 1e3 / kBroadcasts, floor.cpuNanoseconds / 1e3 / kBroadcasts);
    return true;
}

/// The pauses of a reboot, which are meant: 5 s for listeners, 2.5 s of pulses.
constexpr double kRebootPausesMs = 7500;

/// Reboots some times.
/// @param end what ends the wait, as the command language has it, and as the timeline shows it
bool measureReboot(const QStringList& services, int times, const QString& expectation, const QString& end,
                   const QString& what, Report& report)
{
    BenchDevice device;
    Program daemon = makeDaemon();
    if (!device.start(services) || !daemon.start()) {
        return false;
    }
    wait(kSettlingTime);
    QList<double> overheads;
    for (int i = 0; i < times; ++i) {
        const auto time = device.timeOf(u"call Reboot bench\nexpect "_s + expectation + u" within 20\nwait 0.1"_s,
                                        u"request powermanager.Reboot(bench)"_s, end);
        if (!time) {
            return false;
        }
        overheads.append(*time - kRebootPausesMs);
    }
    report.add(u"reboot, beyond its 7.5 s of pauses: "_s + what, u"ms"_s,
               *std::max_element(overheads.cbegin(), overheads.cend()));
    return true;
}

bool measureReboots(const Settings&, Report& report)
{
    return measureReboot(Catalogue().serviceNames(), 3, u"call freqmanager.Reboot"_s, u"call freqmanager.Reboot()"_s,
                         u"request to the frequency service's call, worst of 3"_s, report) &&
           measureReboot({}, 1, u"answer Reboot -50"_s, u"answer powermanager.Reboot -50"_s,
                         u"request to its answer -50, no other service"_s, report);
}

/// The medians of a Google benchmark program, by the benchmarks' names.
using Medians = QHash<QString, QJsonObject>;

std::optional<Medians> runBenchmark(const QString& program)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, {u"--benchmark_format=json"_s, u"--benchmark_repetitions=5"_s,
                            u"--benchmark_enable_random_interleaving=true"_s});
    process.waitForFinished(-1);
    const QJsonDocument document = QJsonDocument::fromJson(process.readAllStandardOutput());
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0 || !document.isObject()) {
        printError(program + u" failed: "_s + process.errorString());
        return std::nullopt;
    }
    Medians medians;
    const QJsonArray benchmarks = document.object().value(u"benchmarks"_s).toArray();
    for (const auto& benchmark : benchmarks) {
        if (benchmark[u"aggregate_name"] == u"median"_s) {
            medians.insert(benchmark[u"run_name"].toString(), benchmark.toObject());
        }
    }
    return medians;
}

/// Not a number where there is no such figure.
double figure(const Medians& medians, const QString& benchmark, const QString& name)
{
    return medians.value(benchmark).value(name).toDouble(qQNaN());
}

bool measureZones(const Settings&, Report& report)
{
    const auto medians = runBenchmark(QStringLiteral(POWERZONES_PROGRAM));
    if (!medians) {
        return false;
    }
    for (const int count : {1'000, 10'000, 100'000}) {
        report.add(u"loading %1 zones, per 1,000 zones"_s.arg(QLocale(QLocale::English).toString(count)), u"ms"_s,
                   figure(*medians, u"loadZones/"_s + QString::number(count), u"s_per_1000_zones"_s) * 1e3);
    }
    return true;
}

struct Measurement
{
    const char* name;
    bool (*run)(const Settings&, Report&);
    const char* description;
};

/// In the order in which they run.
constexpr Measurement kMeasurements[] = {
    {"start", measureStart, "start to the name on the bus"},
    {"idle", measureIdle, "CPU time, context switches and memory of both programs idle at the same time"},
    {"calls", measureCalls, "round trip of a method call"},
    {"broadcasts", measureBroadcasts, "CPU time of a status broadcast that changes nothing"},
    {"reboot", measureReboots, "what a reboot takes beyond its pauses"},
    {"zones", measureZones, "loading of zone files"},
};

QString describe()
{
    QString text =
        u"Measures the power daemon on the session bus, which is to be a private one, against the floor: the "
        u"least that a program with its standing duties has to do. Prints a Markdown table.\n\n"
        u"Measurements:\n"_s;
    for (const Measurement& measurement : kMeasurements) {
        text += u"  %1 %2\n"_s.arg(QLatin1StringView(measurement.name), -12)
                    .arg(QLatin1StringView(measurement.description));
    }
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.setApplicationDescription(describe());
    options.addHelpOption();
    options.addOptions({
        {u"idle"_s, u"How long the programs are watched idle (default 60)."_s, u"SECONDS"_s, u"60"_s},
        {u"starts"_s, u"How often they are started (default 20)."_s, u"N"_s, u"20"_s},
        {u"json"_s, u"Writes the figures to FILE as well."_s, u"FILE"_s},
    });
    options.addPositionalArgument(u"name"_s, u"Measurements to make; none: all."_s, u"[name...]"_s);
    options.process(application);

    const Settings settings{std::chrono::seconds(options.value(u"idle"_s).toInt()), options.value(u"starts"_s).toInt()};
    QStringList wanted = options.positionalArguments();
    if (settings.idle <= 0s || settings.starts <= 0) {
        printError(u"--idle and --starts expect a whole number above 0"_s);
        return 2;
    }
    QList<Measurement> chosen;
    for (const Measurement& measurement : kMeasurements) {
        if (wanted.removeAll(QLatin1StringView(measurement.name)) > 0 || options.positionalArguments().isEmpty()) {
            chosen.append(measurement);
        }
    }
    if (!wanted.isEmpty()) {
        printError(wanted.constFirst() + u" is no measurement (--help lists them)"_s);
        return 2;
    }

    QString error;
    if (!DeviceFiles(QStringLiteral(ZELT_ROOT)).prepare(&error)) {
        printError(error);
        return 1;
    }
    Report report;
    for (const Measurement& measurement : std::as_const(chosen)) {
        std::fprintf(stderr, "==> measuring: %s\n", measurement.name);
        if (!measurement.run(settings, report)) {
            return 1;
        }
    }
    std::fputs(report.toMarkdown().toUtf8().constData(), stdout);
    if (options.isSet(u"json"_s)) {
        QSaveFile file(options.value(u"json"_s));
        if (!file.open(QIODevice::WriteOnly) || file.write(report.toJson()) < 0 || !file.commit()) {
            printError(file.fileName() + u": "_s + file.errorString());
            return 1;
        }
    }
    return 0;
}
