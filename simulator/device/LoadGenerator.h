// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

/// Makes load on this machine: a thread for each core computes for a share of the time and sleeps for the rest. The
/// load ends by itself, or with the object.
class LoadGenerator : public QObject
{
    Q_OBJECT

public:
    explicit LoadGenerator(QObject* parent = nullptr);
    ~LoadGenerator() override;

    /// Begins a load, in place of the one before.
    /// @param percent share of the time, 1 to 100
    void start(int percent, std::chrono::milliseconds length);
    /// Ends the load; waits for the threads, a tenth of a second at most.
    void stop();

Q_SIGNALS:
    /// The load's time is over.
    void ended();

private:
    Q_DISABLE_COPY_MOVE(LoadGenerator)

    void work(int percent) const;

    std::vector<std::thread> m_workers;
    std::atomic_bool m_isStopping = false;
    QTimer m_endTimer;
};
