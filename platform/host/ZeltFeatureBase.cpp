// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZeltFeatureBase.h"

ZeltFeatureBase::ZeltFeatureBase(const char* objectPath, QObject* parent)
    : QObject(parent), m_objectPath(QString::fromUtf8(objectPath))
{
}

ZeltFeatureBase::~ZeltFeatureBase() = default;

QString ZeltFeatureBase::objectPath() const
{
    return m_objectPath;
}

void ZeltFeatureBase::featureStarted() {}

void ZeltFeatureBase::featureStopped() {}

void ZeltFeatureBase::featurePaused() {}

void ZeltFeatureBase::featureResumed() {}
