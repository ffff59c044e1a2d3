// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "RecordingPlatform.h"

#include "LogInterface.h"

// The platform's libraries as a test sees them: everything that reaches them is written to the timeline.

Timeline& timeline()
{
    static Timeline instance;
    return instance;
}

struct LogInterface::Private
{
};

LogInterface::LogInterface(const QString&) {}

LogInterface::~LogInterface() = default;

void LogInterface::EmitLogString(unsigned int level, const char* text, const char*)
{
    timeline().addLogLine(static_cast<int>(level), QString::fromLocal8Bit(text));
}
