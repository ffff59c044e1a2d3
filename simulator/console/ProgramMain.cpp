// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ProgramMain.h"

#include "PrivateBus.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char kDescription[] =
    "Plays all services of the device around the power daemon on the session bus, and shows what happens as one\n"
    "timeline. What is done to the device comes as lines of a small language, from scenario files or from standard\n"
    "input.\n"
    "\n"
    "Examples:\n"
    "  device-simulator --private-bus --run ./powermanager battery-day.scenario\n"
    "      plays a scenario against the power daemon on a bus of its own\n"
    "  device-simulator --private-bus --run ./powermanager\n"
    "      the same by hand; type for example:\n"
    "        volume 90\n"
    "        charge 12\n"
    "        expect volume 40\n"
    "        help\n"
    "  device-simulator --private-bus --run ./powermanager --replay day.jsonl --speed 10\n"
    "      plays what was recorded on a device, or by --json, ten times as fast\n"
    "  device-simulator --private-bus --run ./powermanager --page\n"
    "      the device in a browser\n"
    "  device-simulator --without soundmanager --stay battery.scenario\n"
    "      all services but the sound manager, on the session bus, until SIGTERM\n"
    "\n"
    "Exit status: 0 done; 1 an expectation did not come true, or the power daemon did not come up, ended on its\n"
    "own or with another status than 0; 2 a wrong option or line; 3 no session bus, a service's name is taken, or\n"
    "the power daemon can't be started.";

void addOptions(QCommandLineParser& options)
{
    options.setApplicationDescription(QString::fromUtf8(kDescription));
    options.addHelpOption();
    options.addVersionOption();
    options.addOptions({
        {u"run"_s, u"Starts the power daemon PROGRAM once the services are up, and stops it at the end."_s,
         u"PROGRAM"_s},
        {u"private-bus"_s, u"Starts a bus of its own for itself and the power daemon, and ends it at the end."_s},
        {u"without"_s, u"Leaves SERVICE out (soundmanager, say), so that a real one can take its place. Repeatable."_s,
         u"SERVICE"_s},
        {u"stay"_s, u"Stays after the scenarios or the end of standard input, until SIGINT, SIGTERM or SIGHUP."_s},
        {u"replay"_s,
         u"Plays the record FILE (docs/events.md): the services answer as they did, and their signals come in their "
         u"time. "
         "The run ends with the record."_s,
         u"FILE"_s},
        {u"speed"_s, u"Plays the record N times as fast (default 1)."_s, u"N"_s, u"1"_s},
        {u"level"_s, u"Shows the power daemon's log lines up to LEVEL only (default 9: all)."_s, u"LEVEL"_s, u"9"_s},
        {u"full"_s, u"Shows log lines with object path, source file, line and the function's whole signature."_s},
        {u"json"_s, u"Shows every event, whole, as a line of JSON instead (docs/events.md)."_s},
        {u"page"_s,
         u"Shows the device in a browser, at the address that it prints, and lets one operate it there. Stays as with "
         "--stay, and reads standard input only if \"-\" is named."_s},
        {u"port"_s, u"The page's port on 127.0.0.1 (default 0: any that is free)."_s, u"PORT"_s, u"0"_s},
        {u"scenarios"_s,
         u"The folder of scenarios that the page plays and writes (default: the one of the installation)."_s,
         u"FOLDER"_s},
        {u"csv"_s,
         u"Writes the run to FILE as comma-separated values, a row a second: time, load of this machine's CPU, "
         "frequency of the device, last command."_s,
         u"FILE"_s},
    });
    options.addPositionalArgument(u"scenario"_s, u"Files with commands; \"-\", or none: standard input."_s,
                                  u"[scenario...]"_s);
}

/// The program with the page goes on in this one's place: without a page, this one does not load what serves it.
void becomePageProgram(char** argv)
{
    const QString folder = QCoreApplication::applicationDirPath();
    const QString besides = folder + u"/device-simulator-page"_s; // in a build folder
    const QString program = QFileInfo::exists(besides) ? besides : folder + QStringLiteral("/" PAGE_PROGRAM);
    ::execv(QFile::encodeName(program).constData(), argv);
    Program::printError(u"--page: can't start "_s + program + u": "_s + qt_error_string());
}

} // namespace

int runProgram(int argc, char** argv, const FrontEndFactory& page)
{
    TerminationSignals::block();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"device-simulator"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION));

    QCommandLineParser options;
    addOptions(options);
    if (!options.parse(QCoreApplication::arguments())) {
        Program::printError(options.errorText() + u" (--help lists the options)"_s);
        return Program::BadInput;
    }
    if (options.isSet(u"help"_s)) {
        options.showHelp();
    }
    if (options.isSet(u"version"_s)) {
        options.showVersion();
    }

    if (options.isSet(u"page"_s) && !page) {
        becomePageProgram(argv);
        return Program::NotStarted;
    }

    PrivateBus bus;
    QString error;
    if (options.isSet(u"private-bus"_s) && !bus.startAsSessionBus(&error)) {
        Program::printError(error);
        return Program::NotStarted;
    }
    Program program(options, options.isSet(u"page"_s) ? page : FrontEndFactory());
    if (program.begin()) {
        QCoreApplication::exec();
    }
    return program.status();
}
