// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

class QDBusConnection;

/// Ends the event loop with -1 when the session bus goes away, so that the service manager starts the daemon again. By
/// itself, Qt would leave a process running that receives nothing. Event-loop thread only.
class SessionBusWatch : public QObject
{
    Q_OBJECT

public:
    explicit SessionBusWatch(QDBusConnection bus);

private Q_SLOTS:
    void onDisconnected();

private:
    Q_DISABLE_COPY_MOVE(SessionBusWatch)
};
