// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The device's fixed files, all but the kernel's below the build's ZELT_ROOT. Compiled as a library of its own, so
/// that a program that links the daemon's classes can choose another root.
namespace paths {

/// The power zones, in INI form.
[[nodiscard]] QString zoneFile();

/// The record of the last reboot or shutdown. Its folder is part of the device.
[[nodiscard]] QString lastActionFile();

/// Wipes the user's data during a hard factory reset.
[[nodiscard]] QString clearDataScript();

/// Ends a software recovery.
[[nodiscard]] QString postFactoryRestoreScript();

/// The kernel's CPU time counters. For the C library: opened once a second for the life of the device.
[[nodiscard]] const char* cpuCounters();

} // namespace paths
