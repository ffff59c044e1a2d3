// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BenchDevice.h"

#include "Error.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

bool BenchDevice::start(const QStringList& services)
{
    QStringList without = Catalogue().serviceNames();
    without.removeIf([&services](const QString& name) { return services.contains(name); });
    m_session =
        std::make_unique<Session>(m_timeline, Session::Settings{QStringLiteral(ZELT_ROOT),
                                                                QStringLiteral(ZELT_GPIO_ROOT), without, std::nullopt});
    QString error;
    const bool isStarted = m_session->start(&error);
    if (!isStarted) {
        printError(error);
    }
    return isStarted;
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
    const QString error = m_session->addSource().runToEnd(lines, u"measure"_s);
    if (!error.isEmpty()) {
        printError(error);
    }
    return error.isEmpty();
}
