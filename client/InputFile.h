// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The content of a regular file of at most 64 MiB; never waits for a pipe.
/// @param fault set to what is wrong, with the file's name
[[nodiscard]] std::optional<QByteArray> readInputFile(const QString& path, QString* fault);
