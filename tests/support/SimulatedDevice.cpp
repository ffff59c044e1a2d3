// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SimulatedDevice.h"

#include <QDir>
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
    const Session::Settings settings{root, root.isEmpty() ? QString() : root + u"/gpio"_s, without, std::nullopt};
    QMetaObject::invokeMethod(
        &m_context,
        [this, &timeline, &settings] {
            QString error;
            m_session = std::make_unique<Session>(timeline, settings);
            if (!m_session->start(&error)) {
                qFatal("simulated device: %s", qPrintable(error));
            }
            m_source = &m_session->addSource();
        },
        Qt::BlockingQueuedConnection);
}

SimulatedDevice::~SimulatedDevice()
{
    QMetaObject::invokeMethod(
        &m_context, [this] { m_session.reset(); }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QString SimulatedDevice::run(const QString& lines)
{
    return m_source->runToEnd(lines, u"test"_s);
}

void SimulatedDevice::invoke(const std::function<void(Simulator&)>& action)
{
    QMetaObject::invokeMethod(
        &m_context, [this, &action] { action(m_session->simulator()); }, Qt::BlockingQueuedConnection);
}
