// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QObject>
#include <QTimer>

class Timeline;

/// Joins the changes of a light on a GPIO line, from one rest to the next, to one pattern in the timeline.
///
/// The device's patterns are on for 2 s and off for 0.5 s at most; what lasts clearly longer is a rest.
class LinePattern : public QObject
{
    Q_OBJECT

public:
    LinePattern(int line, Timeline& timeline, QObject* parent = nullptr);

    /// The line has just changed, to a level other than the one before.
    void change(bool isOn);

private:
    Q_DISABLE_COPY_MOVE(LinePattern)

    void record();

    int m_line;
    Timeline& m_timeline;
    QList<qint64> m_changes; ///< times on the timeline's clock; on, off, on ...
    QTimer m_restTimer;
};
