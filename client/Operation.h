// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Sequence.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantList>

/// A call of the power daemon, checked and ready to be sent.
struct Operation
{
    QString member; ///< of the power daemon's interface
    QVariantList arguments;
    QList<SequenceStep> steps; ///< what the daemon will do
    QString intent;            ///< "reboot the device, reason \"upgrade\""
    QString done;              ///< what has happened once the answer is 0
    QStringList doubts;        ///< whole sentences; each asks for a yes
    QString fault;             ///< not empty: a wrong argument; nothing is sent
    QDateTime wakeUp = {};     ///< of a suspend: the answer comes after it
    bool endsDevice = false;   ///< the device goes down with it, so the answer may never come
};
