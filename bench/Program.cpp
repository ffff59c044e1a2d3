// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Program.h"

#include "Catalogue.h"
#include "Error.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <chrono>
#include <cstddef>
#include <cstdlib>

#include <sched.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Called before the new program is loaded. If the machine refuses, the figures are only noisier.
void stayOnLastCpu()
{
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(static_cast<std::size_t>(sysconf(_SC_NPROCESSORS_ONLN) - 1), &cpus);
    sched_setaffinity(0, sizeof cpus, &cpus);
}

/// The call IsActionsEnabled to whoever serves the power daemon's interface under this name.
QDBusMessage powerDaemonCall(const QString& busName)
{
    const InterfaceDescription interface = Catalogue().powerDaemon();
    return QDBusMessage::createMethodCall(busName, interface.objectPath, interface.interfaceName,
                                          u"IsActionsEnabled"_s);
}

} // namespace

qint64 numberIn(const QString& path, const QByteArray& field)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray text = file.readAll();
    const QByteArray label = field.isEmpty() ? field : '\n' + field + ':';
    const qsizetype at = text.indexOf(label);
    return at < 0 ? 0 : std::strtoll(text.constData() + at + label.size(), nullptr, 10);
}

void prepareMeasured(ChildProcess& process)
{
    process.setInChild(&stayOnLastCpu);
}

Program::Program(const QString& file, const QStringList& arguments, const QDBusMessage& call) : m_call(call)
{
    m_process.setProgram(file);
    m_process.setArguments(arguments);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(QProcess::nullDevice());
    prepareMeasured(m_process);
}

Program::Program(const QString& file, const QStringList& arguments, const QString& busName)
    : Program(file, arguments, powerDaemonCall(busName))
{
}

Program::~Program()
{
    stop();
}

std::optional<double> Program::start()
{
    QEventLoop loop;
    const QDBusServiceWatcher watcher(m_call.service(), QDBusConnection::sessionBus(),
                                      QDBusServiceWatcher::WatchForRegistration);
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &loop, &QEventLoop::quit);
    QObject::connect(&m_process, &QProcess::stateChanged, &loop, [&loop](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning) {
            loop.exit(1);
        }
    });
    QTimer::singleShot(10s, &loop, [&loop] { loop.exit(1); });
    QElapsedTimer clock;
    clock.start();
    m_process.start();
    if (m_process.state() == QProcess::NotRunning || loop.exec() != 0) {
        printError(m_process.program() + u" did not come to the bus: "_s + m_process.errorString());
        return std::nullopt;
    }
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

void Program::stop()
{
    m_process.kill();
    m_process.waitForFinished();
}

bool Program::isRunning() const
{
    return m_process.state() == QProcess::Running;
}

const QDBusMessage& Program::call() const
{
    return m_call;
}

qint64 Program::cpuNanoseconds() const
{
    return sumOverThreads(u"schedstat"_s, QByteArray());
}

qint64 Program::voluntarySwitches() const
{
    return sumOverThreads(u"status"_s, "voluntary_ctxt_switches");
}

qint64 Program::memoryKilobytes(const QByteArray& field) const
{
    return numberIn(folder() + u"/smaps_rollup", field);
}

qint64 Program::statusNumber(const QByteArray& field) const
{
    return numberIn(folder() + u"/status", field);
}

qsizetype Program::openDescriptors() const
{
    return QDir(folder() + u"/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

QStringList Program::libraries() const
{
    QFile maps(folder() + u"/maps"_s);
    if (!maps.open(QIODevice::ReadOnly)) {
        return {};
    }
    QStringList files;
    const QList<QByteArray> lines = maps.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const qsizetype at = line.indexOf('/');
        if (at >= 0 && line.indexOf(".so", at) >= 0) {
            files.append(QString::fromLocal8Bit(line.sliced(at)));
        }
    }
    files.removeDuplicates();
    return files;
}

QString Program::folder() const
{
    return u"/proc/"_s + QString::number(m_process.processId());
}

qint64 Program::sumOverThreads(const QString& file, const QByteArray& field) const
{
    const QString tasks = folder() + u"/task/";
    const QStringList threads = QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    qint64 sum = 0;
    for (const QString& thread : threads) {
        sum += numberIn(tasks + thread + u'/' + file, field);
    }
    return sum;
}
