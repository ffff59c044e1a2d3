// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QMap>
#include <QPair>
#include <QString>
#include <QVariant>

/// The state of the simulated device, and what each method of its services does to it. A plain value: changes that a
/// service would announce are collected as notifications, for the owner of the services to send.
struct Device
{
    /// A signal to be sent: "lightmanager.LedSwitch" and its values by argument name, or by position where they have
    /// none.
    struct Notification
    {
        QString signal;
        QVariantMap values;
    };

    int chargePercent = 100;
    double masterVolume = 100;
    uint lightIntensity = 100;
    bool isLightOn = true;
    bool isRgbDisabled = false;
    bool isCameraEnabled = false;
    bool isPhoneForcedOff = false;
    int freqMHz = 200;
    bool isConfigFrozen = false;
    QMap<QPair<QString, QString>, QString> config; ///< (group, key) to text

    QList<Notification> notifications; ///< not sent yet, oldest first

    /// Carries out a method, e.g. "lightmanager.Switch", with its in-arguments in order.
    /// @return the out-arguments by name, or by position where they have none; what is missing is zero
    QVariantMap call(const QString& method, const QVariantList& arguments);

    /// The values of the status broadcast that are not zero.
    [[nodiscard]] QVariantMap status() const;

    void notify(const QString& signal, const QVariantMap& values);
};
