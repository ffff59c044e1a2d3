// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "DaemonProcess.h"
#include "ScenarioRunner.h"
#include "Simulator.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

/// One run of the device: its services on the bus, its power cycle, the power daemon's process if it is ours, and any
/// number of sources that send it lines.
///
/// The sources begin when the device is ready: with its services on the bus, and the power daemon if that is ours. When
/// the device restarts, so does our power daemon; sources go on. What a source does wrong is answered to that source
/// alone, by its runner; whether that ends the session is for its owner to decide.
///
/// Lives on one thread with an event loop, which need not be the program's main thread.
class Session : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        QString root;                  ///< folder of the device's files, see DeviceFiles
        QString gpioRoot;              ///< folder of its lines, see GpioLines
        QStringList without;           ///< services that are left out
        std::optional<QString> daemon; ///< the power daemon's program; nothing: it is not ours
    };

    /// What has become of the power daemon's process, if it failed.
    enum class Failure
    {
        Daemon,     ///< it did not come up, ended on its own or with another status than 0
        NotStarted, ///< its program can't be started
    };

    /// @param timeline where everything is written; must outlive the session
    Session(Timeline& timeline, const Settings& settings, QObject* parent = nullptr);

    [[nodiscard]] Simulator& simulator();
    [[nodiscard]] const Settings& settings() const;

    /// A new source of lines: a runner with a queue of its own. Belongs to the session.
    [[nodiscard]] ScenarioRunner& addSource();

    /// Ends a source, with what it has under way. Not from one of its own lines.
    void removeSource(ScenarioRunner& source);

    /// Puts the services on the bus, makes the device's files, and starts the power daemon.
    /// @return whether the services are on the bus; *error says why not
    [[nodiscard]] bool start(QString* error);

    /// Whether the sources have begun.
    [[nodiscard]] bool isReady() const;

    /// Ends the session: stops the power daemon if it is ours. ended() follows.
    void end();

Q_SIGNALS:
    /// The sources begin.
    void ready();
    /// The power daemon failed; the session goes on without it until end().
    void failed(Session::Failure failure, const QString& reason);
    void ended();

private:
    Q_DISABLE_COPY_MOVE(Session)

    void beginLines();
    void onPowerRequest(bool isRestart);
    void onDaemonEnded(int status, bool wasAsked);

    Timeline& m_timeline;
    Settings m_settings;
    Simulator m_simulator;
    std::unique_ptr<DaemonProcess> m_daemon;
    QList<ScenarioRunner*> m_sources; ///< children
    QTimer m_startTimer;              ///< runs until the power daemon comes up
    bool m_isReady = false;
    bool m_isRestarting = false; ///< the power daemon was stopped by a restart of the device
    bool m_isEnding = false;
};
