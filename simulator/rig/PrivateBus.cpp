// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PrivateBus.h"

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kPatienceMs = 10'000; ///< for its start and for its end

} // namespace

PrivateBus::PrivateBus() : m_process(SIGTERM) {}

PrivateBus::~PrivateBus()
{
    m_process.terminate(); // so that it removes its socket
    m_process.waitForFinished(kPatienceMs);
}

bool PrivateBus::start(QString* error)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(kPatienceMs)) {
            *error = u"dbus-daemon: "_s + m_process.errorString();
            return false;
        }
    }
    m_address = QString::fromLocal8Bit(m_process.readLine().trimmed());
    return true;
}

bool PrivateBus::startAsSessionBus(QString* error)
{
    if (!start(error)) {
        return false;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toLocal8Bit());
    return true;
}

QString PrivateBus::address() const
{
    return m_address;
}

void PrivateBus::kill()
{
    m_process.kill();
    m_process.waitForFinished(kPatienceMs);
}
