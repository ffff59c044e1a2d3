// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QMap>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariant>

class Catalogue;

/// The state of the simulated device, and what each method of its services does to it. A plain value: changes that a
/// service would announce are collected as notifications, for the owner of the services to send.
struct Device
{
    /// A signal to be sent: "lightmanager.LedSwitch" and its values by argument name, or by position if they have
    /// none.
    struct Notification
    {
        QString signal;
        QVariantMap values;
    };

    /// What a method answers.
    struct Answer
    {
        QVariantMap values;  ///< the out-arguments by name, or by position if they have none; missing ones are zero
        bool isHeld = false; ///< the answer comes later, when something else has happened
    };

    /// What the frequency service was asked to do with the power.
    enum class PowerRequest
    {
        None,
        Reboot,
        Shutdown,
    };

    int chargePercent = 100;
    double masterVolume = 100;
    uint lightIntensity = 100;
    bool isLightOn = true;
    bool isRgbDisabled = false;
    bool isCameraEnabled = false;
    bool isPhoneForcedOff = false;
    int freqMHz = 200;
    int scheduleEntries = 0; ///< in the scheduler
    int eventEntries = 0;    ///< in the event manager
    QString wakeUpTime;      ///< of the alarm, UTC, "yyyy-MM-dd HH:mm:ss"; empty: not set
    PowerRequest powerRequest = PowerRequest::None;
    QString configFile; ///< where the configuration is saved; empty: nowhere
    bool isConfigFrozen = false;
    QMap<QPair<QString, QString>, QString> config; ///< (group, key) to text

    QList<Notification> notifications; ///< not sent yet, oldest first

    /// Carries out a method, e.g. "lightmanager.Switch", with its in-arguments in order.
    Answer call(const QString& method, const QVariantList& arguments);

    /// The CPU frequencies that the frequency service takes, lowest first.
    [[nodiscard]] static QList<int> frequenciesMHz();

    /// The methods in the table of effects that the catalogue does not know; none, unless one is misspelt.
    [[nodiscard]] static QStringList unknownMethods(const Catalogue& catalogue);

    /// The values of the status broadcast that are not zero.
    [[nodiscard]] QVariantMap status() const;

    /// Starts anew: what is not saved is lost, what was frozen can be written again, the camera is off.
    void restart();

    /// Sets the CPU frequency; another one than before is announced.
    void changeFreq(int mhz);

    [[nodiscard]] bool saveConfig() const;
    void loadConfig();

    void notify(const QString& signal, const QVariantMap& values);
};
