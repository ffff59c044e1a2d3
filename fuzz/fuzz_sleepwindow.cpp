// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Fuzzing.h"
#include "PowerManager.h"
#include "SleepManager.h"

#include <QCoreApplication>

#include <ctime>

namespace {

PowerManager* manager = nullptr;

} // namespace

/// On a device whose clocks change in March and October, with nobody on the bus.
int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzzing::silenceLog();
    qputenv("TZ", "Europe/Rome");
    tzset();
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/dev/null");
    new QCoreApplication(*argc, *argv);
    manager = new PowerManager("/");
    fuzzing::require(manager->init(), "the daemon starts without a bus");
    return 0;
}

/// The input is three lines: the start of the sleep window, its end, and when to wake up from a standby.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(fuzzing::bytes(data, size));
    SleepManager window(nullptr);
    const QString start = text.section(u'\n', 0, 0);
    const QString end = text.section(u'\n', 1, 1);
    if (window.setSleep(true, start, end)) {
        const bool isArmed = window.isArmed();
        fuzzing::require(isArmed == (window.startTime() != window.endTime()), "any window but an empty one is armed");
        const int length = SleepManager::secondsUntil(window.startTime(), window.endTime());
        fuzzing::require(length >= 0 && length < 86400, "a window is shorter than a day");
        const QString format = QStringLiteral("hh:mm:ss");
        fuzzing::require(window.startTime().toString(format) == start && window.endTime().toString(format) == end,
                         "times are reported as they were set");
    }
    // Covers the conversion of the time and the refusal of the alarm.
    fuzzing::require(manager->Suspend(text.section(u'\n', 2)) == -52, "no standby without an alarm");
    return 0;
}
