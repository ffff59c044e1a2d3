// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcess>

/// A bus of this process's own, which becomes its session bus and ends with the process, even if that crashes.
class PrivateBus
{
public:
    /// Call before anything uses the session bus. Ends the process if no bus can be started.
    PrivateBus();
    Q_DISABLE_COPY_MOVE(PrivateBus)

private:
    QProcess m_daemon;
};
