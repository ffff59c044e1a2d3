// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Replay.h"
#include "RunTable.h"
#include "Session.h"
#include "StandardInput.h"
#include "TerminationSignals.h"
#include "TimelineText.h"

#include <QObject>

#include <functional>
#include <memory>

class QCommandLineParser;

/// Makes another front end of the program's session.
/// @param announcement a line for a person, e.g. where it is to be found
/// @return null if that failed; *error says why
using FrontEndFactory = std::function<std::unique_ptr<QObject>(Session& session, const QCommandLineParser& options,
                                                               QString* announcement, QString* error)>;

/// The simulator's program: a session with one source of lines, the scenario files and standard input, a record that is
/// played, and the timeline on standard output. A failed line ends it; so does a wrong one, unless a person typed it.
///
/// With another front end, it stays until a signal: a power daemon that fails is reported, and can be started again.
class Program : public QObject
{
    Q_OBJECT

public:
    /// Exit statuses.
    enum Status
    {
        Done = 0,
        Failed = 1,     ///< an expectation did not come true, or the power daemon failed
        BadInput = 2,   ///< an option or a line is wrong
        NotStarted = 3, ///< no session bus, a name taken, a program that can't be started
    };

    /// @param options must outlive the program
    /// @param frontEnd makes the other front end; empty: there is none
    Program(const QCommandLineParser& options, FrontEndFactory frontEnd);

    /// @return whether the event loop is to run; if not, status() says how it went
    [[nodiscard]] bool begin();
    [[nodiscard]] int status() const;

    /// "device-simulator: ..." on standard error.
    static void printError(const QString& text);

private:
    Q_DISABLE_COPY_MOVE(Program)

    [[nodiscard]] bool readOptions();
    [[nodiscard]] bool loadScenarios();
    [[nodiscard]] bool beginTable();
    [[nodiscard]] bool loadRecord();
    [[nodiscard]] bool beginFrontEnd();
    [[nodiscard]] Session::Settings settings() const;
    void show(const Timeline::Entry& entry);
    void print(const QString& text);
    void readLine(const QString& text, int number);
    void onSessionFailed(Session::Failure failure, const QString& reason);
    void endIfDone();
    /// Ends the program; the first reason counts.
    void end(Status status);

    const QCommandLineParser& m_options;
    FrontEndFactory m_makeFrontEnd;
    TimelineText m_format;
    bool m_isJson = false;
    Timeline m_timeline;
    Session m_session;
    ScenarioRunner& m_source;
    std::unique_ptr<QObject> m_frontEnd;
    std::unique_ptr<RunTable> m_table;
    std::unique_ptr<Replay> m_replay;
    std::unique_ptr<StandardInput> m_input;
    TerminationSignals m_signals;
    Status m_status = Done;
    bool m_isEnding = false;
};
