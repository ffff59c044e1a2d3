// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>

class SessionBus;

/// Who called: a connection to the bus, and the process behind it, as far as that can be found out.
struct Caller
{
    QString bus; ///< unique name
    qint64 pid = 0;
    QString executable; ///< path
    QString command;    ///< its words, separated by blanks

    /// As docs/events.md has it; what could not be found out is absent.
    [[nodiscard]] QJsonObject toJson() const;
    [[nodiscard]] static Caller fromJson(const QJsonObject& object);
    /// "busctl, process 4711 (:1.42)"
    [[nodiscard]] QString toText() const;
};

/// Keeps who is behind the unique names. A caller may end as soon as it is answered, so each is looked up when it
/// comes.
class CallerTable
{
public:
    explicit CallerTable(SessionBus& bus);

    /// The caller behind a unique name, looked up if it is not known yet. Blocks for a second at most.
    [[nodiscard]] Caller find(const QString& uniqueName);
    void forget(const QString& uniqueName);

private:
    SessionBus& m_bus;
    QHash<QString, Caller> m_callers;
};
