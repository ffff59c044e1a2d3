// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "RecordingPlatform.h"

#include "LogInterface.h"
#include "libgpio.h"

#include <csignal>

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

void recordPause(const QString& length)
{
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    timeline().add(Timeline::Kind::Pause, sigismember(&blocked, SIGTERM) == 1 ? length : length + u" or a signal"_s);
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
    const QString path = QString::fromLatin1(objectPath);
    const QString source = path.endsWith(u"/powerobj") ? QString() : u" @"_s + path;
    timeline().addLogLine(static_cast<int>(level), QString::fromLocal8Bit(text) + source);
}

int LIBGPIO_set_enabled(int line, int on)
{
    timeline().add(Timeline::Kind::Line, QString::number(line), {on != 0 ? u"on"_s : u"off"_s});
    return 0;
}

int LIBGPIO_get_enabled(int line, int* value)
{
    timeline().add(Timeline::Kind::Line, QString::number(line), {u"read"_s});
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
    recordPause(QString::number(seconds) + u" s"_s);
    return 0;
}

int usleep(useconds_t microseconds)
{
    recordPause(QString::number(microseconds) + u" us"_s);
    return 0;
}
