// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Session.h"
#include "Timeline.h"

#include <QThread>

#include <functional>
#include <memory>

/// Puts a text in a file of the device, whose folder it makes. A test that cannot do that ends at once.
void writeFile(const QString& path, const QByteArray& content);

/// The simulated device on a thread of its own, as a test has it: the blocking calls of what is tested, on the test's
/// thread, are answered. Every test gets a new one, in the state in which the device starts.
class SimulatedDevice
{
public:
    /// @param timeline where the device records; must outlive it
    /// @param without  services that are left out
    /// @param root     folder of the device's files, with its GPIO lines in "gpio"; empty: none
    explicit SimulatedDevice(Timeline& timeline, const QStringList& without = {}, const QString& root = {});
    ~SimulatedDevice();
    Q_DISABLE_COPY_MOVE(SimulatedDevice)

    /// Carries out lines of the command language, while the test's own event loop runs.
    /// @return an empty text, or what went wrong: a wrong line, or an expectation that did not come true
    [[nodiscard]] QString run(const QString& lines);

    /// Does something with the simulator on its own thread, and waits for it.
    void invoke(const std::function<void(Simulator&)>& action);

private:
    QThread m_thread;
    QObject m_context; ///< lives on the thread
    std::unique_ptr<Session> m_session;
    ScenarioRunner* m_source = nullptr; ///< of the session
};
