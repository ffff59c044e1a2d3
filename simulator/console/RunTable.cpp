// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "RunTable.h"

#include "Simulator.h"

#include <chrono>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

QString quoted(QString text)
{
    return u'"' + text.replace(u'"', u"\"\""_s) + u'"';
}

} // namespace

RunTable::RunTable(Simulator& simulator, QObject* parent) : QObject(parent), m_simulator(simulator), m_timer(this)
{
    m_timer.setInterval(1s);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &RunTable::writeRow);
    connect(&simulator.timeline(), &Timeline::added, this, [this](const Timeline::Entry& entry) {
        const auto* command = entry.as<events::Command>();
        m_command = command != nullptr ? command->text : m_command;
    });
}

RunTable::~RunTable()
{
    if (m_timer.isActive()) {
        writeRow();
    }
}

bool RunTable::open(const QString& path, QString* error)
{
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::WriteOnly)) {
        *error = path + u": "_s + m_file.errorString();
        return false;
    }
    m_timer.start();
    (void)m_load.sample(); // the first row counts from here
    write(u"seconds,load_percent,frequency_mhz,command"_s);
    return true;
}

void RunTable::write(const QString& row)
{
    if (m_file.write(row.toUtf8() + '\n') < 0 || !m_file.flush()) {
        m_timer.stop();
        m_simulator.timeline().note(m_file.fileName() + u": "_s + m_file.errorString() + u": the table ends here"_s);
    }
}

void RunTable::writeRow()
{
    const std::optional<double> load = m_load.sample();
    const QString command = std::exchange(m_command, {});
    write(QString::number(static_cast<double>(m_simulator.timeline().elapsedMs()) / 1000, 'f', 3) + u',' +
          (load ? QString::number(*load, 'f', 1) : QString()) + u',' + QString::number(m_simulator.device().freqMHz) +
          u',' + (command.isEmpty() ? command : quoted(command)));
}
