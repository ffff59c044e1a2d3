// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Program.h"

#include "EventJson.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Of a record that is played, compared with the recorded one.
constexpr double kLeastSpeed = 0.01;
constexpr double kMostSpeed = 1000;

void write(std::FILE* stream, const QByteArray& text)
{
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stream);
    std::fflush(stream);
}

} // namespace

Program::Program(const QCommandLineParser& options, FrontEndFactory frontEnd)
    : m_options(options),
      m_makeFrontEnd(std::move(frontEnd)),
      m_session(m_timeline, settings()),
      m_source(m_session.addSource())
{
    connect(&m_timeline, &Timeline::added, this, &Program::show);
    connect(&m_session, &Session::failed, this, &Program::onSessionFailed);
    connect(&m_session, &Session::ended, qApp, &QCoreApplication::quit);
    connect(&m_source, &ScenarioRunner::printed, this, &Program::print);
    connect(&m_source, &ScenarioRunner::idle, this, &Program::endIfDone);
    connect(&m_source, &ScenarioRunner::failed, this, [this](const QString& reason) {
        printError(reason);
        end(Failed);
    });
    connect(&m_signals, &TerminationSignals::received, this, [this] { end(Done); });
}

Session::Settings Program::settings() const
{
    return {QStringLiteral(ZELT_ROOT), QStringLiteral(ZELT_GPIO_ROOT), m_options.values(u"without"_s),
            m_options.isSet(u"run"_s) ? std::optional(m_options.value(u"run"_s)) : std::nullopt};
}

bool Program::begin()
{
    if (!readOptions() || !loadScenarios() || !loadRecord() || !beginTable()) {
        m_status = BadInput;
        return false;
    }
    if (!beginFrontEnd()) {
        m_status = NotStarted;
        return false;
    }
    QString error;
    if (!m_session.start(&error)) {
        printError(error);
        m_status = NotStarted;
        return false;
    }
    const bool isInputWanted = m_options.positionalArguments().isEmpty() && !m_replay && !m_frontEnd;
    if (isInputWanted || m_options.positionalArguments().contains(u"-"_s)) {
        m_input = std::make_unique<StandardInput>();
        connect(m_input.get(), &StandardInput::line, this, &Program::readLine);
        connect(m_input.get(), &StandardInput::ended, this, &Program::endIfDone);
    }
    return true;
}

int Program::status() const
{
    return m_status;
}

void Program::printError(const QString& text)
{
    write(stderr, "device-simulator: " + text.toLocal8Bit() + '\n');
}

bool Program::readOptions()
{
    bool isNumber = false;
    const QString level = m_options.value(u"level"_s);
    m_format.maxLogLevel = level.toInt(&isNumber);
    m_format.showFullPlace = m_options.isSet(u"full"_s);
    m_isJson = m_options.isSet(u"json"_s);
    if (!isNumber || m_format.maxLogLevel < 0 || m_format.maxLogLevel > 9) {
        printError(u"--level: found \""_s + level + u"\", expected a log level, 0 to 9"_s);
        return false;
    }
    (void)m_options.value(u"port"_s).toUShort(&isNumber);
    if (!isNumber) {
        printError(u"--port: found \""_s + m_options.value(u"port"_s) + u"\", expected a number from 0 to 65535"_s);
        return false;
    }
    if (m_options.isSet(u"scenarios"_s) && !QFileInfo(m_options.value(u"scenarios"_s)).isDir()) {
        printError(u"--scenarios: found \""_s + m_options.value(u"scenarios"_s) + u"\", expected a folder"_s);
        return false;
    }
    const QStringList without = m_options.values(u"without"_s);
    for (const QString& service : without) {
        if (m_session.simulator().service(service) == nullptr) {
            printError(u"--without: found \""_s + service + u"\", expected one of "_s +
                       m_session.simulator().catalogue().serviceNames().join(u", "_s));
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
        if (!m_source.load(QString::fromUtf8(file.readAll()), name, 1, &error)) {
            printError(error);
            return false;
        }
    }
    return true;
}

bool Program::loadRecord()
{
    const QString speedText = m_options.value(u"speed"_s);
    const double speed = speedText.toDouble();
    if (!(speed >= kLeastSpeed && speed <= kMostSpeed)) {
        printError(u"--speed: found \""_s + speedText + u"\", expected a number from "_s +
                   QString::number(kLeastSpeed) + u" to "_s + QString::number(kMostSpeed));
        return false;
    }
    if (!m_options.isSet(u"replay"_s)) {
        return true;
    }
    QString error;
    const std::optional<Record> record =
        Record::read(m_options.value(u"replay"_s), m_session.simulator().catalogue(), &error);
    if (!record) {
        printError(error);
        return false;
    }
    m_replay = std::make_unique<Replay>(m_session.simulator(), *record, speed);
    connect(&m_session, &Session::ready, m_replay.get(), &Replay::start);
    connect(m_replay.get(), &Replay::finished, this, &Program::endIfDone);
    return true;
}

bool Program::beginFrontEnd()
{
    if (!m_makeFrontEnd) {
        return true;
    }
    QString announcement;
    QString error;
    m_frontEnd = m_makeFrontEnd(m_session, m_options, &announcement, &error);
    if (!m_frontEnd) {
        printError(error);
        return false;
    }
    print(announcement + u'\n');
    return true;
}

bool Program::beginTable()
{
    if (!m_options.isSet(u"csv"_s)) {
        return true;
    }
    QString error;
    m_table = std::make_unique<RunTable>(m_session.simulator());
    const bool isOpen = m_table->open(m_options.value(u"csv"_s), &error);
    if (!isOpen) {
        printError(u"--csv: "_s + error);
    }
    return isOpen;
}

void Program::show(const Timeline::Entry& entry)
{
    if (m_isJson) {
        write(stdout, eventjson::toLine(entry) + '\n');
        return;
    }
    const QString line = m_format.format(entry);
    if (!line.isEmpty()) {
        write(stdout, line.toLocal8Bit() + '\n');
    }
}

void Program::print(const QString& text)
{
    // A reader of JSON gets nothing else.
    write(m_isJson ? stderr : stdout, text.toLocal8Bit());
}

void Program::readLine(const QString& text, int number)
{
    QString error;
    if (m_source.load(text, u"standard input"_s, number, &error)) {
        return;
    }
    printError(error);
    // A person at a terminal simply types the line again.
    if (!StandardInput::isTerminal()) {
        end(BadInput);
    }
}

void Program::onSessionFailed(Session::Failure failure, const QString& reason)
{
    if (m_isEnding && m_status != Done) {
        return; // the first reason counts
    }
    printError(reason);
    const Status status = failure == Session::Failure::NotStarted ? NotStarted : Failed;
    if (m_frontEnd && m_session.isReady() && !m_isEnding) {
        m_timeline.note(reason);
    } else if (m_isEnding) {
        m_status = status;
    } else {
        end(status);
    }
}

void Program::endIfDone()
{
    const bool hasInput = (m_input && m_input->isOpen()) || (m_replay && m_replay->isRunning());
    if (m_session.isReady() && m_source.isIdle() && !hasInput && !m_options.isSet(u"stay"_s) && !m_frontEnd) {
        end(Done);
    }
}

void Program::end(Status status)
{
    if (m_isEnding) {
        return;
    }
    m_isEnding = true;
    m_status = status;
    if (m_input) {
        m_input->stop();
    }
    m_session.end();
}
