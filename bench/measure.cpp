// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BenchDevice.h"
#include "DBusValues.h"
#include "DeviceFiles.h"
#include "Error.h"
#include "PrivateBus.h"
#include "Program.h"
#include "Report.h"
#include "Sampling.h"
#include "ZoneFile.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QTemporaryFile>

#include <algorithm>
#include <chrono>
#include <cstdio>
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

Program makeDaemon()
{
    return {QStringLiteral(POWERMANAGER_PROGRAM), {}, Catalogue().powerDaemon().busName};
}

/// Daemon and floor, side by side on the bus.
struct Pair
{
    [[nodiscard]] bool start()
    {
        if (!daemon.start()) {
            return false;
        }
        // Half a timer period apart: a program that ticks right after the other finds the CPU's caches warm, and costs
        // a fifth less.
        wait(500ms);
        if (!floor.start()) {
            return false;
        }
        wait(kSettlingTime);
        return true;
    }

    [[nodiscard]] bool isRunning() const
    {
        return daemon.isRunning() && floor.isRunning();
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
        pair.daemon.stop();
        const std::optional<double> floorTime = pair.floor.start();
        pair.floor.stop();
        if (!daemonTime || !floorTime) {
            return false;
        }
        if (i > 0) { // the first start may have read files from the disk
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
    const Usage daemonBefore = usage(pair.daemon);
    const Usage floorBefore = usage(pair.floor);
    wait(settings.idle);
    const Usage daemon = usage(pair.daemon) - daemonBefore;
    const Usage floor = usage(pair.floor) - floorBefore;
    if (!pair.isRunning()) {
        printError(u"a program ended while it was idle"_s);
        return false;
    }
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

/// @return the private memory in kB of a daemon with this zone file, which replaces the device's
std::optional<double> memoryWithZones(const QString& zoneFile)
{
    QString error;
    if (!DeviceFiles(QStringLiteral(ZELT_ROOT)).installZones(zoneFile, &error)) {
        printError(error);
        return std::nullopt;
    }
    Program daemon = makeDaemon();
    if (!daemon.start()) {
        return std::nullopt;
    }
    wait(kSettlingTime);
    return static_cast<double>(daemon.memoryKilobytes("Private_Dirty"));
}

bool measureZoneFile(const Settings&, Report& report)
{
    QTemporaryFile file;
    if (!file.open() || file.write(makeZoneFile(10'000)) < 0 || !file.flush()) {
        printError(u"can't make a temporary file: "_s + file.errorString());
        return false;
    }
    const auto many = memoryWithZones(file.fileName());
    const auto few = memoryWithZones(u":/zones.ini"_s); // the example, which is left in place
    if (!many || !few) {
        return false;
    }
    report.add(u"zone file of 10,000 zones: Private_Dirty beyond that with three zones"_s, u"kB"_s, *many - *few);
    return true;
}

/// Calls a program and appends the round trip in microseconds. @return whether the answer was right
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
    constexpr int kRounds = 20;
    constexpr int kBroadcasts = 50;
    Pair pair;
    BenchDevice observer;
    if (!pair.start() || !observer.start({})) {
        return false;
    }
    const Catalogue catalogue;
    const InterfaceDescription& status = *catalogue.findService(u"statusmanager"_s);
    const MemberDescription& signal = *status.findSignal(u"SystemStatus"_s);
    if (!QDBusConnection::sessionBus().registerService(status.busName)) {
        printError(u"can't own the name "_s + status.busName);
        return false;
    }
    QList<double> daemonCosts;
    QList<double> floorCosts;
    for (int round = 0; round <= kRounds; ++round) {
        for (const auto& [program, costs] :
             {std::pair(&pair.daemon, &daemonCosts), std::pair(&pair.floor, &floorCosts)}) {
            QDBusMessage broadcast = QDBusMessage::createTargetedSignal(program->call().service(), status.objectPath,
                                                                        status.interfaceName, signal.name);
            broadcast.setArguments(dbusvalues::fill(signal.out, {{u"CBATT"_s, 50}}));
            const double cost = costOfBroadcasts(*program, broadcast, kBroadcasts);
            if (round > 0) { // the first one enters a zone
                costs->append(cost);
            }
        }
    }
    (void)QDBusConnection::sessionBus().unregisterService(status.busName); // the simulated service needs it next
    // Proof that they arrive, and that only the first one changed the zone.
    if (observer.count(u"signal powermanager.PowerZoneChanged(Normal)"_s) != 1 || !pair.isRunning()) {
        printError(u"the broadcasts should have entered one zone, but did not"_s);
        return false;
    }
    report.add(u"status broadcast without a change of zone, CPU time, median of %1 rounds of %2"_s.arg(kRounds).arg(
                   kBroadcasts),
               u"µs"_s, quantile(daemonCosts, 0.5), quantile(floorCosts, 0.5));
    return true;
}

/// Has a new daemon and a new device carry out lines of the command language, three times.
/// @return the longest time between the entries of the timeline that read so, in milliseconds
std::optional<double> worstTimeOf(const QStringList& services, const QString& lines, const QString& from,
                                  const QString& to)
{
    double worst = 0;
    for (int i = 0; i < 3; ++i) {
        BenchDevice device;
        Program daemon = makeDaemon();
        if (!device.start(services) || !daemon.start()) {
            return std::nullopt;
        }
        wait(kSettlingTime);
        const std::optional<double> time = device.timeOf(lines, from, to);
        if (!time) {
            return std::nullopt;
        }
        worst = std::max(worst, *time);
    }
    return worst;
}

bool measureReboot(const Settings&, Report& report)
{
    // Intended: 5 s for listeners, 2.5 s of pulses.
    constexpr double kPausesMs = 7500;
    const QString request = u"request powermanager.Reboot(bench)"_s;
    const auto accepted =
        worstTimeOf(Catalogue().serviceNames(), u"call Reboot bench\nexpect call freqmanager.Reboot within 20"_s,
                    request, u"call freqmanager.Reboot()"_s);
    const auto refused = worstTimeOf({}, u"call Reboot bench\nexpect answer Reboot -50 within 20"_s, request,
                                     u"answer powermanager.Reboot -50"_s);
    if (!accepted || !refused) {
        return false;
    }
    report.add(u"reboot beyond its pauses of 7.5 s: request to the frequency service's call, worst of 3"_s, u"ms"_s,
               *accepted - kPausesMs);
    report.add(u"reboot beyond its pauses of 7.5 s: request to the answer -50, no other service, worst of 3"_s, u"ms"_s,
               *refused - kPausesMs);
    return true;
}

bool measureRestore(const Settings&, Report& report)
{
    const auto time = worstTimeOf(Catalogue().serviceNames(),
                                  u"send gpeventmanager.GpEvent reset_factory true\n"
                                  "expect call configmanager.Freeze within 20"_s,
                                  u"line 24 off"_s, u"call configmanager.Freeze()"_s);
    if (!time) {
        return false;
    }
    report.add(u"soft factory reset: end of the blinking to the store's Freeze, worst of 3"_s, u"ms"_s, *time);
    return true;
}

/// A row of the report that a Google benchmark fills.
struct Benchmark
{
    const char* what;
    const char* unit;
    const char* daemon; ///< name of the benchmark
    const char* floor;  ///< name of the floor's benchmark; null if there is none
    const char* figure; ///< name of the figure: a time in the benchmark's own unit, or a counter
    double perUnit = 1; ///< what the figure is multiplied by to give the unit
};

constexpr Benchmark kBenchmarks[] = {
    {"reading of the load, CPU time", "µs", "readByLoadMonitor", "readByFloor", "cpu_time", 1e-3},
    {"reading of the load, allocations", "1", "readByLoadMonitor", "readByFloor", "allocations"},
    {"status broadcast to the announcement of another zone", "µs", "broadcastToDecision/real_time",
     "broadcastToFloor/real_time", "real_time"},
    {"decoding of a status snapshot of 50 values", "µs", "decodeSnapshot", "decodeSnapshotByFloor", "cpu_time", 1e-3},
    {"log line", "µs", "logLine", "logLineByFloor", "cpu_time", 1e-3},
    {"factory table written to a store in memory", "µs", "writeFactoryTable", "writeFactoryTableByFloor", "cpu_time"},
    {"loading 10 zones", "ms", "loadZones/10", nullptr, "cpu_time"},
    {"loading 1,000 zones", "ms", "loadZones/1000", nullptr, "cpu_time"},
    {"loading 10,000 zones", "ms", "loadZones/10000", nullptr, "cpu_time"},
    {"loading 100,000 zones", "ms", "loadZones/100000", nullptr, "cpu_time"},
    {"loading 100,000 zones, per 1,000", "ms", "loadZones/100000", nullptr, "s_per_1000_zones", 1e3},
};

bool measureBenchmarks(const Settings&, Report& report)
{
    ChildProcess process;
    prepareMeasured(process);
    process.start(QStringLiteral(BENCHMARKS_PROGRAM),
                  {u"--benchmark_format=json"_s, u"--benchmark_repetitions=5"_s, u"--benchmark_min_time=0.2"_s,
                   u"--benchmark_enable_random_interleaving=true"_s});
    process.waitForFinished(-1);
    // The variation among zeros is written as NaN, which JSON does not have.
    const QJsonDocument document = QJsonDocument::fromJson(process.readAllStandardOutput().replace(": NaN", ": null"));
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0 || !document.isObject()) {
        printError(process.program() + u" failed: "_s + process.errorString());
        return false;
    }
    QHash<QString, QJsonObject> medians;
    const QJsonArray benchmarks = document.object().value(u"benchmarks"_s).toArray();
    for (const auto& benchmark : benchmarks) {
        if (benchmark[u"error_occurred"].toBool()) {
            printError(benchmark[u"name"].toString() + u": "_s + benchmark[u"error_message"].toString());
            return false;
        }
        if (benchmark[u"aggregate_name"] == u"median"_s) {
            medians.insert(benchmark[u"run_name"].toString(), benchmark.toObject());
        }
    }
    bool isComplete = true;
    for (const Benchmark& row : kBenchmarks) {
        const auto figure = [&medians, &row, &isComplete](const char* benchmark) {
            const QJsonValue value = medians.value(QLatin1StringView(benchmark)).value(QLatin1StringView(row.figure));
            if (!value.isDouble()) {
                printError(u"no "_s + QLatin1StringView(row.figure) + u" of "_s + QLatin1StringView(benchmark));
                isComplete = false;
            }
            return value.toDouble() * row.perUnit;
        };
        report.add(QString::fromUtf8(row.what), QString::fromUtf8(row.unit), figure(row.daemon),
                   row.floor != nullptr ? std::optional(figure(row.floor)) : std::nullopt);
    }
    return isComplete;
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
    {"zonefile", measureZoneFile, "memory that a long zone file takes"},
    {"calls", measureCalls, "round trip of a method call"},
    {"broadcasts", measureBroadcasts, "CPU time of a status broadcast that changes nothing"},
    {"reboot", measureReboot, "what a reboot takes beyond its pauses"},
    {"restore", measureRestore, "what a soft factory reset takes beyond its pauses"},
    {"benchmarks", measureBenchmarks, "single parts of the daemon, by Google Benchmark"},
};

QString describe()
{
    QString text = u"Measures the power daemon on a bus of its own, against the floor: the "
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
        {u"idle"_s, u"Watch the idle programs for SECONDS (default 60)."_s, u"SECONDS"_s, u"60"_s},
        {u"starts"_s, u"Start each program N times (default 50)."_s, u"N"_s, u"50"_s},
        {u"json"_s, u"Also write the figures to FILE."_s, u"FILE"_s},
    });
    options.addPositionalArgument(u"name"_s, u"Measurements to make (default: all)."_s, u"[name...]"_s);
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
    PrivateBus bus;
    if (!bus.startAsSessionBus(&error) || !DeviceFiles(QStringLiteral(ZELT_ROOT)).prepare(&error)) {
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
