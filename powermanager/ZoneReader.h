// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PowerZone.h"

#include <QByteArray>
#include <QList>

/// The present content of a zone file. Empty if the file can't be read, is not regular (a pipe would block its reader
/// for ever), or is longer than any sensible zone file (64 MiB, about a million zones).
[[nodiscard]] QByteArray readZoneFile(const QString& filePath);

/// The zones of a zone file, in the order in which Qt's INI reader lists its groups, with clamped bounds, including
/// those whose bounds make no band. Needs /proc.
[[nodiscard]] QList<PowerZone> parseZones(const QByteArray& content);
