// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QProcess>
#include <QTimer>

class Timeline;

/// The power daemon as a child process: its log lines and its comings and goings go to the timeline.
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

Q_SIGNALS:
    /// It ended, or could not be started.
    /// @param status   exit status, or 128 and the signal's number, or -1 where it could not be started
    /// @param wasAsked whether stop() had been called
    void ended(int status, bool wasAsked);

private:
    Q_DISABLE_COPY_MOVE(DaemonProcess)

    void readLines();
    void onFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void onErrorOccurred(QProcess::ProcessError error);

    Timeline& m_timeline;
    QProcess m_process;
    QTimer m_killTimer;
    bool m_wasAsked = false;
};
