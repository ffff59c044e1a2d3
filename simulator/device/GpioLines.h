// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "LinePattern.h"

#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>

class Timeline;

/// The device's GPIO lines as files, laid out as the kernel's GPIO class lays them out: the indicator, which the power
/// daemon drives, and the mode selector, which it reads. Their changes go to the timeline.
class GpioLines : public QObject
{
    Q_OBJECT

public:
    /// @param root folder of the lines; empty: there are none
    GpioLines(const QString& root, Timeline& timeline, QObject* parent = nullptr);

    /// Makes the lines that are missing, switches the indicator off and begins to watch.
    /// @return whether that went well; *error says what did not
    [[nodiscard]] bool prepare(QString* error);

    /// Sets the mode selector: access point or infrastructure.
    /// @return whether that went well; *error names file and reason
    [[nodiscard]] bool selectMode(bool isAccessPoint, QString* error);

    /// Whether a line was on when it was last seen.
    [[nodiscard]] bool isOn(int line) const;

    static constexpr int kIndicatorLine = 24;
    static constexpr int kModeSelectLine = 134;

private:
    Q_DISABLE_COPY_MOVE(GpioLines)

    [[nodiscard]] QString valueFile(int line) const;
    void onFileChanged(const QString& path);

    QString m_root;
    Timeline& m_timeline;
    LinePattern m_indicatorPattern;
    QFileSystemWatcher m_watcher;
    QHash<QString, int> m_watched; ///< line of each watched file
    QHash<int, bool> m_levels;     ///< as last seen
};
