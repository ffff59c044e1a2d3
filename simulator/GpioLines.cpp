// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "GpioLines.h"

#include "Timeline.h"

#include <QDir>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kIndicatorLine = 24;
constexpr int kModeSelectLine = 134;

QByteArray readLevel(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

} // namespace

GpioLines::GpioLines(const QString& root, Timeline& timeline, QObject* parent)
    : QObject(parent), m_root(root), m_timeline(timeline)
{
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &GpioLines::onFileChanged);
}

bool GpioLines::prepare(QString* error)
{
    if (m_root.isEmpty()) {
        return true;
    }
    for (const int line : {kIndicatorLine, kModeSelectLine}) {
        QFile file(valueFile(line));
        if (!QDir().mkpath(QFileInfo(file).path()) || (!file.exists() && !file.open(QIODevice::WriteOnly)) ||
            (file.isOpen() && file.write("0\n") < 0)) {
            *error = file.fileName() + u": "_s + file.errorString();
            return false;
        }
    }
    const QString indicator = valueFile(kIndicatorLine);
    m_watched.insert(indicator, kIndicatorLine);
    m_levels.insert(kIndicatorLine, readLevel(indicator));
    if (!m_watcher.addPath(indicator)) {
        *error = u"can't watch "_s + indicator;
        return false;
    }
    return true;
}

QString GpioLines::valueFile(int line) const
{
    return m_root + u"/gpio"_s + QString::number(line) + u"/value"_s;
}

void GpioLines::onFileChanged(const QString& path)
{
    const int line = m_watched.value(path);
    const QByteArray level = readLevel(path);
    if (m_levels.value(line) != level) {
        m_levels.insert(line, level);
        m_timeline.add(Timeline::Kind::Line, QString::number(line), {level == "1" ? u"on"_s : u"off"_s});
    }
}
