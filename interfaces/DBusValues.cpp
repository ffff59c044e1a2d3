// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DBusValues.h"

#include <QJsonObject>
#include <QMetaType>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

struct BasicType
{
    char code;          ///< D-Bus type code
    QMetaType::Type id; ///< Qt's type for it
    const char* name;   ///< as in a message to the user
};

constexpr BasicType kBasicTypes[] = {
    {'b', QMetaType::Bool, "true or false"},
    {'y', QMetaType::UChar, "a whole number from 0 to 255"},
    {'n', QMetaType::Short, "a whole number of 16 bits"},
    {'q', QMetaType::UShort, "a positive whole number of 16 bits"},
    {'i', QMetaType::Int, "a whole number"},
    {'u', QMetaType::UInt, "a positive whole number"},
    {'x', QMetaType::LongLong, "a whole number"},
    {'t', QMetaType::ULongLong, "a positive whole number"},
    {'d', QMetaType::Double, "a number"},
    {'s', QMetaType::QString, "a text"},
};

const BasicType& basicType(const QString& type)
{
    const auto* found = std::find_if(std::begin(kBasicTypes), std::end(kBasicTypes), [&type](const BasicType& basic) {
        return type.size() == 1 && type.front() == QLatin1Char(basic.code);
    });
    Q_ASSERT_X(found != std::end(kBasicTypes), "basicType", "the catalogue's interfaces use basic types only");
    return *found;
}

} // namespace

namespace dbusvalues {

QVariant zero(const QString& type)
{
    return QVariant(QMetaType(basicType(type).id));
}

QVariant convert(const QVariant& value, const QString& type)
{
    const BasicType& basic = basicType(type);
    QVariant converted = value;
    // Qt converts any text but "false" and "0" to true.
    if (basic.id == QMetaType::Bool && value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text != u"true" && text != u"false") {
            return {};
        }
    }
    if (!converted.convert(QMetaType(basic.id))) {
        return {};
    }
    // A number that was cut to fit is not the number given. A double is never cut, and may be NaN.
    const bool isWholeNumber =
        basic.id != QMetaType::QString && basic.id != QMetaType::Bool && basic.id != QMetaType::Double;
    if (value.typeId() == QMetaType::QString && isWholeNumber && converted.toDouble() != value.toDouble()) {
        return {};
    }
    return converted;
}

QString typeName(const QString& type)
{
    return QString::fromLatin1(basicType(type).name);
}

QVariantList fill(const QList<ArgumentDescription>& arguments, const QVariantMap& values)
{
    QVariantList filled;
    for (const ArgumentDescription& argument : arguments) {
        const QString key = argument.name.isEmpty() ? QString::number(filled.size()) : argument.name;
        const QVariant value = convert(values.value(key), argument.type);
        filled.append(value.isValid() ? value : zero(argument.type));
    }
    return filled;
}

QString toText(const QVariant& value)
{
    if (value.typeId() == QMetaType::UChar) {
        return QString::number(value.toUInt());
    }
    return value.toString();
}

QStringList toTexts(const QVariantList& values)
{
    QStringList texts;
    for (const QVariant& value : values) {
        texts.append(toText(value));
    }
    return texts;
}

QJsonValue toJson(const QVariant& value)
{
    if (value.typeId() == QMetaType::UChar) {
        return static_cast<int>(value.toUInt());
    }
    if (value.typeId() == QMetaType::Double && !std::isfinite(value.toDouble())) {
        return value.toString();
    }
    // Beyond the range that Qt's JSON numbers hold exactly.
    if (value.typeId() == QMetaType::ULongLong &&
        value.toULongLong() > qulonglong{std::numeric_limits<qint64>::max()}) {
        return value.toString();
    }
    return QJsonValue::fromVariant(value);
}

QVariant fromJson(const QJsonValue& value, const QString& type)
{
    const QMetaType::Type id = basicType(type).id;
    if (value.isBool() != (id == QMetaType::Bool)) {
        return {};
    }
    if (id == QMetaType::QString) {
        return value.isString() ? QVariant(value.toString()) : QVariant();
    }
    if (value.isDouble() && id != QMetaType::Double) {
        // Through text, which refuses a fraction or a number beyond the type's range.
        const QVariant whole = value.toVariant();
        return convert(whole.toString(), type);
    }
    return convert(value.isString() ? QVariant(value.toString()) : value.toVariant(), type);
}

QJsonArray toJson(const QVariantList& values, const QList<ArgumentDescription>& arguments)
{
    QJsonArray array;
    for (const QVariant& value : values) {
        const ArgumentDescription argument = arguments.value(array.size());
        const auto* basic =
            std::find_if(std::begin(kBasicTypes), std::end(kBasicTypes),
                         [&value](const BasicType& candidate) { return candidate.id == value.typeId(); });
        const QString type = basic == std::end(kBasicTypes) ? QString() : QString(QLatin1Char(basic->code));
        array.append(QJsonObject{{QStringLiteral("name"), argument.name},
                                 {QStringLiteral("type"), type},
                                 {QStringLiteral("value"), toJson(value)}});
    }
    return array;
}

} // namespace dbusvalues
