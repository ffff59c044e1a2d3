// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Pauses.h"

#include <QtGlobal>

#include <csignal>

namespace {

/// Blocks all signals of the thread during its lifetime.
class SignalBlocker
{
public:
    SignalBlocker()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &m_previous);
    }
    ~SignalBlocker()
    {
        pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
    }

private:
    Q_DISABLE_COPY_MOVE(SignalBlocker)

    sigset_t m_previous = {};
};

} // namespace

namespace pauses {

void seconds(unsigned int count)
{
    const SignalBlocker blocker;
    (void)sleep(count);
}

void microseconds(useconds_t count)
{
    const SignalBlocker blocker;
    (void)usleep(count);
}

} // namespace pauses
