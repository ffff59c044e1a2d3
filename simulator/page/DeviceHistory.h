// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Session.h"

#include <QList>
#include <QObject>
#include <QStringList>

#include <optional>

/// The device's state before each command, as far back as somebody may want to begin there.
class DeviceHistory : public QObject
{
    Q_OBJECT

public:
    struct Moment
    {
        qsizetype place = 0; ///< of the command
        int chargePercent = 0;
        double masterVolume = 0;
        uint lightIntensity = 0;
        bool isLightOn = false;
        bool isRgbDisabled = false;
        bool isCameraEnabled = false;
        bool isAccessPoint = false;
        int scheduleEntries = 0;
        int eventEntries = 0;
        QStringList faults; ///< "service.Member FORM", as the command "fail" has it
        QStringList down;   ///< services that should be on the bus and are not
    };

    /// @param session must outlive it
    explicit DeviceHistory(Session& session, QObject* parent = nullptr);

    /// The state before the first command from that place on; nothing if there was none.
    [[nodiscard]] std::optional<Moment> atOrAfter(qsizetype place) const;
    /// The state now.
    [[nodiscard]] Moment present() const;

private:
    Q_DISABLE_COPY_MOVE(DeviceHistory)

    void take(const Timeline::Entry& entry);

    Session& m_session;
    QList<Moment> m_moments; ///< in the order of their places
};
