// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusServiceWatcher>
#include <QObject>
#include <QSet>
#include <QString>

/// Which of some names on the session bus have an owner. Asks once and listens from then on.
class NameOwners : public QObject
{
    Q_OBJECT

public:
    explicit NameOwners(QObject* parent = nullptr);

    void watch(const QString& busName);
    [[nodiscard]] bool hasOwner(const QString& busName) const;

Q_SIGNALS:
    void changed(const QString& busName);

private:
    Q_DISABLE_COPY_MOVE(NameOwners)

    void set(const QString& busName, bool hasOwner);

    QDBusServiceWatcher m_watcher;
    QSet<QString> m_owned;
};
