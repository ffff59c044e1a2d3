// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PowerManagerFixture.h"

#include "Log.h"
#include "Paths.h"
#include "PowerManagerAdaptor.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;

namespace {

void recordSignal(const QString& name, const QVariantList& arguments)
{
    timeline().add(events::Signal{events::kPowerDaemon, name, {arguments, {}}});
}

/// Whether the power daemon itself did it, heard it or was meant by it.
bool isOurs(const Timeline::Entry& entry)
{
    const bool isOfPowerDaemon = events::memberName(entry.event).startsWith(events::kPowerDaemon);
    return entry.as<events::Command>() == nullptr && entry.as<events::Note>() == nullptr &&
           (entry.as<events::Signal>() == nullptr || isOfPowerDaemon) &&
           (entry.as<events::Answer>() == nullptr || isOfPowerDaemon);
}

} // namespace

void PowerManagerFixture::init()
{
    static LogInterface log{QString()};
    _logInterface = &log;
    // Until the event loop has run, a new bus connection holds messages back, and then delivers them after later ones.
    (void)QDBusConnection::sessionBus();
    QCoreApplication::processEvents();
    QTest::failOnWarning(QRegularExpression(u".*"_s));
    for (const QString& file : {paths::zoneFile(), paths::lastActionFile(), paths::clearDataScript(), cpuCounters()}) {
        const QString folder = QFileInfo(file).path();
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
    }
    writeFile(cpuCounters(), "cpu  0 0 0 0 0 0 0 0 0 0\n"); // an idle CPU
    setModeSelect(0);
    m_device = std::make_unique<SimulatedDevice>(timeline());
    timeline().clear();
}

void PowerManagerFixture::cleanup()
{
    QDBusConnection::sessionBus().unregisterService(QLatin1StringView(kServiceName));
    setDuringPause(nullptr);
    m_manager.reset();
    m_device.reset();
}

bool PowerManagerFixture::start()
{
    m_manager = std::make_unique<PowerManager>(kObjectPath);
    PowerManager* manager = m_manager.get();
    connect(manager, &PowerManager::PowerEvent, this, [](const QString& name, const QString& reason) {
        recordSignal(u"PowerEvent"_s, {name, reason});
    });
    connect(manager, &PowerManager::PowerZoneChanged, this,
            [](const QString& name) { recordSignal(u"PowerZoneChanged"_s, {name}); });
    const std::pair<void (PowerManager::*)(bool), QString> switches[] = {
        {&PowerManager::ActionsEnabled, u"ActionsEnabled"_s},
        {&PowerManager::AutoscalingEnabled, u"AutoscalingEnabled"_s},
        {&PowerManager::SleepEnabled, u"SleepEnabled"_s}};
    for (const auto& [signal, name] : switches) {
        connect(manager, signal, this, [signalName = name](bool enabled) { recordSignal(signalName, {enabled}); });
    }
    return manager->init();
}

bool PowerManagerFixture::serve()
{
    new PowerManagerAdaptor(m_manager.get()); // a child
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.registerService(QLatin1StringView(kServiceName)) &&
           bus.registerObject(QLatin1StringView(kObjectPath), m_manager.get(), QDBusConnection::ExportAdaptors);
}

SimulatedDevice& PowerManagerFixture::device()
{
    return *m_device;
}

PowerManager& PowerManagerFixture::manager()
{
    return *m_manager;
}

QString PowerManagerFixture::cpuCounters()
{
    return QString::fromLatin1(paths::cpuCounters());
}

QString PowerManagerFixture::run(const QString& lines)
{
    return m_device->run(lines);
}

QString PowerManagerFixture::arrange(const QString& lines)
{
    QString error = run(lines);
    timeline().clear();
    return error;
}

QStringList PowerManagerFixture::take()
{
    QStringList lines;
    const QList<Timeline::Entry> entries = timeline().entries();
    for (const Timeline::Entry& entry : entries) {
        if (isOurs(entry)) {
            const auto* log = entry.as<LogLine>();
            const bool isOfAnother = log != nullptr && !log->object.endsWith(u"/powerobj");
            lines.append(entry.toString() + (isOfAnother ? u" @"_s + log->object : QString()));
        }
    }
    timeline().clear();
    return lines;
}
