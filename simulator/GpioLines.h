// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>

class Timeline;

/// The device's GPIO lines as files, laid out as the kernel's GPIO class lays them out: the indicator, which the power
/// daemon drives and whose changes go to the timeline, and the mode selector, which it reads.
class GpioLines : public QObject
{
    Q_OBJECT

public:
    /// @param root folder of the lines; empty: there are none
    GpioLines(const QString& root, Timeline& timeline, QObject* parent = nullptr);

    /// Makes the lines that are missing and begins to watch. @return whether that went well; *error says what did not
    [[nodiscard]] bool prepare(QString* error);

private:
    [[nodiscard]] QString valueFile(int line) const;
    void onFileChanged(const QString& path);

    QString m_root;
    Timeline& m_timeline;
    QFileSystemWatcher m_watcher;
    QHash<QString, int> m_watched;   ///< line of each watched file
    QHash<int, QByteArray> m_levels; ///< as last seen
};
