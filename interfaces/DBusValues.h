// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"

#include <QJsonArray>
#include <QJsonValue>
#include <QStringList>
#include <QVariant>

/// Values of D-Bus's basic types, converted from and to text and JSON.
namespace dbusvalues {

/// The type's zero: 0, false, an empty text.
[[nodiscard]] QVariant zero(const QString& type);

/// A value converted to that type; invalid if it does not fit.
[[nodiscard]] QVariant convert(const QVariant& value, const QString& type);

/// The type in a message to the user, e.g. "a whole number".
[[nodiscard]] QString typeName(const QString& type);

/// The values of a member's arguments: by name, by position ("0", "1", ...) for those without a name, zero for those
/// that values lacks.
[[nodiscard]] QVariantList fill(const QList<ArgumentDescription>& arguments, const QVariantMap& values);

/// A value as the timeline shows it.
[[nodiscard]] QString toText(const QVariant& value);
[[nodiscard]] QStringList toTexts(const QVariantList& values);

/// A value in JSON, as docs/events.md describes it: true or false, a number, a text. JSON has no number that is not
/// finite: it becomes the text "nan", "inf" or "-inf".
[[nodiscard]] QJsonValue toJson(const QVariant& value);

/// The reverse of toJson(); invalid if the JSON value does not fit the type.
/// @param type D-Bus signature of a basic type
[[nodiscard]] QVariant fromJson(const QJsonValue& value, const QString& type);

/// A member's values as an array of objects with "name", "type" and "value", as docs/events.md describes it. A value
/// beyond the described arguments has no name; one of another type than described keeps its own.
[[nodiscard]] QJsonArray toJson(const QVariantList& values, const QList<ArgumentDescription>& arguments);

} // namespace dbusvalues
