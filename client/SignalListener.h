// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "WireMessage.h"

#include <QDBusMessage>
#include <QObject>

class SessionBus;

/// What a connection without the rights of a monitor hears: the signals of the power daemon and the services, and who
/// comes and goes.
class SignalListener : public QObject
{
    Q_OBJECT

public:
    explicit SignalListener(SessionBus& bus);
    ~SignalListener() override;

    /// @param isAll the signals of the other services, too
    void start(bool isAll);

Q_SIGNALS:
    void received(const WireMessage& message);
    void busGone();

private Q_SLOTS:
    void onSignal(const QDBusMessage& message);

private:
    Q_DISABLE_COPY_MOVE(SignalListener)

    SessionBus& m_bus;
};
