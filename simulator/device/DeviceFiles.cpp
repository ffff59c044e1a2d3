// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DeviceFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

struct Script
{
    const char* name;  ///< without its ending
    const char* works; ///< what it does when all is well
};

constexpr Script kScripts[] = {
    {"clear_data", "cd \"${0%/*}/../data/user\" && find . -mindepth 1 -delete"},
    {"post_factory_restore", "exit 0"},
};

constexpr qint64 kMostRecordBytes = 4096;

QByteArray scriptBody(const QString& name, const QString& behaviour)
{
    if (behaviour != u"works") {
        return behaviour == u"fails" ? "exit 1" : "exec sleep 3600";
    }
    return std::find_if(std::begin(kScripts), std::end(kScripts),
                        [&name](const Script& script) { return name == QLatin1StringView(script.name); })
        ->works;
}

} // namespace

DeviceFiles::DeviceFiles(const QString& root) : m_root(root) {}

bool DeviceFiles::prepare(QString* error) const
{
    if (m_root.isEmpty()) {
        return true;
    }
    for (const QString& folder : {u"/bin"_s, u"/data/config"_s, u"/data/log"_s, u"/data/powerman"_s, u"/data/user"_s}) {
        if (!QDir().mkpath(m_root + folder)) {
            *error = u"can't make the folder "_s + m_root + folder;
            return false;
        }
    }
    const bool hasScripts = std::all_of(std::begin(kScripts), std::end(kScripts), [this, error](const Script& script) {
        const QString name = QString::fromLatin1(script.name);
        return QFile::exists(scriptFile(name)) || installScript(name, u"works"_s, error);
    });
    return hasScripts && (QFile::exists(zoneFile()) || installZones(u":/zones.ini"_s, error));
}

bool DeviceFiles::installZones(const QString& source, QString* error) const
{
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = source + u": "_s + file.errorString();
        return false;
    }
    return writeZones(file.readAll(), error);
}

bool DeviceFiles::writeZones(const QByteArray& content, QString* error) const
{
    return write(zoneFile(), content, false, error);
}

bool DeviceFiles::installScript(const QString& name, const QString& behaviour, QString* error) const
{
    if (!exists(error)) {
        return false;
    }
    if (behaviour == u"missing") {
        (void)QFile::remove(scriptFile(name)); // may be missing already
        return true;
    }
    return write(scriptFile(name), "#!/bin/sh\n" + scriptBody(name, behaviour) + '\n', true, error);
}

bool DeviceFiles::addUserData(const QString& name, QString* error) const
{
    if (name.contains(u'/')) {
        *error = u"found \""_s + name + u"\", expected a file's name without a folder"_s;
        return false;
    }
    return write(userFolder() + u'/' + name, "simulated\n", false, error);
}

int DeviceFiles::userDataCount() const
{
    const QDir folder(userFolder(), {}, {}, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    return m_root.isEmpty() ? 0 : static_cast<int>(folder.count());
}

QString DeviceFiles::record() const
{
    QFile file(m_root + u"/data/log/last_powerman.txt"_s);
    // A record is two short lines; somebody may have put anything else there.
    const bool isReadable = !m_root.isEmpty() && QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly);
    return isReadable ? QString::fromUtf8(file.read(kMostRecordBytes)) : QString();
}

QString DeviceFiles::configFile() const
{
    return m_root.isEmpty() ? QString() : m_root + u"/data/config/config.ini"_s;
}

QString DeviceFiles::zoneFile() const
{
    return m_root + u"/data/powerman/zones.ini"_s;
}

QString DeviceFiles::scriptFile(const QString& name) const
{
    return m_root + u"/bin/"_s + name + u".sh"_s;
}

QString DeviceFiles::userFolder() const
{
    return m_root + u"/data/user"_s;
}

bool DeviceFiles::exists(QString* error) const
{
    if (m_root.isEmpty()) {
        *error = u"this device has no files"_s;
    }
    return !m_root.isEmpty();
}

bool DeviceFiles::write(const QString& path, const QByteArray& content, bool isExecutable, QString* error) const
{
    if (!exists(error)) {
        return false;
    }
    QSaveFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(content) >= 0 &&
                           (!isExecutable || file.setPermissions(file.permissions() | QFile::ExeOwner |
                                                                 QFile::ExeGroup | QFile::ExeOther)) &&
                           file.commit();
    if (!isWritten) {
        *error = path + u": "_s + file.errorString();
    }
    return isWritten;
}
