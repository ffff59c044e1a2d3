// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Caller.h"

#include "SessionBus.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Nobody reads a longer command.
constexpr qint64 kMostBytes = 4096;

} // namespace

QJsonObject Caller::toJson() const
{
    QJsonObject object{{u"bus"_s, bus}};
    if (pid > 0) {
        object.insert(u"pid"_s, pid);
    }
    if (!executable.isEmpty()) {
        object.insert(u"executable"_s, executable);
    }
    if (!command.isEmpty()) {
        object.insert(u"command"_s, command);
    }
    return object;
}

Caller Caller::fromJson(const QJsonObject& object)
{
    return {object.value(u"bus"_s).toString(), object.value(u"pid"_s).toInteger(),
            object.value(u"executable"_s).toString(), object.value(u"command"_s).toString()};
}

QString Caller::toText() const
{
    if (pid <= 0) {
        return u"%1, whose process can't be told"_s.arg(bus);
    }
    const QString name = executable.isEmpty() ? u"a process that has ended"_s : executable.section(u'/', -1);
    return u"%1, process %2 (%3)"_s.arg(name).arg(pid).arg(bus) + (command.isEmpty() ? QString() : u": "_s + command);
}

CallerTable::CallerTable(SessionBus& bus) : m_bus(bus) {}

Caller CallerTable::find(const QString& uniqueName)
{
    const auto known = m_callers.constFind(uniqueName);
    if (known != m_callers.cend()) {
        return *known;
    }
    Caller caller;
    caller.bus = uniqueName;
    caller.pid = m_bus.processOf(uniqueName);
    if (caller.pid > 0) {
        const QString folder = u"/proc/%1/"_s.arg(caller.pid);
        caller.executable = QFileInfo(folder + u"exe"_s).symLinkTarget();
        QFile words(folder + u"cmdline"_s);
        if (words.open(QIODevice::ReadOnly)) {
            caller.command = QString::fromLocal8Bit(words.read(kMostBytes).replace('\0', ' ')).trimmed();
        }
    }
    m_callers.insert(uniqueName, caller);
    return caller;
}

void CallerTable::forget(const QString& uniqueName)
{
    m_callers.remove(uniqueName);
}
