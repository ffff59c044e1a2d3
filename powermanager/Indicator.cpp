// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Indicator.h"

#include "Pauses.h"
#include "libgpio.h"

namespace {

constexpr int kIndicatorLine = 24;

} // namespace

namespace indicator {

void turnOn()
{
    (void)LIBGPIO_set_enabled(kIndicatorLine, 1);
}

void play(std::initializer_list<useconds_t> microseconds)
{
    int level = 1;
    for (const useconds_t length : microseconds) {
        (void)LIBGPIO_set_enabled(kIndicatorLine, level);
        pauses::microseconds(length);
        level = 1 - level;
    }
    (void)LIBGPIO_set_enabled(kIndicatorLine, 0);
}

} // namespace indicator
