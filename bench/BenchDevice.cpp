// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BenchDevice.h"

#include "Error.h"

#include <QEventLoop>
#include <QTimer>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

BenchDevice::BenchDevice()
    : m_simulator(m_timeline, QStringLiteral(ZELT_ROOT), QStringLiteral(ZELT_GPIO_ROOT)), m_runner(m_simulator, nullptr)
{
    QObject::connect(&m_runner, &ScenarioRunner::failed, &m_runner,
                     [this](const QString& reason) { m_error = reason; });
}

bool BenchDevice::start(const QStringList& services)
{
    QStringList without = m_simulator.catalogue().serviceNames();
    without.removeIf([&services](const QString& name) { return services.contains(name); });
    QString error;
    if (!m_simulator.prepareFiles(&error) || !m_simulator.start(without, &error)) {
        printError(error);
        return false;
    }
    return true;
}

std::optional<double> BenchDevice::timeOf(const QString& lines, const QString& from, const QString& to)
{
    if (!run(lines)) {
        return std::nullopt;
    }
    std::optional<qint64> begin;
    std::optional<qint64> end;
    const QList<Timeline::Entry> entries = m_timeline.entries();
    for (const Timeline::Entry& entry : entries) {
        const QString text = entry.toString();
        if (text == from) {
            begin = entry.msec;
        } else if (text == to) {
            end = entry.msec;
        }
    }
    if (!begin || !end) {
        printError(u"the timeline has no \""_s + (begin ? to : from) + u'"');
        return std::nullopt;
    }
    return static_cast<double>(*end - *begin);
}

qsizetype BenchDevice::count(const QString& text) const
{
    const QList<Timeline::Entry> entries = m_timeline.entries();
    return std::count_if(entries.cbegin(), entries.cend(),
                         [&text](const Timeline::Entry& entry) { return entry.toString() == text; });
}

bool BenchDevice::run(const QString& lines)
{
    m_error.clear();
    if (m_runner.load(lines, u"measure"_s, 1, &m_error)) {
        QEventLoop loop;
        QObject::connect(&m_runner, &ScenarioRunner::idle, &loop, &QEventLoop::quit);
        QTimer::singleShot(0, &m_runner, &ScenarioRunner::run);
        loop.exec();
    }
    if (!m_error.isEmpty()) {
        printError(m_error);
    }
    return m_error.isEmpty();
}
