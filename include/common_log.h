// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "LogInterface.h"

#include <QtGlobal>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

/// The process's logging client. Defined by the daemon, set once by main() before the first line, never freed.
extern LogInterface* _logInterface;

/// The device's log levels; the gaps are levels that this family of daemons does not use.
enum class LogLevel : unsigned int
{
    Error = 1,     ///< an operation failed
    Warning = 2,   ///< handled anomaly, refused request, or an event worth noticing
    Info = 4,      ///< life-cycle milestone or change of mode
    Actuation = 5, ///< a hardware setting that was applied, or a hardware event received
    Detail = 9,    ///< step-by-step computation
};

/// Size of a log line's buffer in bytes, terminator included; a longer line is cut.
inline constexpr std::size_t kLogLineSize = 512;

/// Formats one line as "[file:line] function: message" and hands it to the logging client in a single call.
/// Use COMMON_LOG, which fills in file, line and function. Event-loop thread only; never from a signal handler.
Q_ATTRIBUTE_FORMAT_PRINTF(6, 7)
inline void emitLogLine(LogLevel level, const char* objectPath, const char* file, int line, const char* function,
                        const char* format, ...)
{
    char text[kLogLineSize];
    const int prefix = std::snprintf(text, sizeof text, "[%s:%d] %s: ", file, line, function);
    const std::size_t used = std::min(static_cast<std::size_t>(std::max(prefix, 0)), sizeof text - 1);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text + used, sizeof text - used, format, arguments);
    va_end(arguments);
    _logInterface->EmitLogString(static_cast<unsigned int>(level), text, objectPath);
}

/// Logs a printf-style message for an object, with the source file's base name, line and full function signature.
#define COMMON_LOG(level, objectPath, ...)                                                                             \
    emitLogLine(level, objectPath, __FILE_NAME__, __LINE__, __PRETTY_FUNCTION__, __VA_ARGS__)
