// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LoadGenerator.h"

#include <QThread>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kPeriod = 100ms;

} // namespace

LoadGenerator::LoadGenerator(QObject* parent) : QObject(parent), m_endTimer(this)
{
    m_endTimer.setSingleShot(true);
    m_endTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_endTimer, &QTimer::timeout, this, [this] {
        stop();
        Q_EMIT ended();
    });
}

LoadGenerator::~LoadGenerator()
{
    stop();
}

void LoadGenerator::start(int percent, std::chrono::milliseconds length)
{
    stop();
    m_isStopping = false;
    const int cores = QThread::idealThreadCount();
    for (int i = 0; i < cores; ++i) {
        m_workers.emplace_back(&LoadGenerator::work, this, percent);
    }
    m_endTimer.start(length);
}

void LoadGenerator::stop()
{
    m_endTimer.stop();
    m_isStopping = true;
    for (std::thread& worker : m_workers) {
        worker.join();
    }
    m_workers.clear();
}

void LoadGenerator::work(int percent) const
{
    using Clock = std::chrono::steady_clock;
    while (!m_isStopping) {
        const Clock::time_point begin = Clock::now();
        while (Clock::now() < begin + kPeriod * percent / 100) {
            // keeps the core busy
        }
        std::this_thread::sleep_until(begin + kPeriod);
    }
}
