// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ClockedDaemon.h"

#include "SimulatedDevice.h"

using namespace Qt::Literals::StringLiterals;

ClockedDaemon::ClockedDaemon(const QString& zone, const QDateTime& time, Timers timers)
{
    setClock(time);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TZ"_s, zone);
    environment.insert(u"FAKETIME_TIMESTAMP_FILE"_s, m_folder.filePath(u"clock"_s));
    environment.insert(u"FAKETIME_NO_CACHE"_s, u"1"_s);
    environment.insert(u"FAKETIME_FMT"_s, u"%s"_s);
    environment.insert(u"FAKETIME_DONT_FAKE_MONOTONIC"_s, timers == Timers::RunOn ? u"1"_s : u"0"_s);
    setProcessEnvironment(environment);
    setStandardInputFile({}); // a pipe
    setProgram(QStringLiteral(POWERMANAGER_PROGRAM));
}

void ClockedDaemon::setClock(const QDateTime& time)
{
    // In one step: the daemon may read it at any moment.
    const QString file = m_folder.filePath(u"clock"_s);
    writeFile(file + u".next"_s, QByteArray::number(time.toSecsSinceEpoch()) + '\n');
    if (::rename(qPrintable(file + u".next"_s), qPrintable(file)) != 0) {
        qFatal("%s: %s", qPrintable(file), qPrintable(qt_error_string()));
    }
}

QString ClockedDaemon::log()
{
    m_log += readAllStandardError();
    return QString::fromLocal8Bit(m_log);
}
