// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Session.h"

#include <chrono>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace {

/// How long the device takes from restart to the start of its daemons; the real one takes longer.
constexpr std::chrono::milliseconds kBootTime(1000);

/// How long the power daemon may take from its start to its name on the bus.
constexpr std::chrono::seconds kStartTime(30);

} // namespace

Session::Session(Timeline& timeline, const Settings& settings, QObject* parent)
    : QObject(parent),
      m_timeline(timeline),
      m_settings(settings),
      m_simulator(timeline, settings.root, settings.gpioRoot),
      m_startTimer(this)
{
    if (settings.daemon) {
        m_daemon = std::make_unique<DaemonProcess>(*settings.daemon, timeline);
        connect(m_daemon.get(), &DaemonProcess::ended, this, &Session::onDaemonEnded);
        // What is done to the device is meant for a daemon that is there.
        connect(&m_simulator.powerDaemon(), &PowerDaemonClient::up, this, &Session::beginLines,
                Qt::SingleShotConnection);
    }
    connect(&m_simulator, &Simulator::rebootRequested, this, [this] { onPowerRequest(true); });
    connect(&m_simulator, &Simulator::shutdownRequested, this, [this] { onPowerRequest(false); });
    m_startTimer.setSingleShot(true);
    connect(&m_startTimer, &QTimer::timeout, this, [this] {
        Q_EMIT failed(Failure::Daemon, m_daemon->program() +
                                           u" has not taken the power daemon's name on the bus within "_s +
                                           QString::number(kStartTime.count()) + u" s"_s);
    });
}

Simulator& Session::simulator()
{
    return m_simulator;
}

const Session::Settings& Session::settings() const
{
    return m_settings;
}

ScenarioRunner& Session::addSource()
{
    auto* source = new ScenarioRunner(m_simulator, m_daemon.get(), this);
    m_sources.append(source);
    if (m_isReady) {
        source->run();
    }
    return *source;
}

void Session::removeSource(ScenarioRunner& source)
{
    m_sources.removeOne(&source);
    source.disconnect();
    source.stop();
    source.deleteLater(); // it may be what is telling us that it failed
}

bool Session::start(QString* error)
{
    if (!m_simulator.start(m_settings.without, error)) {
        return false;
    }
    QString fileError;
    if (!m_simulator.prepareFiles(&fileError)) {
        m_timeline.note(fileError + u": the power daemon will miss it"_s);
    }
    m_timeline.note(u"the device's services are on the bus"_s);
    if (m_daemon) {
        m_startTimer.start(kStartTime);
        m_daemon->start();
    } else {
        beginLines();
    }
    return true;
}

bool Session::isReady() const
{
    return m_isReady;
}

void Session::end()
{
    if (std::exchange(m_isEnding, true)) {
        return;
    }
    m_startTimer.stop();
    if (m_daemon && m_daemon->isRunning()) {
        m_daemon->stop(); // onDaemonEnded() goes on
    } else {
        // Queued: its owner's event loop may not run yet.
        QMetaObject::invokeMethod(this, &Session::ended, Qt::QueuedConnection);
    }
}

void Session::beginLines()
{
    m_startTimer.stop();
    m_isReady = true;
    for (ScenarioRunner* source : std::as_const(m_sources)) {
        source->run();
    }
    Q_EMIT ready();
}

void Session::onPowerRequest(bool isRestart)
{
    m_timeline.note(isRestart ? u"the device restarts"_s : u"the device is off"_s);
    if (m_daemon) {
        m_isRestarting = isRestart;
        m_daemon->stop();
    } else {
        m_simulator.restartDevice();
    }
}

void Session::onDaemonEnded(int status, bool wasAsked)
{
    const QString statusText = QString::number(status);
    if (m_isEnding) {
        if (status != 0) {
            Q_EMIT failed(Failure::Daemon, u"the power daemon ended with status "_s + statusText);
        }
        Q_EMIT ended();
    } else if (status < 0) {
        Q_EMIT failed(Failure::NotStarted, u"can't start "_s + m_daemon->program());
    } else if (wasAsked && status != 0) {
        // A restart of the device asks, too.
        Q_EMIT failed(Failure::Daemon, u"the power daemon was asked to end, and ended with status "_s + statusText);
    } else if (std::exchange(m_isRestarting, false)) {
        m_simulator.restartDevice();
        QTimer::singleShot(kBootTime, m_daemon.get(), &DaemonProcess::start);
    } else if (!wasAsked) {
        Q_EMIT failed(Failure::Daemon, u"the power daemon ended on its own, with status "_s + statusText);
    }
}
