// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcess>

#include <csignal>
#include <functional>

/// A child process that ends when this object does, and when our own process does, however that comes about. It has a
/// session of its own, so that a terminal's Ctrl-C reaches only us, and starts with no signal blocked.
class ChildProcess : public QProcess
{
public:
    /// @param lastSignal ends it when our own process has ended without ending it
    explicit ChildProcess(int lastSignal = SIGKILL);
    ~ChildProcess() override;

    /// Has a function run in the child before its program is loaded; it may call what is safe in a signal handler only.
    void setInChild(const std::function<void()>& function);

private:
    Q_DISABLE_COPY_MOVE(ChildProcess)

    int m_lastSignal;
};
