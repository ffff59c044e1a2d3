// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LogInterface.h"

#include <benchmark/benchmark.h>

struct LogInterface::Private
{
};

LogInterface::LogInterface(const QString&) {}

LogInterface::~LogInterface() = default;

void LogInterface::EmitLogString(unsigned int, const char* text, const char*)
{
    benchmark::DoNotOptimize(text);
}
