// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "RecordingPlatform.h"

#include "LogInterface.h"
#include "libgpio.h"

#include <chrono>
#include <csignal>
#include <optional>

#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

// The platform's libraries as a test sees them: everything that reaches them is written to the timeline.

namespace {

std::function<void()>& duringPause()
{
    static std::function<void()> action;
    return action;
}

int modeSelect = 0;

void recordPause(std::chrono::microseconds length)
{
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    timeline().add(events::Pause{length, sigismember(&blocked, SIGTERM) != 1});
    // A copy: the action may set another one.
    if (const auto action = duringPause()) {
        action();
    }
}

} // namespace

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

void LogInterface::EmitLogString(unsigned int level, const char* text, const char* objectPath)
{
    timeline().add(
        LogLine::fromParts(static_cast<int>(level), QString::fromLatin1(objectPath), QString::fromLocal8Bit(text)));
}

int LIBGPIO_set_enabled(int line, int on)
{
    timeline().add(events::Line{line, on != 0});
    return 0;
}

int LIBGPIO_get_enabled(int line, int* value)
{
    timeline().add(events::Line{line, std::nullopt});
    if (modeSelect < 0) {
        return modeSelect;
    }
    *value = modeSelect;
    return 0;
}

void setModeSelect(int value)
{
    modeSelect = value;
}

void setDuringPause(const std::function<void()>& action)
{
    duringPause() = action;
}

// In place of the C library's, for the whole program.

unsigned int sleep(unsigned int seconds)
{
    recordPause(std::chrono::seconds(seconds));
    return 0;
}

int usleep(useconds_t microseconds)
{
    recordPause(std::chrono::microseconds(microseconds));
    return 0;
}
