// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManagerFixture.h"

#include "Log.h"
#include "Paths.h"
#include "RecordingPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

namespace {

void recordSignal(const QString& name, const QStringList& arguments)
{
    timeline().add(Timeline::Kind::Signal, u"powermanager."_s + name, arguments);
}

QString toText(bool value)
{
    return value ? u"true"_s : u"false"_s;
}

} // namespace

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QDir().mkpath(QFileInfo(path).path());
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("%s: %s", qPrintable(path), qPrintable(file.errorString()));
    }
}

PowerManagerFixture::PowerManagerFixture()
{
    static LogInterface log{QString()};
    _logInterface = &log;
    for (const QString& file :
         {paths::zoneFile(), paths::lastActionFile(), paths::clearDataScript(), paths::cpuCounters()}) {
        const QString folder = QFileInfo(file).path();
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
    }
    writeFile(paths::cpuCounters(), "cpu  0 0 0 0 0 0 0 0 0 0\n"); // an idle CPU
    setModeSelect(0);
    m_device = std::make_unique<SimulatedDevice>(timeline());
    timeline().clear();
}

PowerManagerFixture::~PowerManagerFixture()
{
    setDuringPause(nullptr);
}

bool PowerManagerFixture::start()
{
    m_manager = std::make_unique<PowerManager>(kObjectPath);
    PowerManager* manager = m_manager.get();
    QObject::connect(manager, &PowerManager::PowerEvent, [](const QString& name, const QString& reason) {
        recordSignal(u"PowerEvent"_s, {name, reason});
    });
    QObject::connect(manager, &PowerManager::PowerZoneChanged,
                     [](const QString& name) { recordSignal(u"PowerZoneChanged"_s, {name}); });
    QObject::connect(manager, &PowerManager::ActionsEnabled,
                     [](bool enabled) { recordSignal(u"ActionsEnabled"_s, {toText(enabled)}); });
    QObject::connect(manager, &PowerManager::AutoscalingEnabled,
                     [](bool enabled) { recordSignal(u"AutoscalingEnabled"_s, {toText(enabled)}); });
    QObject::connect(manager, &PowerManager::SleepEnabled,
                     [](bool enabled) { recordSignal(u"SleepEnabled"_s, {toText(enabled)}); });
    return manager->init();
}

SimulatedDevice& PowerManagerFixture::device()
{
    return *m_device;
}

PowerManager& PowerManagerFixture::manager()
{
    return *m_manager;
}

QString PowerManagerFixture::run(const QString& lines)
{
    return m_device->run(lines);
}

QStringList PowerManagerFixture::take()
{
    QStringList lines;
    const QList<Timeline::Entry> entries = timeline().entries();
    for (const Timeline::Entry& entry : entries) {
        const bool isOurs = entry.kind != Timeline::Kind::Command && entry.kind != Timeline::Kind::Note &&
                            (entry.kind != Timeline::Kind::Signal || entry.name.startsWith(u"powermanager."));
        if (isOurs) {
            lines.append(entry.toString());
        }
    }
    timeline().clear();
    return lines;
}
