// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DaemonProcess.h"
#include "RunTable.h"
#include "ScenarioRunner.h"
#include "Simulator.h"
#include "TimelineText.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>

#include <sys/signalfd.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Exit statuses.
constexpr int kDone = 0;
constexpr int kFailed = 1;   ///< an expectation did not come true, or the power daemon failed
constexpr int kBadInput = 2; ///< an option or a line is wrong
constexpr int kNoGround = 3; ///< no session bus, a name taken, a program that can't be started

/// How long the device takes from restart to the start of its daemons; the real one takes longer.
constexpr std::chrono::milliseconds kBootTime(1000);

/// How long the power daemon may take from its start to its name on the bus.
constexpr std::chrono::seconds kStartTime(30);

constexpr char kDescription[] =
    "Plays all services of the device around the power daemon on the session bus, and shows what happens as one\n"
    "timeline. What is done to the device comes as lines of a small language, from scenario files or from standard\n"
    "input.\n"
    "\n"
    "Examples:\n"
    "  dbus-run-session -- device-simulator --run ./powermanager battery-day.scenario\n"
    "      plays a scenario against the power daemon on a private bus\n"
    "  dbus-run-session -- device-simulator --run ./powermanager\n"
    "      the same by hand; type for example:\n"
    "        volume 90\n"
    "        charge 12\n"
    "        expect volume 40\n"
    "        help\n"
    "  device-simulator --without soundmanager --stay battery.scenario\n"
    "      all services but the sound manager, on the bus one has, until SIGTERM\n"
    "\n"
    "Exit status: 0 done; 1 an expectation did not come true, or the power daemon did not come up, ended on its\n"
    "own or with another status than 0; 2 a wrong option or line; 3 no session bus, a service's name is taken, or\n"
    "the power daemon can't be started.";

void printError(const QString& text)
{
    std::fprintf(stderr, "device-simulator: %s\n", qPrintable(text));
}

void printOut(const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

/// The program: options, input, and the end.
class Program : public QObject
{
public:
    explicit Program(const QCommandLineParser& options);

    /// @return whether the event loop is to run; where not, status() tells how it went
    [[nodiscard]] bool begin();
    [[nodiscard]] int status() const;

private:
    Q_DISABLE_COPY_MOVE(Program)

    [[nodiscard]] bool loadScenarios();
    [[nodiscard]] bool readOptions();
    [[nodiscard]] bool beginTable();
    void watchSignals();
    void beginLines();
    void readStandardInput();
    void takeInput(const QByteArray& bytes);
    void onDaemonEnded(int status, bool wasAsked);
    /// The device loses its power, and gets it back where it restarts.
    void endOfPower(bool isRestart);
    void endIfDone();
    /// Ends the program; the first reason counts.
    void end(int status);

    const QCommandLineParser& m_options;
    TimelineText m_format;
    Timeline m_timeline;
    Simulator m_simulator;
    std::unique_ptr<DaemonProcess> m_daemon;
    std::unique_ptr<ScenarioRunner> m_runner;
    std::unique_ptr<RunTable> m_table;
    std::unique_ptr<QSocketNotifier> m_input;
    std::unique_ptr<QSocketNotifier> m_signals;
    QByteArray m_partialLine;
    int m_inputLine = 1;
    bool m_hasBegun = false; ///< the lines are being carried out
    int m_status = kDone;
    bool m_isRestarting = false; ///< the daemon was ended by a restart of the device
    bool m_isEnding = false;
};

Program::Program(const QCommandLineParser& options)
    : m_options(options), m_simulator(m_timeline, QStringLiteral(ZELT_ROOT), QStringLiteral(ZELT_GPIO_ROOT))
{
    connect(&m_timeline, &Timeline::added, this, [this](const Timeline::Entry& entry) {
        const QString line = m_format.format(entry);
        printOut(line.isEmpty() ? line : line + u'\n');
    });
}

bool Program::begin()
{
    if (!readOptions()) {
        m_status = kBadInput;
        return false;
    }
    if (m_options.isSet(u"run"_s)) {
        m_daemon = std::make_unique<DaemonProcess>(m_options.value(u"run"_s), m_timeline);
        connect(m_daemon.get(), &DaemonProcess::ended, this, &Program::onDaemonEnded);
    }
    m_runner = std::make_unique<ScenarioRunner>(m_simulator, m_daemon.get());
    connect(&m_simulator, &Simulator::rebootRequested, this, [this] { endOfPower(true); });
    connect(&m_simulator, &Simulator::shutdownRequested, this, [this] { endOfPower(false); });
    connect(m_runner.get(), &ScenarioRunner::printed, this, &printOut);
    connect(m_runner.get(), &ScenarioRunner::idle, this, &Program::endIfDone);
    connect(m_runner.get(), &ScenarioRunner::failed, this, [this](const QString& reason) {
        printError(reason);
        end(kFailed);
    });
    if (!loadScenarios() || !beginTable()) {
        m_status = kBadInput;
        return false;
    }
    QString error;
    if (!m_simulator.start(m_options.values(u"without"_s), &error)) {
        printError(error);
        m_status = kNoGround;
        return false;
    }
    watchSignals();
    if (!m_simulator.prepareFiles(&error)) {
        m_timeline.note(error + u": the power daemon will miss it"_s);
    }
    m_timeline.note(u"the device's services are on the bus"_s);
    if (m_daemon) {
        // What is done to the device is meant for a daemon that is there.
        connect(&m_simulator.powerDaemon(), &PowerDaemonClient::up, this, &Program::beginLines,
                Qt::SingleShotConnection);
        m_daemon->start();
        QTimer::singleShot(kStartTime, this, [this] {
            if (!m_hasBegun && !m_isEnding) {
                printError(m_options.value(u"run"_s) + u" has not taken the power daemon's name on the bus within "_s +
                           QString::number(kStartTime.count()) + u" s"_s);
                end(kFailed);
            }
        });
    } else {
        beginLines();
    }
    if (m_options.positionalArguments().isEmpty() || m_options.positionalArguments().contains(u"-"_s)) {
        m_input = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        connect(m_input.get(), &QSocketNotifier::activated, this, &Program::readStandardInput);
    }
    return true;
}

int Program::status() const
{
    return m_status;
}

bool Program::readOptions()
{
    bool isNumber = false;
    const QString level = m_options.value(u"level"_s);
    m_format.maxLogLevel = level.toInt(&isNumber);
    m_format.showFullPlace = m_options.isSet(u"full"_s);
    if (!isNumber || m_format.maxLogLevel < 0 || m_format.maxLogLevel > 9) {
        printError(u"--level: found \""_s + level + u"\", expected a log level, 0 to 9"_s);
        return false;
    }
    const QStringList without = m_options.values(u"without"_s);
    for (const QString& service : without) {
        if (m_simulator.service(service) == nullptr) {
            printError(u"--without: found \""_s + service + u"\", expected one of "_s +
                       m_simulator.catalogue().serviceNames().join(u", "_s));
            return false;
        }
    }
    return true;
}

bool Program::loadScenarios()
{
    const QStringList names = m_options.positionalArguments();
    for (const QString& name : names) {
        if (name == u"-") {
            continue; // standard input
        }
        QFile file(name);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            printError(name + u": "_s + file.errorString());
            return false;
        }
        QString error;
        if (!m_runner->load(QString::fromUtf8(file.readAll()), name, 1, &error)) {
            printError(error);
            return false;
        }
    }
    return true;
}

bool Program::beginTable()
{
    if (!m_options.isSet(u"csv"_s)) {
        return true;
    }
    QString error;
    m_table = std::make_unique<RunTable>(m_simulator);
    const bool isOpen = m_table->open(m_options.value(u"csv"_s), &error);
    if (!isOpen) {
        printError(u"--csv: "_s + error);
    }
    return isOpen;
}

void Program::watchSignals()
{
    sigset_t signalSet;
    sigemptyset(&signalSet);
    sigaddset(&signalSet, SIGINT);
    sigaddset(&signalSet, SIGTERM);
    m_signals = std::make_unique<QSocketNotifier>(signalfd(-1, &signalSet, SFD_CLOEXEC), QSocketNotifier::Read);
    connect(m_signals.get(), &QSocketNotifier::activated, this, [this] {
        m_signals->setEnabled(false);
        end(kDone);
    });
}

void Program::beginLines()
{
    m_hasBegun = true;
    m_runner->run();
}

void Program::readStandardInput()
{
    std::array<char, 4096> buffer = {};
    const ssize_t length = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR) {
        return;
    }
    if (length > 0) {
        takeInput(QByteArray(buffer.data(), static_cast<qsizetype>(length)));
    } else {
        takeInput("\n"); // a last line without an end
        m_input.reset();
        endIfDone();
    }
}

void Program::takeInput(const QByteArray& bytes)
{
    m_partialLine += bytes;
    qsizetype lineEnd = 0;
    while ((lineEnd = m_partialLine.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(m_partialLine.left(lineEnd));
        m_partialLine.remove(0, lineEnd + 1);
        QString error;
        if (m_runner->load(line, u"standard input"_s, m_inputLine++, &error)) {
            if (m_hasBegun) {
                m_runner->run();
            }
            continue;
        }
        printError(error);
        // A person at a terminal simply types the line again.
        if (::isatty(STDIN_FILENO) == 0) {
            end(kBadInput);
            return;
        }
    }
}

void Program::onDaemonEnded(int status, bool wasAsked)
{
    if (m_isEnding) {
        if (status != 0 && m_status == kDone) {
            printError(u"the power daemon ended with status "_s + QString::number(status));
            m_status = kFailed;
        }
        QCoreApplication::exit();
    } else if (status < 0) {
        printError(u"can't start "_s + m_options.value(u"run"_s));
        end(kNoGround);
    } else if (wasAsked && status != 0) {
        // A restart of the device asks, too.
        printError(u"the power daemon was asked to end, and ended with status "_s + QString::number(status));
        end(kFailed);
    } else if (m_isRestarting) {
        m_isRestarting = false;
        m_simulator.restartDevice();
        QTimer::singleShot(kBootTime, m_daemon.get(), &DaemonProcess::start);
    } else if (!wasAsked) {
        printError(u"the power daemon ended on its own, with status "_s + QString::number(status));
        end(kFailed);
    }
}

void Program::endOfPower(bool isRestart)
{
    m_timeline.note(isRestart ? u"the device restarts"_s : u"the device is off"_s);
    if (m_daemon) {
        m_isRestarting = isRestart;
        m_daemon->stop();
    } else {
        m_simulator.restartDevice();
    }
}

void Program::endIfDone()
{
    if (m_hasBegun && m_runner->isIdle() && !m_input && !m_options.isSet(u"stay"_s)) {
        end(kDone);
    }
}

void Program::end(int status)
{
    if (m_isEnding) {
        return;
    }
    m_isEnding = true;
    m_status = m_status == kDone ? status : m_status;
    m_input.reset();
    if (m_daemon && m_daemon->isRunning()) {
        m_daemon->stop(); // onDaemonEnded() goes on
    } else {
        // Queued: before the event loop runs, it would be lost.
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    }
}

/// Termination signals are read from a descriptor; blocked before any thread starts, so that none is delivered.
void blockTerminationSignals()
{
    sigset_t signalSet;
    sigemptyset(&signalSet);
    sigaddset(&signalSet, SIGINT);
    sigaddset(&signalSet, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signalSet, nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    blockTerminationSignals();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"device-simulator"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION));

    QCommandLineParser options;
    options.setApplicationDescription(QString::fromUtf8(kDescription));
    options.addHelpOption();
    options.addVersionOption();
    options.addOptions({
        {u"run"_s, u"Starts the power daemon PROGRAM once the services are up, and stops it at the end."_s,
         u"PROGRAM"_s},
        {u"without"_s, u"Leaves SERVICE out (soundmanager, say), so that a real one can take its place. Repeatable."_s,
         u"SERVICE"_s},
        {u"stay"_s, u"Stays after the scenarios or the end of standard input, until SIGINT or SIGTERM."_s},
        {u"level"_s, u"Shows the power daemon's log lines up to LEVEL only (default 9: all)."_s, u"LEVEL"_s, u"9"_s},
        {u"csv"_s,
         u"Writes the run to FILE as comma-separated values, a row a second: time, load of this machine's CPU, "
         "frequency of the device, last command."_s,
         u"FILE"_s},
        {u"full"_s, u"Shows log lines with source file, line and the function's whole signature."_s},
    });
    options.addPositionalArgument(u"scenario"_s, u"Files with commands; \"-\", or none: standard input."_s,
                                  u"[scenario...]"_s);
    if (!options.parse(QCoreApplication::arguments())) {
        printError(options.errorText() + u" (--help lists the options)"_s);
        return kBadInput;
    }
    if (options.isSet(u"help"_s)) {
        options.showHelp();
    }
    if (options.isSet(u"version"_s)) {
        options.showVersion();
    }

    Program program(options);
    if (program.begin()) {
        QCoreApplication::exec();
    }
    return program.status();
}
