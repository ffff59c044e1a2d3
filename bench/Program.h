// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ChildProcess.h"

#include <QDBusMessage>
#include <QString>
#include <QStringList>

#include <optional>

/// Prepares a program for measurement: it will run on the CPU of all measured programs.
void prepareMeasured(ChildProcess& process);

/// The number after "FIELD:" in a file of /proc, or at its beginning if field is empty; 0 if there is none.
[[nodiscard]] qint64 numberIn(const QString& path, const QByteArray& field);

/// A program under measurement: a child process that serves a name on the session bus. Its output is discarded. It ends
/// with this object, or with this process, even if that crashes. All of them run on one CPU, the
/// machine's last, so that any other load there affects them alike.
///
/// The kernel's counters for it are read from /proc and cover all its threads: Qt serves a bus connection on a thread
/// of its own.
class Program
{
public:
    /// @param file      the executable
    /// @param arguments its arguments
    /// @param call      the call whose round trip is measured; its service is the name that the program owns
    Program(const QString& file, const QStringList& arguments, const QDBusMessage& call);
    /// For a program that serves the power daemon's interface under a name; the call is IsActionsEnabled.
    Program(const QString& file, const QStringList& arguments, const QString& busName);
    ~Program();
    Q_DISABLE_COPY_MOVE(Program)

    /// Starts it and waits, 10 s at most, for its name on the bus. Errors are printed.
    /// @return milliseconds until the name appeared
    [[nodiscard]] std::optional<double> start();
    /// Kills it and waits for its end.
    void stop();
    [[nodiscard]] bool isRunning() const;

    /// The call whose round trip is measured.
    [[nodiscard]] const QDBusMessage& call() const;

    [[nodiscard]] qint64 cpuNanoseconds() const;
    /// How often one of its threads went to sleep, and so how often one was woken.
    [[nodiscard]] qint64 voluntarySwitches() const;
    /// @param field line of smaps_rollup, "Pss" for example
    [[nodiscard]] qint64 memoryKilobytes(const QByteArray& field) const;
    /// @param field line of status, "Threads" for example
    [[nodiscard]] qint64 statusNumber(const QByteArray& field) const;
    [[nodiscard]] qsizetype openDescriptors() const;
    /// The libraries that it has mapped, each file once.
    [[nodiscard]] QStringList libraries() const;

private:
    [[nodiscard]] QString folder() const;
    [[nodiscard]] qint64 sumOverThreads(const QString& file, const QByteArray& field) const;

    ChildProcess m_process;
    QDBusMessage m_call;
};
