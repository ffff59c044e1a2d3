// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DeviceFiles.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

using namespace Qt::Literals::StringLiterals;

DeviceFiles::DeviceFiles(const QString& root) : m_root(root) {}

bool DeviceFiles::prepare(QString* error) const
{
    if (m_root.isEmpty()) {
        return true;
    }
    for (const QString& folder : {u"/bin"_s, u"/data/config"_s, u"/data/log"_s, u"/data/powerman"_s}) {
        if (!QDir().mkpath(m_root + folder)) {
            *error = u"can't make the folder "_s + m_root + folder;
            return false;
        }
    }
    return QFile::exists(zoneFile()) || installZones(u":/zones.ini"_s, error);
}

bool DeviceFiles::installZones(const QString& source, QString* error) const
{
    if (m_root.isEmpty()) {
        *error = u"this device has no files"_s;
        return false;
    }
    QFile file(source);
    QSaveFile target(zoneFile());
    if (!file.open(QIODevice::ReadOnly)) {
        *error = source + u": "_s + file.errorString();
        return false;
    }
    if (!target.open(QIODevice::WriteOnly) || target.write(file.readAll()) < 0 || !target.commit()) {
        *error = target.fileName() + u": "_s + target.errorString();
        return false;
    }
    return true;
}

QString DeviceFiles::configFile() const
{
    return m_root.isEmpty() ? QString() : m_root + u"/data/config/config.ini"_s;
}

QString DeviceFiles::zoneFile() const
{
    return m_root + u"/data/powerman/zones.ini"_s;
}
