// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcess>

/// A bus of this process's own, which becomes its session bus and ends with it, however that comes about.
class PrivateBus
{
public:
    /// Before anybody asks for the session bus. Ends the process where there is no bus to be had.
    PrivateBus();
    Q_DISABLE_COPY_MOVE(PrivateBus)

private:
    QProcess m_daemon;
};
