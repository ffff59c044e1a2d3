// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Operation.h"
#include "SessionBus.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <memory>

class BusMonitor;
class Terminal;
struct WireMessage;

/// One operation under way: sent, and waited for as long as it may take. A progress line says what the device is doing
/// now: from the daemon's calls where the bus allows a monitor, else from the signal that announces the action.
class OperationRun : public QObject
{
    Q_OBJECT

public:
    OperationRun(SessionBus& bus, const Operation& operation, Terminal& terminal);
    ~OperationRun() override;

    /// Sends the call and blocks until its answer, the end of the daemon or the bus, or the operation's worst case.
    [[nodiscard]] Answer wait();

    /// Whether the daemon announced the action by PowerEvent.
    [[nodiscard]] bool wasAnnounced() const;
    /// Whether the daemon, or the whole bus, has gone.
    [[nodiscard]] bool isDaemonGone() const;
    [[nodiscard]] qint64 secondsWaited() const;

private Q_SLOTS:
    void onPowerEvent(const QString& name, const QString& reason);
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);
    void onDisconnected();

private:
    Q_DISABLE_COPY_MOVE(OperationRun)

    void subscribe();
    void receive(const WireMessage& message);
    void showProgress();
    [[nodiscard]] std::chrono::milliseconds limit() const;

    SessionBus& m_bus;
    const Operation& m_operation;
    Terminal& m_terminal;
    std::unique_ptr<BusMonitor> m_monitor;
    QString m_daemonOwner;
    qsizetype m_step = -1;    ///< place of the step that runs, as far as that is known
    quint32 m_callSerial = 0; ///< of the daemon's call in that step
    QElapsedTimer m_clock;
    QTimer m_progressTimer;
    bool m_wasAnnounced = false;
    bool m_isDaemonGone = false;
    bool m_isBusGone = false;

Q_SIGNALS:
    void ended();
};
