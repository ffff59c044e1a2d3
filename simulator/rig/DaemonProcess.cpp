// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DaemonProcess.h"

#include "Timeline.h"

#include <array>
#include <chrono>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

DaemonProcess::DaemonProcess(const QString& program, Timeline& timeline, QObject* parent)
    : QObject(parent), m_timeline(timeline), m_killTimer(this)
{
    m_process.setProgram(program);
    m_process.setProcessChannelMode(QProcess::ForwardedChannels); // our own pipe takes their place
    m_killTimer.setSingleShot(true);
    m_killTimer.setInterval(10s);
    connect(&m_killTimer, &QTimer::timeout, &m_process, &QProcess::kill);
    connect(&m_process, &QProcess::finished, this, &DaemonProcess::onFinished);
    connect(&m_process, &QProcess::errorOccurred, this, &DaemonProcess::onErrorOccurred);
    connect(&timeline, &Timeline::aboutToAdd, this, &DaemonProcess::onAboutToAdd);
}

DaemonProcess::~DaemonProcess()
{
    m_process.disconnect(this);
    closePipe();
}

void DaemonProcess::start()
{
    if (isRunning()) {
        return;
    }
    m_wasAsked = false;
    m_timeline.add(events::Process{events::Process::State::Started, m_process.program()});
    const int writeEnd = openPipe();
    m_process.setInChild([writeEnd] {
        (void)dup2(writeEnd, STDOUT_FILENO);
        (void)dup2(writeEnd, STDERR_FILENO);
    });
    m_process.start();
    ::close(writeEnd);
}

void DaemonProcess::stop()
{
    if (isRunning()) {
        m_wasAsked = true;
        m_process.terminate();
        m_killTimer.start();
    }
}

bool DaemonProcess::isRunning() const
{
    return m_process.state() != QProcess::NotRunning;
}

QString DaemonProcess::program() const
{
    return m_process.program();
}

int DaemonProcess::openPipe()
{
    closePipe();
    std::array<int, 2> ends = {-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0 || fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) {
        qFatal("no pipe for the power daemon: %s", qPrintable(qt_error_string()));
    }
    m_output = std::make_unique<QSocketNotifier>(ends[0], QSocketNotifier::Read);
    connect(m_output.get(), &QSocketNotifier::activated, this, &DaemonProcess::readLines);
    return ends[1];
}

void DaemonProcess::closePipe()
{
    if (m_output) {
        const auto readEnd = static_cast<int>(m_output->socket());
        m_output.reset();
        ::close(readEnd);
    }
}

void DaemonProcess::readLines()
{
    if (!m_output) {
        return;
    }
    std::array<char, 65536> buffer = {};
    ssize_t length = 0;
    while ((length = ::read(static_cast<int>(m_output->socket()), buffer.data(), buffer.size())) > 0) {
        m_partialLine.append(buffer.data(), length);
    }
    if (length == 0) {
        m_output->setEnabled(false); // the end; it would be announced again and again
    }
    // Taken out one by one: what hears of an added line may come back here.
    for (qsizetype end = 0; (end = m_partialLine.indexOf('\n')) >= 0;) {
        const QByteArray line = m_partialLine.left(end);
        m_partialLine.remove(0, end + 1);
        addLine(line);
    }
}

void DaemonProcess::addLine(const QByteArray& line)
{
    const QString text = QString::fromLocal8Bit(line);
    if (const std::optional<LogLine> log = LogLine::parse(text)) {
        m_timeline.add(*log);
    } else {
        m_timeline.add(events::Output{text});
    }
}

void DaemonProcess::onAboutToAdd(const events::Event& event)
{
    // Its own lines are what comes first.
    if (!std::holds_alternative<LogLine>(event) && !std::holds_alternative<events::Output>(event)) {
        readLines();
    }
}

void DaemonProcess::onFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    m_killTimer.stop();
    readLines();
    if (!m_partialLine.isEmpty()) {
        addLine(std::exchange(m_partialLine, {})); // a last line without an end
    }
    closePipe();
    const int status = exitStatus == QProcess::NormalExit ? exitCode : 128 + exitCode;
    m_timeline.add(events::Process{events::Process::State::Ended, QString::number(status)});
    Q_EMIT ended(status, m_wasAsked);
}

void DaemonProcess::onErrorOccurred(QProcess::ProcessError error)
{
    // Everything else is followed by finished().
    if (error == QProcess::FailedToStart) {
        m_timeline.note(u"can't start "_s + m_process.program() + u": "_s + m_process.errorString());
        Q_EMIT ended(-1, m_wasAsked);
    }
}
