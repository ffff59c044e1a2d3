// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CpuLoad.h"
#include "Timeline.h"

#include <QFile>
#include <QObject>
#include <QTimer>

class Simulator;

/// Writes a run as a table of comma-separated values, for pictures and spreadsheets: a row a second, and one for what
/// is left at the end.
///
/// seconds       on the timeline's clock
/// load_percent  of this machine's CPU since the row before; empty if the kernel has counted nothing since
/// frequency_mhz of the device
/// command       last line that did something since the row before; in quotation marks, which are doubled inside
class RunTable : public QObject
{
    Q_OBJECT

public:
    explicit RunTable(Simulator& simulator, QObject* parent = nullptr);
    ~RunTable() override;

    /// Begins the table, in place of a file of that name.
    /// @return whether it could; *error names file and reason
    [[nodiscard]] bool open(const QString& path, QString* error);

private:
    Q_DISABLE_COPY_MOVE(RunTable)

    void write(const QString& row);
    void writeRow();

    Simulator& m_simulator;
    QFile m_file;
    CpuLoad m_load;
    QTimer m_timer;
    QString m_command; ///< of the row to come
};
