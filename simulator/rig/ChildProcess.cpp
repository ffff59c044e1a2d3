// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ChildProcess.h"

#include <sys/prctl.h>
#include <unistd.h>

ChildProcess::ChildProcess(int lastSignal) : m_lastSignal(lastSignal)
{
    setStandardInputFile(QProcess::nullDevice());
    setInChild([] {});
}

ChildProcess::~ChildProcess()
{
    disconnect(); // nobody hears of an end that is our own doing
    kill();
    waitForFinished();
}

void ChildProcess::setInChild(const std::function<void()>& function)
{
    setChildProcessModifier([function, lastSignal = m_lastSignal] {
        (void)prctl(PR_SET_PDEATHSIG, lastSignal);
        (void)setsid();
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        function();
    });
}
