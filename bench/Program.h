// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusMessage>
#include <QProcess>
#include <QString>

#include <optional>

/// Has a program that is yet to start end with our own process whatever way that ends, and run on the CPU of all
/// measured programs.
void prepareMeasured(QProcess& process);

/// A program under measurement: a child process that serves the power daemon's interface on the session bus. Its output
/// goes nowhere. It ends with this object, and with our own process whatever way that ends. All of them run on one CPU,
/// the machine's last, so that what else goes on there hits them alike.
///
/// What the kernel has counted for it is read from /proc, for all of its threads: Qt serves a bus connection on a
/// thread of its own.
class Program
{
public:
    /// @param file      the executable
    /// @param arguments its arguments
    /// @param busName   the name that it takes on the bus
    Program(const QString& file, const QStringList& arguments, const QString& busName);
    ~Program();
    Q_DISABLE_COPY_MOVE(Program)

    /// Starts it and waits, 10 s at most, for its name on the bus. What goes wrong is printed.
    /// @return milliseconds until the name was there
    [[nodiscard]] std::optional<double> start();
    /// Kills it and waits for its end.
    void stop();
    [[nodiscard]] bool isRunning() const;

    /// The call whose round trip is measured, IsActionsEnabled.
    [[nodiscard]] const QDBusMessage& call() const;

    [[nodiscard]] qint64 cpuNanoseconds() const;
    /// How often a thread of it went to sleep; so, how often one was woken.
    [[nodiscard]] qint64 voluntarySwitches() const;
    /// @param field line of smaps_rollup, "Pss" for example
    [[nodiscard]] qint64 memoryKilobytes(const QByteArray& field) const;

private:
    [[nodiscard]] QString folder() const;
    [[nodiscard]] qint64 sumOverThreads(const QString& file, const QByteArray& field) const;

    QProcess m_process;
    QString m_busName;
    QDBusMessage m_call;
};
