// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QObject>
#include <QTimer>

class Timeline;

/// What a light on a GPIO line says: its levels from one rest to the next, told to the timeline as one pattern when the
/// line has come to rest: "line 24 pattern on 0.5 off 0.5 on 2", in seconds. A line that stays on ends with "on" and no
/// time.
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

    void tell();

    int m_line;
    Timeline& m_timeline;
    QList<qint64> m_changes; ///< times on the timeline's clock; on, off, on ...
    QTimer m_restTimer;
};
