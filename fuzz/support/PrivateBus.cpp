// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PrivateBus.h"

#include <csignal>

#include <sys/prctl.h>

using namespace Qt::Literals::StringLiterals;

PrivateBus::PrivateBus()
{
    m_daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_daemon.setChildProcessModifier([] { (void)prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    if (!m_daemon.waitForReadyRead()) {
        qFatal("dbus-daemon: %s", qPrintable(m_daemon.errorString()));
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_daemon.readLine().trimmed());
}
