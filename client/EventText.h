// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QString>

class Terminal;

/// An event as a line for a person: time of day, kind, what happened and by whom.
[[nodiscard]] QString eventText(const QJsonObject& event, const Terminal& terminal);
