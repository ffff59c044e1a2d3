// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ChildProcess.h"

#include <QString>

/// A message bus of our own, which ends with this object, and with our process however that comes about.
class PrivateBus
{
public:
    PrivateBus();
    ~PrivateBus();
    Q_DISABLE_COPY_MOVE(PrivateBus)

    /// Starts the bus. @return whether it runs; *error says why not
    [[nodiscard]] bool start(QString* error);

    /// Starts the bus and makes it the session bus of this process and its children. To be called before anybody asks
    /// for the session bus.
    [[nodiscard]] bool startAsSessionBus(QString* error);

    [[nodiscard]] QString address() const;

    /// Ends the bus at once, as a crash would.
    void kill();

private:
    ChildProcess m_process;
    QString m_address;
};
