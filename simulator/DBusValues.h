// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"

#include <QStringList>
#include <QVariant>

/// Values of D-Bus's basic types, made from text and turned into text.
namespace dbusvalues {

/// The type's zero: 0, false, an empty text.
[[nodiscard]] QVariant zero(const QString& type);

/// A value as that type; invalid where it does not fit it.
[[nodiscard]] QVariant convert(const QVariant& value, const QString& type);

/// What a person calls the type, e.g. "a whole number".
[[nodiscard]] QString typeName(const QString& type);

/// The values of a member's arguments: by name where values has it, by position ("0", "1", ...) for those without a
/// name, else zero.
[[nodiscard]] QVariantList fill(const QList<ArgumentDescription>& arguments, const QVariantMap& values);

/// A value as the timeline shows it.
[[nodiscard]] QString toText(const QVariant& value);
[[nodiscard]] QStringList toTexts(const QVariantList& values);

} // namespace dbusvalues
