// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SimulatedDevice.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QDir().mkpath(QFileInfo(path).path());
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("%s: %s", qPrintable(path), qPrintable(file.errorString()));
    }
}

SimulatedDevice::SimulatedDevice(Timeline& timeline, const QStringList& without, const QString& root)
{
    m_context.moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(
        &m_context,
        [this, &timeline, without, root] {
            QString error;
            m_simulator = std::make_unique<Simulator>(timeline, root, root.isEmpty() ? QString() : root + u"/gpio"_s);
            if (!m_simulator->prepareFiles(&error) || !m_simulator->start(without, &error)) {
                qFatal("simulated device: %s", qPrintable(error));
            }
            m_runner = std::make_unique<ScenarioRunner>(*m_simulator, nullptr);
        },
        Qt::BlockingQueuedConnection);
}

SimulatedDevice::~SimulatedDevice()
{
    QMetaObject::invokeMethod(
        &m_context,
        [this] {
            m_runner.reset();
            m_simulator.reset();
        },
        Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QString SimulatedDevice::run(const QString& lines)
{
    QString error;
    QEventLoop loop;
    const auto idle = QObject::connect(m_runner.get(), &ScenarioRunner::idle, &loop, &QEventLoop::quit);
    // The connection ends below, before the variable does.
    const auto failed =
        QObject::connect(m_runner.get(), &ScenarioRunner::failed, &loop,
                         [&error](const QString& reason) { error = reason; }); // clazy:exclude=lambda-in-connect
    bool isLoaded = false;
    invoke([this, &lines, &error, &isLoaded](Simulator&) {
        isLoaded = m_runner->load(lines, u"test"_s, 1, &error);
        if (isLoaded) {
            m_runner->run();
        }
    });
    if (isLoaded) {
        loop.exec();
    }
    QObject::disconnect(idle);
    QObject::disconnect(failed);
    return error;
}

void SimulatedDevice::invoke(const std::function<void(Simulator&)>& action)
{
    QMetaObject::invokeMethod(
        &m_context, [this, &action] { action(*m_simulator); }, Qt::BlockingQueuedConnection);
}
