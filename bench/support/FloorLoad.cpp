// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FloorLoad.h"

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kCounters = 10;
constexpr int kBusyCounters = 3; ///< the first ones: user, nice, system

} // namespace

int FloorLoad::sample()
{
    const int file = open("/proc/stat", O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return -1;
    }
    std::array<char, 256> text = {}; // longer than the first line; only that one is read
    const ssize_t length = read(file, text.data(), text.size() - 1);
    close(file);
    if (length <= 0) {
        return -1;
    }
    long long total = 0;
    long long busy = 0;
    char* at = text.data() + 3; // after "cpu"
    for (int i = 0; i < kCounters; ++i) {
        total += std::strtoll(at, &at, 10);
        if (i < kBusyCounters) {
            busy = total;
        }
    }
    const long long elapsed = total - m_total;
    const int load = elapsed > 0 ? static_cast<int>((busy - m_busy) * 100 / elapsed) : 0;
    m_total = total;
    m_busy = busy;
    return load;
}
