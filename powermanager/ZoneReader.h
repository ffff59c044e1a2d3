// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PowerZone.h"

#include <QByteArray>
#include <QList>

/// What a zone file holds at this moment. Empty for one that can't be read, is no regular file (a pipe would block its
/// reader for ever), or is longer than any zone file could sensibly be (64 MiB, some million zones).
[[nodiscard]] QByteArray readZoneFile(const QString& filePath);

/// The zones of a zone file, in the order in which Qt's INI reader lists its groups, with their bounds clamped; among
/// them those whose bounds make no band. Needs /proc.
[[nodiscard]] QList<PowerZone> parseZones(const QByteArray& content);
