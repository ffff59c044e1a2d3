// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ChildProcess.h"
#include "Events.h"

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <memory>

class Timeline;

/// The power daemon as a child process: its log lines, its starts and its ends go to the timeline.
///
/// Cause before effect: what the daemon wrote before it called or signalled is in its pipe by the time the message has
/// come over the bus. So whatever else is about to be added to the timeline waits until the pipe was read.
class DaemonProcess : public QObject
{
    Q_OBJECT

public:
    DaemonProcess(const QString& program, Timeline& timeline, QObject* parent = nullptr);
    ~DaemonProcess() override;

    /// Starts it, unless it runs.
    void start();
    /// Asks it to end, and kills it if it has not within ten seconds. Does not wait: see ended().
    void stop();
    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] QString program() const;

Q_SIGNALS:
    /// It ended, or could not be started.
    /// @param status   exit status, or 128 and the signal's number, or -1 if it could not be started
    /// @param wasAsked whether stop() had been called
    void ended(int status, bool wasAsked);

private:
    Q_DISABLE_COPY_MOVE(DaemonProcess)

    /// Opens the pipe of the daemon's output. @return its write end; -1 if there is none
    [[nodiscard]] int openPipe();
    void closePipe();
    /// Moves what has been written to the timeline.
    void readLines();
    void addLine(const QByteArray& line);
    void onAboutToAdd(const events::Event& event);
    void onFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void onErrorOccurred(QProcess::ProcessError error);

    Timeline& m_timeline;
    ChildProcess m_process;
    std::unique_ptr<QSocketNotifier> m_output; ///< of the pipe's read end; null without a pipe
    QByteArray m_partialLine;
    QTimer m_killTimer;
    bool m_wasAsked = false;
};
