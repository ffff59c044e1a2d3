// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

/// Base of a daemon's service object: a QObject that knows the D-Bus object path it is served at.
class ZeltFeatureBase : public QObject
{
    Q_OBJECT

public:
    /// @param objectPath D-Bus object path; copied
    explicit ZeltFeatureBase(const char* objectPath, QObject* parent = nullptr);
    ~ZeltFeatureBase() override;

    /// The object path given at construction.
    [[nodiscard]] QString objectPath() const;

    /// Called by the platform when the feature is brought into service.
    virtual void featureStarted();
    /// Called by the platform when the feature is taken out of service.
    virtual void featureStopped();
    /// Called by the platform before the device goes to standby.
    virtual void featurePaused();
    /// Called by the platform after the device woke up.
    virtual void featureResumed();

private:
    Q_DISABLE_COPY_MOVE(ZeltFeatureBase)

    QString m_objectPath;
};
