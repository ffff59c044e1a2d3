// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DaemonProcess.h"

#include "Timeline.h"

#include <QRegularExpression>

#include <chrono>
#include <csignal>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

DaemonProcess::DaemonProcess(const QString& program, Timeline& timeline, QObject* parent)
    : QObject(parent), m_timeline(timeline), m_process(this), m_killTimer(this)
{
    m_process.setProgram(program);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardInputFile(QProcess::nullDevice());
    // Our own blocked termination signals are not the daemon's.
    m_process.setChildProcessModifier([] {
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
    });
    m_killTimer.setSingleShot(true);
    m_killTimer.setInterval(10s);
    connect(&m_killTimer, &QTimer::timeout, &m_process, &QProcess::kill);
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &DaemonProcess::readLines);
    connect(&m_process, &QProcess::finished, this, &DaemonProcess::onFinished);
    connect(&m_process, &QProcess::errorOccurred, this, &DaemonProcess::onErrorOccurred);
}

DaemonProcess::~DaemonProcess()
{
    // Nothing of it may outlive us, whatever way we end.
    m_process.disconnect(this);
    m_process.kill();
    m_process.waitForFinished();
}

void DaemonProcess::start()
{
    if (isRunning()) {
        return;
    }
    m_wasAsked = false;
    m_timeline.add(Timeline::Kind::Process, u"started"_s, {m_process.program()});
    m_process.start();
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

void DaemonProcess::readLines()
{
    static const QRegularExpression kLogLine(u"^(?:<\\d>)?(\\d+) (/\\S*) (.*)$"_s);
    while (m_process.canReadLine()) {
        QString line = QString::fromLocal8Bit(m_process.readLine());
        line.chop(1);
        const QRegularExpressionMatch match = kLogLine.match(line);
        if (match.hasMatch()) {
            m_timeline.addLogLine(match.captured(1).toInt(), match.captured(3));
        } else {
            m_timeline.add(Timeline::Kind::Output, line);
        }
    }
}

void DaemonProcess::onFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    m_killTimer.stop();
    readLines();
    const int status = exitStatus == QProcess::NormalExit ? exitCode : 128 + exitCode;
    m_timeline.add(Timeline::Kind::Process, u"ended"_s, {QString::number(status)});
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
