// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>

#include <cstddef>
#include <cstdint>

// What libFuzzer calls; every fuzzer defines the second one.

extern "C" {

/// Before the first input. @return 0
int LLVMFuzzerInitialize(int* argc, char*** argv);

/// For every input, in one process. @return 0
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
}

namespace fuzzing {

/// A view of the input.
inline QByteArray bytes(const std::uint8_t* data, std::size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

/// Gives the daemon's classes a log that discards everything, and stops Qt from warning about every odd input.
inline void silenceLog()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.warning=false"));
    _logInterface = new LogInterface(QString()); // for the rest of the process
}

/// Ends the process, and so makes the input a finding, if a statement about the code does not hold.
inline void require(bool holds, const char* statement)
{
    if (!holds) {
        qFatal("does not hold: %s", statement);
    }
}

} // namespace fuzzing
