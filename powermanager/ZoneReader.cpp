// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZoneReader.h"

#include "BinaryValues.h"
#include "ZoneTable.h"

#include <QFile>
#include <QSettings>

#include <algorithm>
#include <cerrno>
#include <limits>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace {

constexpr qint64 kMaxSize = 64LL * 1024 * 1024;

/// A whole number of the zone file. Text that is not one reads as 0; a number beyond the range of int, up to 64 bits,
/// as the range's end, so that the bounds' clamps still see it.
int readNumber(const QSettings& settings, const QString& group, const QString& key, int missing)
{
    constexpr qlonglong kLowest = std::numeric_limits<int>::min();
    constexpr qlonglong kHighest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(settings.value(group + u'/' + key, missing).toLongLong(), kLowest, kHighest));
}

PowerZone readZone(const QSettings& settings, const QString& group)
{
    // Kept: "treshold" is the spelling of the device's zone files.
    return {group, std::max(0, readNumber(settings, group, QStringLiteral("low_treshold"), 0)),
            std::min(ZoneTable::kMaxCharge, readNumber(settings, group, QStringLiteral("high_treshold"), 0)),
            readNumber(settings, group, QStringLiteral("volume"), -1),
            readNumber(settings, group, QStringLiteral("light"), -1)};
}

/// A file in memory, never to be executed: a hardened kernel refuses others. One before 6.3 does not know that flag.
int openMemory(const char* name)
{
    constexpr unsigned int kNeverExecuted = 0x8; // MFD_NOEXEC_SEAL, which older headers lack
    const int descriptor = memfd_create(name, MFD_CLOEXEC | kNeverExecuted);
    return descriptor < 0 && errno == EINVAL ? memfd_create(name, MFD_CLOEXEC) : descriptor;
}

} // namespace

QByteArray readZoneFile(const QString& filePath)
{
    const int descriptor = open(QFile::encodeName(filePath).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status = {};
    QFile file;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFile::AutoCloseHandle) ||
        fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > kMaxSize) {
        return {};
    }
    return file.read(status.st_size);
}

QList<PowerZone> parseZones(const QByteArray& content)
{
    // The reader needs a path. A file in memory leaves nothing behind and needs no disk space.
    const QByteArray text = withoutBinaryValues(content);
    const int descriptor = openMemory("zones.ini");
    QFile memory;
    if (descriptor < 0 ||
        !memory.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered, QFile::AutoCloseHandle) ||
        memory.write(text) != text.size()) {
        return {};
    }
    QSettings settings(QStringLiteral("/proc/self/fd/%1").arg(descriptor), QSettings::IniFormat);
    const QStringList groups = settings.childGroups();
    QList<PowerZone> zones;
    zones.reserve(groups.size());
    for (const QString& group : groups) {
        zones.append(readZone(settings, group));
    }
    // Qt caches what it has read by path, size and time, and the next file may have the same. An empty file is never
    // cached.
    (void)memory.resize(0);
    settings.sync();
    return zones;
}
