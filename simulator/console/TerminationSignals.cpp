// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "TerminationSignals.h"

#include <csignal>

#include <sys/signalfd.h>

namespace {

sigset_t terminationSignals()
{
    sigset_t signalSet;
    sigemptyset(&signalSet);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signalSet, number);
    }
    return signalSet;
}

int openDescriptor()
{
    const sigset_t signalSet = terminationSignals();
    return signalfd(-1, &signalSet, SFD_CLOEXEC);
}

} // namespace

TerminationSignals::TerminationSignals(QObject* parent)
    : QObject(parent), m_notifier(openDescriptor(), QSocketNotifier::Read, this)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] {
        m_notifier.setEnabled(false);
        Q_EMIT received();
    });
}

void TerminationSignals::block()
{
    const sigset_t signalSet = terminationSignals();
    pthread_sigmask(SIG_BLOCK, &signalSet, nullptr);
}
