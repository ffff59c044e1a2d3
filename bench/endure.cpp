// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BenchServices.h"
#include "DeviceFiles.h"
#include "Error.h"
#include "PrivateBus.h"
#include "Program.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <functional>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Long enough for whatever the daemon has to do first.
constexpr int kTimeoutMs = 600'000;

void wait(std::chrono::milliseconds duration)
{
    QEventLoop loop;
    QTimer::singleShot(duration, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

QDBusMessage makeCall(const QString& method, const QVariantList& values)
{
    const InterfaceDescription daemon = Catalogue().powerDaemon();
    QDBusMessage call = QDBusMessage::createMethodCall(daemon.busName, daemon.objectPath, daemon.interfaceName, method);
    call.setArguments(values);
    return call;
}

/// A call that only the program of this run has.
QDBusMessage makeOwnCall(const QString& method)
{
    static const QString kService = Catalogue().powerDaemon().busName;
    return QDBusMessage::createMethodCall(kService, u"/endure"_s, u"com.quillmark.zelt.endure"_s, method);
}

/// Calls the daemon and waits. @return whether it answered with status 0, or without any
bool isDone(const QDBusMessage& call)
{
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kTimeoutMs);
    const bool isGood = reply.type() == QDBusMessage::ReplyMessage && reply.arguments().value(0, 0) == QVariant(0);
    if (!isGood) {
        printError(call.member() + u": "_s + reply.errorMessage());
    }
    return isGood;
}

/// Prints a table at once: the next may take long.
void print(const QString& table)
{
    std::fputs(table.toUtf8().constData(), stdout);
    std::fflush(stdout);
}

/// Part of the endurance run: something done many times to one daemon.
struct Exercise
{
    const char* name;
    const char* description;
    int count;
    std::function<bool(BenchServices&, int)> once; ///< does it once more. @return whether that went well
    std::function<int(int)> reboots;               ///< how many reboots so many times must have led to
};

bool rebootOnce(BenchServices&, int)
{
    static const QDBusMessage kCall = makeCall(u"Reboot"_s, {u"endure"_s});
    return isDone(kCall);
}

bool suspendOnce(BenchServices&, int)
{
    static const QDBusMessage kCall = makeCall(u"Suspend"_s, {u"2024-03-08 07:30:00"_s});
    return isDone(kCall);
}

/// In turn: soft, soft with a write that the store refuses, hard, and hard with one. Every refused write is another.
bool resetOnce(BenchServices& services, int number)
{
    constexpr int kWrites = 60; // fewer than the factory table has
    services.refuseWrite(number % 2 == 0 ? -1 : number / 4 % kWrites);
    return isDone(makeOwnCall(number % 4 < 2 ? u"soft"_s : u"hard"_s));
}

/// Through all charges; after some, waits until the daemon has served them.
bool broadcastOnce(BenchServices& services, int number)
{
    constexpr int kStep = 37; // three zones in turn, nearly always another one
    constexpr int kAtOnce = 200;
    services.broadcast(number * kStep % 101);
    static const QDBusMessage kCall = makeCall(u"CurrentPowerZone"_s, {});
    // On another connection, so that up to this many may still be on their way.
    return number % kAtOnce != 0 || isDone(kCall);
}

const Exercise kExercises[] = {
    {"suspends", "suspend, wake-up and reboot", 10'000, suspendOnce, [](int count) { return count; }},
    {"reboots", "reboot", 10'000, rebootOnce, [](int count) { return count; }},
    {"resets", "factory reset: soft or hard, every other one fails", 10'000, resetOnce,
     [](int count) { return count - (count + 2) / 4; }}, // a soft one that fails leads to none
    {"broadcasts", "status broadcast", 1'000'000, broadcastOnce, [](int) { return 0; }},
};

/// Adds a row to the table: what the daemon uses while it is idle. @return whether that can be told
bool addUsage(QString& table, const Program& daemon, int done)
{
    constexpr std::chrono::seconds kWatched = 5s;
    wait(2s);
    const qint64 before = daemon.voluntarySwitches();
    wait(kWatched);
    const qint64 wakeUps = (daemon.voluntarySwitches() - before) / kWatched.count();
    const qint64 held = daemon.memoryKilobytes("Private_Dirty"); // before anything more is asked of it
    const QDBusReply<qlonglong> allocated = QDBusConnection::sessionBus().call(makeOwnCall(u"allocated"_s));
    if (!allocated.isValid() || allocated.value() < 0) {
        printError(u"can't tell what is allocated: "_s + allocated.error().message());
        return false;
    }
    table += u"| %1 | %2 | %3 | %4 | %5 | %6 |\n"_s.arg(done)
                 .arg(allocated.value() / 1024)
                 .arg(held)
                 .arg(daemon.openDescriptors())
                 .arg(daemon.statusNumber("Threads"))
                 .arg(wakeUps);
    return true;
}

void showProgress(const Exercise& exercise, int done, int count, const QElapsedTimer& clock)
{
    const double minutes = static_cast<double>(clock.elapsed()) / 60'000 / done * (count - done);
    std::fprintf(stderr, "\r%s: %d of %d, %.0f min left ", exercise.name, done, count, minutes);
}

bool run(const Exercise& exercise, int percent)
{
    const int count = exercise.count / 100 * percent;
    BenchServices services;
    Program daemon(QStringLiteral(ENDURED_PROGRAM), {}, Catalogue().powerDaemon().busName);
    if (!services.start() || !daemon.start()) {
        return false;
    }
    QString table = u"| %1 | allocated, kB | Private_Dirty, kB | descriptors | threads | wake-ups a second |\n"
                    "|---|---:|---:|---:|---:|---:|\n"_s.arg(QLatin1StringView(exercise.name));
    if (!addUsage(table, daemon, 0)) {
        return false;
    }
    QElapsedTimer clock;
    clock.start();
    qint64 watched = 0;
    for (int number = 1; number <= count; ++number) {
        if (!exercise.once(services, number)) {
            return false;
        }
        if (number == count / 100 || number == count / 10 || number == count) {
            const qint64 begin = clock.elapsed();
            if (!addUsage(table, daemon, number)) {
                return false;
            }
            watched += clock.elapsed() - begin;
        }
        if (number % (count / 100) == 0) {
            showProgress(exercise, number, count, clock);
        }
    }
    std::fputc('\n', stderr);
    if (services.reboots() != exercise.reboots(count)) {
        printError(u"%1 reboots, expected %2"_s.arg(services.reboots()).arg(exercise.reboots(count)));
        return false;
    }
    table += u"\n%1 in %2 s.\n\n"_s.arg(count).arg((clock.elapsed() - watched) / 1000);
    print(table);
    return daemon.isRunning();
}

/// The bus itself.
qint64 busKilobytes()
{
    const QDBusReply<uint> pid = QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s,
                                       u"GetConnectionUnixProcessID"_s)
        << u"org.freedesktop.DBus"_s);
    return numberIn(u"/proc/%1/status"_s.arg(pid.value()), "VmHWM");
}

QString row(const QString& what, const QString& unit, double value)
{
    return u"| %1 | %2 | %3 |\n"_s.arg(what, unit).arg(value, 0, 'f', unit == u"s" ? 1 : 0);
}

/// The shipped daemon, while a status service floods it and a client asks for a reboot.
bool runFlood(int seconds, int rate)
{
    BenchServices services;
    Program daemon(QStringLiteral(POWERMANAGER_PROGRAM), {}, Catalogue().powerDaemon().busName);
    if (!services.start() || !daemon.start()) {
        return false;
    }
    wait(2s);
    QString table =
        u"| %1 broadcasts a second for %2 s, a reboot after a quarter of it | unit | value |\n|---|---|---:|\n"_s
            .arg(rate)
            .arg(seconds);
    const qint64 initial = daemon.statusNumber("VmRSS");
    table += row(u"memory before, VmRSS"_s, u"kB"_s, static_cast<double>(initial));
    QElapsedTimer clock;
    clock.start();
    qint64 sent = 0;
    double answered = 0;
    double asked = 0;
    QDBusPendingCallWatcher* watcher = nullptr;
    QObject context;
    qint64 nextSecond = 0;
    while (clock.elapsed() < qint64{seconds} * 1000) {
        // A machine that is too slow for the rate sends as many as it can.
        constexpr int kAtOnce = 100;
        for (int i = 0; i < kAtOnce && sent < clock.elapsed() * rate / 1000; ++i, ++sent) {
            services.broadcast(50);
        }
        if (watcher == nullptr && clock.elapsed() > qint64{seconds} * 250) {
            asked = static_cast<double>(clock.elapsed()) / 1000;
            watcher = new QDBusPendingCallWatcher(
                QDBusConnection::sessionBus().asyncCall(makeCall(u"Reboot"_s, {u"flood"_s}), kTimeoutMs), &context);
            const auto noteAnswer = [&clock, &answered] { answered = static_cast<double>(clock.elapsed()) / 1000; };
            QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &context, noteAnswer);
        }
        wait(1ms);
        if (clock.elapsed() / 1000 >= nextSecond) {
            nextSecond = clock.elapsed() / 1000 + 1;
            std::fprintf(stderr, "\rflood: %lld s of %d s, %lld sent, %lld kB ", clock.elapsed() / 1000, seconds, sent,
                         daemon.statusNumber("VmRSS"));
        }
    }
    const double lasted = static_cast<double>(clock.elapsed()) / 1000;
    services.broadcast(10); // another zone, behind all the others
    QString zone;
    while (clock.elapsed() < kTimeoutMs && zone != u"Critical"_s && daemon.isRunning()) {
        wait(100ms);
        zone = QDBusConnection::sessionBus()
                   .call(makeCall(u"CurrentPowerZone"_s, {}), QDBus::Block, kTimeoutMs)
                   .arguments()
                   .value(1)
                   .toString();
    }
    const double served = static_cast<double>(clock.elapsed()) / 1000;
    wait(12s); // the daemon returns memory 10 s after the reboot, which may just have ended
    std::fputc('\n', stderr);
    const qint64 highest = daemon.statusNumber("VmHWM");
    const qint64 left = daemon.statusNumber("VmRSS");
    table += row(u"broadcasts sent a second"_s, u"1/s"_s, static_cast<double>(sent) / lasted) +
             row(u"request for the reboot to its answer, of which its pauses take 7.5 s"_s, u"s"_s, answered - asked) +
             row(u"end of the flood until the last broadcast was served"_s, u"s"_s, served - lasted) +
             row(u"memory at its highest, VmHWM"_s, u"kB"_s, static_cast<double>(highest)) +
             row(u"memory 12 s later, VmRSS"_s, u"kB"_s, static_cast<double>(left)) +
             row(u"the bus's memory at its highest, VmHWM"_s, u"kB"_s, static_cast<double>(busKilobytes()));
    print(table + u'\n');
    if (left - initial > (highest - initial) / 2) {
        printError(u"the daemon keeps %1 kB of %2"_s.arg(left).arg(highest));
        return false;
    }
    return daemon.isRunning() && answered > 0 && services.reboots() == 1;
}

/// The shipped daemon, while one client asks for a reboot and then makes many calls at once.
bool runPending(int calls)
{
    BenchServices services;
    Program daemon(QStringLiteral(POWERMANAGER_PROGRAM), {}, Catalogue().powerDaemon().busName);
    if (!services.start() || !daemon.start()) {
        return false;
    }
    wait(2s);
    QString table = u"| %1 calls of one client during a reboot | unit | value |\n|---|---|---:|\n"_s.arg(calls);
    table += row(u"memory before, VmRSS"_s, u"kB"_s, static_cast<double>(daemon.statusNumber("VmRSS")));
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const QDBusMessage question = makeCall(u"IsActionsEnabled"_s, {});
    QElapsedTimer clock;
    clock.start();
    QDBusPendingCall reboot = bus.asyncCall(makeCall(u"Reboot"_s, {u"pending"_s}), kTimeoutMs);
    QList<QDBusPendingCall> pending;
    pending.reserve(calls);
    for (int i = 0; i < calls; ++i) {
        pending.append(bus.asyncCall(question, kTimeoutMs));
    }
    const double made = static_cast<double>(clock.elapsed());
    reboot.waitForFinished();
    const double answered = static_cast<double>(clock.elapsed());
    int good = 0;
    int refused = 0;
    for (QDBusPendingCall& call : pending) {
        call.waitForFinished();
        good += call.reply().arguments() == QVariantList{0, true} ? 1 : 0;
        refused += call.error().type() == QDBusError::LimitsExceeded ? 1 : 0;
    }
    table +=
        row(u"making them took"_s, u"ms"_s, made) +
        row(u"request for the reboot to its answer, of which its pauses take 7500 ms"_s, u"ms"_s, answered) +
        row(u"from then until the last call was answered"_s, u"ms"_s, static_cast<double>(clock.elapsed()) - answered) +
        row(u"calls answered rightly"_s, u"1"_s, good) + row(u"calls refused by the bus's limits"_s, u"1"_s, refused) +
        row(u"memory at its highest, VmHWM"_s, u"kB"_s, static_cast<double>(daemon.statusNumber("VmHWM"))) +
        row(u"the bus's memory at its highest, VmHWM"_s, u"kB"_s, static_cast<double>(busKilobytes()));
    print(table + u'\n');
    return daemon.isRunning() && good + refused == calls && reboot.reply().arguments() == QVariantList{0};
}

/// The mode-select input shows infrastructure mode, and there is an indicator.
bool prepareLines()
{
    for (const char* line : {"/gpio24", "/gpio134"}) {
        const QString folder = QStringLiteral(ZELT_GPIO_ROOT) + QLatin1StringView(line);
        QFile file(folder + u"/value");
        if (!QDir().mkpath(folder) || !file.open(QIODevice::WriteOnly) || file.write("0\n") < 0) {
            printError(file.fileName() + u": "_s + file.errorString());
            return false;
        }
    }
    return true;
}

QString describe()
{
    QString text = u"Does the same thing many times to one process of the power daemon's classes, whose pauses do not "
                   "wait, and prints what the process uses after 0, 1, 10 and 100 % of it; then what bad neighbours "
                   "do to the shipped daemon.\n\nRuns:\n"_s;
    for (const Exercise& exercise : kExercises) {
        text += u"  %1 %2 times: %3\n"_s.arg(QLatin1StringView(exercise.name), -11)
                    .arg(exercise.count)
                    .arg(QLatin1StringView(exercise.description));
    }
    return text + u"  flood       10,000 status broadcasts a second for a minute, and a reboot\n"
                  "  pending     1,000 calls of one client during a reboot\n"
                  "  many        60,000 calls likewise"_s;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.setApplicationDescription(describe());
    options.addHelpOption();
    options.addOption({u"percent"_s, u"Only so much of each run (default 100)."_s, u"N"_s, u"100"_s});
    options.addPositionalArgument(u"run"_s, u"Runs to make (default: all)."_s, u"[run...]"_s);
    options.process(application);
    const int percent = options.value(u"percent"_s).toInt();
    QStringList wanted = options.positionalArguments();
    if (percent < 1 || percent > 100) {
        printError(u"--percent expects a whole number from 1 to 100"_s);
        return 2;
    }
    QList<std::pair<QString, std::function<bool()>>> runs;
    for (const Exercise& exercise : kExercises) {
        runs.append({QString::fromLatin1(exercise.name), [&exercise, percent] { return run(exercise, percent); }});
    }
    runs.append({u"flood"_s, [percent] { return runFlood(60 * percent / 100 + 1, 10'000); }});
    runs.append({u"pending"_s, [] { return runPending(1000); }});
    runs.append({u"many"_s, [] { return runPending(60'000); }});
    QString error;
    PrivateBus bus;
    if (!bus.startAsSessionBus(&error) || !DeviceFiles(QStringLiteral(ZELT_ROOT)).prepare(&error)) {
        printError(error);
        return 1;
    }
    if (!prepareLines()) {
        return 1;
    }
    const bool isAll = wanted.isEmpty();
    for (const auto& [name, make] : std::as_const(runs)) {
        const bool isWanted = wanted.removeAll(name) > 0 || isAll;
        if (isWanted && !make()) {
            printError(name + u" failed"_s);
            return 1;
        }
    }
    if (!wanted.isEmpty()) {
        printError(wanted.constFirst() + u" is no run (--help lists them)"_s);
        return 2;
    }
    return 0;
}
