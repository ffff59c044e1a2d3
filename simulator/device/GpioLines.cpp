// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "GpioLines.h"

#include "Timeline.h"

#include <QDir>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace {

bool readLevel(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.readAll().trimmed() == "1";
}

/// Sets a level in place, so that nobody finds the file empty.
bool writeLevel(const QString& path, bool isOn, QString* error)
{
    QFile file(path);
    const bool isWritten = file.open(QIODevice::ReadWrite) && file.write(isOn ? "1\n" : "0\n") > 0 && file.flush();
    if (!isWritten) {
        *error = path + u": "_s + file.errorString();
    }
    return isWritten;
}

} // namespace

GpioLines::GpioLines(const QString& root, Timeline& timeline, QObject* parent)
    : QObject(parent), m_root(root), m_timeline(timeline), m_indicatorPattern(kIndicatorLine, timeline)
{
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &GpioLines::onFileChanged);
}

bool GpioLines::prepare(QString* error)
{
    if (m_root.isEmpty()) {
        return true;
    }
    for (const int line : {kIndicatorLine, kModeSelectLine}) {
        const QString path = valueFile(line);
        // The selector is a switch: it stays where it was put.
        const bool isKept = line == kModeSelectLine && QFile::exists(path);
        if (!QDir().mkpath(QFileInfo(path).path())) {
            *error = u"can't make the folder "_s + QFileInfo(path).path();
            return false;
        }
        if (!isKept && !writeLevel(path, false, error)) {
            return false;
        }
        m_watched.insert(path, line);
        m_levels.insert(line, readLevel(path));
        if (!m_watcher.addPath(path)) {
            *error = u"can't watch "_s + path;
            return false;
        }
    }
    return true;
}

bool GpioLines::selectMode(bool isAccessPoint, QString* error)
{
    if (m_root.isEmpty()) {
        *error = u"this device has no lines"_s;
        return false;
    }
    return writeLevel(valueFile(kModeSelectLine), isAccessPoint, error);
}

bool GpioLines::isOn(int line) const
{
    return m_levels.value(line);
}

QString GpioLines::valueFile(int line) const
{
    return m_root + u"/gpio"_s + QString::number(line) + u"/value"_s;
}

void GpioLines::onFileChanged(const QString& path)
{
    const int line = m_watched.value(path);
    const bool isOn = readLevel(path);
    if (m_levels.value(line) == isOn) {
        return;
    }
    m_levels.insert(line, isOn);
    m_timeline.add(events::Line{line, isOn});
    if (line == kIndicatorLine) {
        m_indicatorPattern.change(isOn);
    }
}
