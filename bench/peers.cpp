// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Catalogue.h"
#include "DBusValues.h"
#include "DeviceFiles.h"
#include "Error.h"
#include "PrivateBus.h"
#include "Program.h"
#include "Sampling.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A program in a column of the table.
struct Subject
{
    QString title;
    std::unique_ptr<Program> program;
    QString file;
    bool listensToStatus; ///< whether it receives the status broadcasts
};

using Subjects = std::vector<Subject>;

/// A figure of each subject; nothing if that does not apply to it.
using Figures = QList<std::optional<double>>;

Subjects makeSubjects(const QString& slimFolder)
{
    Subjects subjects;
    const auto add = [&subjects](const QString& title, const QString& file, const QStringList& arguments,
                                 const auto& nameOrCall, bool listensToStatus) {
        subjects.push_back({title, std::make_unique<Program>(file, arguments, nameOrCall), file, listensToStatus});
    };
    // Not side by side: both own the one name.
    const QString daemonName = Catalogue().powerDaemon().busName;
    add(u"daemon"_s, QStringLiteral(POWERMANAGER_PROGRAM), {}, daemonName, true);
    add(u"daemon, slim Qt"_s, slimFolder + u"/powermanager/powermanager", {}, daemonName, true);
    const QString floorName = u"com.quillmark.zelt.floor"_s;
    add(u"floor"_s, QStringLiteral(FLOOR_PROGRAM), {floorName}, floorName, true);
    const QString slimFloorName = u"com.quillmark.zelt.slimfloor"_s;
    add(u"floor, slim Qt"_s, slimFolder + u"/bench/floor", {slimFloorName}, slimFloorName, true);

    // Their least calls: a property that they hold in memory.
    const auto get = [](const QString& service, const QString& path, const QString& property) {
        QDBusMessage call =
            QDBusMessage::createMethodCall(service, path, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
        call.setArguments({service, property});
        return call;
    };
    add(u"upowerd"_s, u"/usr/libexec/upowerd"_s, {},
        get(u"org.freedesktop.UPower"_s, u"/org/freedesktop/UPower"_s, u"OnBattery"_s), false);
    add(u"power-profiles-daemon"_s, u"/usr/libexec/power-profiles-daemon"_s, {},
        get(u"net.hadess.PowerProfiles"_s, u"/net/hadess/PowerProfiles"_s, u"ActiveProfile"_s), false);
    return subjects;
}

class Table
{
public:
    explicit Table(const Subjects& subjects)
    {
        m_text = u"| measured | unit |"_s;
        QString rule = u"|---|---|"_s;
        for (const Subject& subject : subjects) {
            m_text += u' ' + subject.title + u" |";
            rule += u"---:|";
        }
        m_text += u'\n' + rule + u'\n';
    }

    void add(const QString& what, const QString& unit, const Figures& figures)
    {
        m_text += u"| "_s + what + u" | " + unit + u" |";
        for (const std::optional<double>& figure : figures) {
            m_text += figure ? u' ' +
                                   QString::number(*figure, 'f',
                                                   *figure < 10    ? 2
                                                   : *figure < 100 ? 1
                                                                   : 0) +
                                   u" |"_s
                             : u"  |"_s;
        }
        m_text += u'\n';
    }

    [[nodiscard]] const QString& text() const
    {
        return m_text;
    }

private:
    QString m_text;
};

bool measureStarts(const Subjects& subjects, int starts, Table& table)
{
    QList<QList<double>> times(static_cast<qsizetype>(subjects.size()));
    for (int round = 0; round <= starts; ++round) {
        for (std::size_t i = 0; i < subjects.size(); ++i) {
            const std::optional<double> time = subjects[i].program->start();
            subjects[i].program->stop();
            if (!time) {
                return false;
            }
            if (round > 0) { // the first start may have read files from the disk
                times[static_cast<qsizetype>(i)].append(*time);
            }
        }
    }
    Figures medians;
    for (const QList<double>& ofOne : std::as_const(times)) {
        medians.append(quantile(ofOne, 0.5));
    }
    table.add(u"start to name on the bus, in turn, median of %1"_s.arg(starts), u"ms"_s, medians);
    return true;
}

/// Size in bytes without symbols, as distributions ship programs and libraries.
std::optional<double> strippedSize(const QString& file)
{
    QTemporaryDir folder;
    const QString copy = folder.filePath(u"stripped"_s);
    if (QProcess::execute(u"strip"_s, {u"-o"_s, copy, file}) != 0) {
        printError(u"strip failed for "_s + file);
        return std::nullopt;
    }
    return static_cast<double>(QFileInfo(copy).size());
}

/// Whether a library is on every such device anyway: the C and C++ libraries, libdbus, and what that needs in Debian.
bool isCommon(const QString& library)
{
    static const QStringList kCommon{u"ld-"_s,          u"libc.so"_s,         u"libm.so"_s,       u"libgcc_s.so"_s,
                                     u"libstdc++.so"_s, u"libdbus-1.so"_s,    u"libsystemd.so"_s, u"libcap.so"_s,
                                     u"libgcrypt.so"_s, u"libgpg-error.so"_s, u"liblz4.so"_s,     u"liblzma.so"_s,
                                     u"libzstd.so"_s};
    const QString name = QFileInfo(library).fileName();
    return std::any_of(kCommon.cbegin(), kCommon.cend(),
                       [&name](const QString& prefix) { return name.startsWith(prefix); });
}

/// Each alone with the bus.
bool measureMemoryAndSizes(const Subjects& subjects, Table& table)
{
    Figures dirty;
    Figures alone;
    Figures sizes;
    Figures wholeSizes;
    for (const Subject& subject : subjects) {
        if (!subject.program->start()) {
            return false;
        }
        wait(kSettlingTime);
        dirty.append(static_cast<double>(subject.program->memoryKilobytes("Private_Dirty")));
        alone.append(static_cast<double>(subject.program->memoryKilobytes("Rss")));
        const QStringList libraries = subject.program->libraries();
        const std::optional<double> own = strippedSize(subject.file);
        if (libraries.isEmpty() || !own || !subject.program->isRunning()) {
            printError(subject.title + u" ended while it was idle"_s);
            return false;
        }
        double size = *own;
        double wholeSize = *own;
        for (const QString& library : libraries) {
            const auto bytes = static_cast<double>(QFileInfo(library).size());
            wholeSize += bytes;
            size += isCommon(library) ? 0 : bytes;
        }
        sizes.append(size / 1e6);
        wholeSizes.append(wholeSize / 1e6);
        subject.program->stop();
    }
    table.add(u"idle: memory, Private_Dirty"_s, u"kB"_s, dirty);
    table.add(u"idle: memory, Pss if nothing else has the same libraries (Rss)"_s, u"kB"_s, alone);
    table.add(u"on disk: program and libraries, but for C, C++ and D-Bus library"_s, u"MB"_s, sizes);
    table.add(u"on disk: program and all libraries"_s, u"MB"_s, wholeSizes);
    return true;
}

bool measureIdle(const Subjects& subjects, std::chrono::seconds duration, Table& table)
{
    Figures times;
    Figures switches;
    const double minutes = std::chrono::duration<double, std::ratio<60>>(duration).count();
    for (const Subject& subject : subjects) {
        if (!subject.program->start()) {
            return false;
        }
        wait(kSettlingTime);
        const Usage before = usage(*subject.program);
        wait(duration);
        const Usage used = usage(*subject.program) - before;
        if (!subject.program->isRunning()) {
            printError(subject.title + u" ended while it was idle"_s);
            return false;
        }
        times.append(used.cpuNanoseconds / 1e6 / minutes);
        switches.append(used.switches / minutes);
        subject.program->stop();
    }
    table.add(u"idle: CPU time, all threads, over %1 s"_s.arg(duration.count()), u"ms/min"_s, times);
    table.add(u"idle: voluntary context switches, all threads"_s, u"1/min"_s, switches);
    return true;
}

bool measureCalls(const Subjects& subjects, Table& table)
{
    constexpr int kWarmUp = 200;
    constexpr int kCalls = 5000;
    Figures medians;
    for (const Subject& subject : subjects) {
        if (!subject.program->start()) {
            return false;
        }
        QList<double> times;
        for (int i = 0; i < kWarmUp + kCalls; ++i) {
            QElapsedTimer clock;
            clock.start();
            const QDBusMessage reply = QDBusConnection::sessionBus().call(subject.program->call());
            times.append(static_cast<double>(clock.nsecsElapsed()) / 1e3);
            if (reply.type() != QDBusMessage::ReplyMessage) {
                printError(subject.title + u": "_s + reply.errorMessage());
                return false;
            }
        }
        medians.append(quantile(times.sliced(kWarmUp), 0.5));
        subject.program->stop();
    }
    table.add(u"method call, round trip, p50 of %1"_s.arg(kCalls), u"µs"_s, medians);
    return true;
}

bool measureBroadcasts(const Subjects& subjects, Table& table)
{
    constexpr int kRounds = 20;
    constexpr int kBroadcasts = 50;
    const Catalogue catalogue;
    const InterfaceDescription& status = *catalogue.findService(u"statusmanager"_s);
    const MemberDescription& signal = *status.findSignal(u"SystemStatus"_s);
    if (!QDBusConnection::sessionBus().registerService(status.busName)) {
        printError(u"can't own the name "_s + status.busName);
        return false;
    }
    Figures medians;
    for (const Subject& subject : subjects) {
        if (!subject.listensToStatus) {
            medians.append(std::nullopt);
            continue;
        }
        if (!subject.program->start()) {
            return false;
        }
        wait(kSettlingTime);
        QDBusMessage broadcast = QDBusMessage::createTargetedSignal(
            subject.program->call().service(), status.objectPath, status.interfaceName, signal.name);
        broadcast.setArguments(dbusvalues::fill(signal.out, {{u"CBATT"_s, 50}}));
        QList<double> costs;
        for (int round = 0; round <= kRounds; ++round) {
            const double cost = costOfBroadcasts(*subject.program, broadcast, kBroadcasts);
            if (round > 0) { // the first one enters a zone
                costs.append(cost);
            }
        }
        medians.append(quantile(costs, 0.5));
        subject.program->stop();
    }
    (void)QDBusConnection::sessionBus().unregisterService(status.busName);
    table.add(u"status broadcast without a change of zone, CPU time, median of %1 rounds of %2"_s.arg(kRounds).arg(
                  kBroadcasts),
              u"µs"_s, medians);
    return true;
}

} // namespace

/// measure-peers SLIM_FOLDER: the daemon and the floor, with Debian's Qt and with that of the build in SLIM_FOLDER,
/// beside two daemons of Debian's that people know, as a Markdown table.
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.setApplicationDescription(
        u"Measures the power daemon beside Debian's upowerd and power-profiles-daemon."_s);
    options.addHelpOption();
    options.addOptions({
        {u"idle"_s, u"Watch the idle programs for SECONDS (default 60)."_s, u"SECONDS"_s, u"60"_s},
        {u"starts"_s, u"Start each program N times (default 50)."_s, u"N"_s, u"50"_s},
    });
    options.addPositionalArgument(u"folder"_s, u"Build folder of the daemon and the floor with the slim Qt."_s);
    options.process(application);
    const std::chrono::seconds idle(options.value(u"idle"_s).toInt());
    const int starts = options.value(u"starts"_s).toInt();
    if (idle <= 0s || starts <= 0 || options.positionalArguments().size() != 1) {
        printError(u"expected one folder; --idle and --starts expect a whole number above 0"_s);
        return 2;
    }

    QString error;
    PrivateBus bus;
    if (!bus.startAsSessionBus(&error) || !DeviceFiles(QStringLiteral(ZELT_ROOT)).prepare(&error)) {
        printError(error);
        return 1;
    }
    // The two peers serve on the system bus; here both buses are the private one.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    const Subjects subjects = makeSubjects(options.positionalArguments().constFirst());
    Table table(subjects);
    const std::pair<const char*, std::function<bool()>> measurements[] = {
        {"start", [&] { return measureStarts(subjects, starts, table); }},
        {"memory and sizes", [&] { return measureMemoryAndSizes(subjects, table); }},
        {"idle", [&] { return measureIdle(subjects, idle, table); }},
        {"calls", [&] { return measureCalls(subjects, table); }},
        {"broadcasts", [&] { return measureBroadcasts(subjects, table); }},
    };
    for (const auto& [name, run] : measurements) {
        std::fprintf(stderr, "==> measuring: %s\n", name);
        if (!run()) {
            return 1;
        }
    }
    std::fputs(table.text().toUtf8().constData(), stdout);
    return 0;
}
