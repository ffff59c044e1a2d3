// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The device's fixed files, below the build's ZELT_ROOT except for the kernel's. A library of its own, so that a
/// program that links the daemon's classes can choose another root.
namespace paths {

/// The power zones, in INI form.
[[nodiscard]] QString zoneFile();

/// The record of the last reboot or shutdown. Its folder is part of the device.
[[nodiscard]] QString lastActionFile();

/// The script that removes the user's data in a hard factory reset.
[[nodiscard]] QString clearDataScript();

/// The script that ends a software recovery.
[[nodiscard]] QString postFactoryRestoreScript();

/// The kernel's CPU time counters. A C string: the file is opened once a second for the life of the device.
[[nodiscard]] const char* cpuCounters();

} // namespace paths
