// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <memory>

/// Client of the device's logging service. A process has one, for its whole life.
class LogInterface
{
public:
    /// @param path object path under which the process logs
    explicit LogInterface(const QString& path);
    ~LogInterface();
    Q_DISABLE_COPY_MOVE(LogInterface)

    /// Sends one finished line. Delivery is not reported; may be called from any thread.
    /// @param level      the family's level number (1 error ... 9 detail)
    /// @param text       the line, without a line end
    /// @param objectPath D-Bus object path of the object that the line is about
    void EmitLogString(unsigned int level, const char* text, const char* objectPath);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
