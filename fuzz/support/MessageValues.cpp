// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "MessageValues.h"

#include "DBusValues.h"

#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDateTime>
#include <QHash>
#include <QPoint>

#include <algorithm>

#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The bus accepts neither deeper nesting nor longer signatures.
constexpr qsizetype kMostVariants = 16;
constexpr qsizetype kMostValues = 100;

/// A type that no description uses.
struct ForeignType
{
    const char* signature;
    QVariant (*make)(const QString& text);
};

constexpr ForeignType kForeignTypes[] = {
    {"", [](const QString& text) { return QVariant(text); }}, // the content of a plain variant
    {"o", [](const QString& text) { return QVariant::fromValue(QDBusObjectPath(text)); }},
    {"g", [](const QString& text) { return QVariant::fromValue(QDBusSignature(text)); }},
    {"h", [](const QString&) { return QVariant::fromValue(QDBusUnixFileDescriptor(STDERR_FILENO)); }},
    {"ay", [](const QString& text) { return QVariant(text.toUtf8()); }},
    {"as", [](const QString& text) { return QVariant(text.split(u' ')); }},
    {"av", [](const QString& text) { return QVariant(QVariantList(text.size() % 3, text)); }},
    {"ai", [](const QString& text) { return QVariant::fromValue(QList<int>(text.size(), text.toInt())); }},
    {"a{sv}",
     [](const QString& text) {
         return QVariant(QVariantMap{{text, text}});
     }},
    {"(ii)", [](const QString& text) { return QVariant(QPoint(text.toInt(), 0)); }},
    {"((iii)(iiii)i)", [](const QString& text) { return QVariant(QDateTime::fromSecsSinceEpoch(text.toInt())); }},
};

/// A value of a type; invalid if there is no such type.
QVariant valueOfType(const QString& type, const QString& text)
{
    if (type.startsWith(u'v')) {
        return QVariant::fromValue(QDBusVariant(valueOfType(type.mid(1), text)));
    }
    if (type.size() == 1 && u"bynqiuxtds"_s.contains(type)) {
        const QVariant value = dbusvalues::convert(text, type);
        return value.isValid() ? value : dbusvalues::zero(type);
    }
    const auto* found =
        std::find_if(std::begin(kForeignTypes), std::end(kForeignTypes),
                     [&type](const ForeignType& row) { return type == QLatin1StringView(row.signature); });
    return found == std::end(kForeignTypes) ? QVariant() : found->make(text);
}

QVariant valueOf(const QString& text, const QString& describedType)
{
    const qsizetype colon = text.indexOf(u':');
    const QVariant foreign =
        colon > 0 ? valueOfType(text.left(colon).right(kMostVariants), text.mid(colon + 1)) : QVariant();
    return foreign.isValid() ? foreign : valueOfType(describedType, text);
}

} // namespace

QVariantList messageValues(const QList<ArgumentDescription>& described, const QStringList& words)
{
    // Most messages keep most of their values.
    static QHash<const void*, QVariantList> zeros;
    QVariantList& allZero = zeros[&described];
    if (allZero.size() != described.size()) {
        allZero = dbusvalues::fill(described, {});
    }
    QVariantList values = allZero;
    qsizetype next = 0;
    for (const QString& word : words.mid(0, kMostValues)) {
        if (word == u"-") {
            values = values.mid(0, values.size() - 1);
            continue;
        }
        const qsizetype equals = word.indexOf(u'=');
        const auto named = std::find_if(described.begin(), described.begin() + (equals > 0 ? described.size() : 0),
                                        [name = QStringView(word).left(equals)](const ArgumentDescription& argument) {
                                            return argument.name == name;
                                        });
        const bool isNamed = equals > 0 && named != described.end();
        const qsizetype index = isNamed ? named - described.begin() : next++;
        const QVariant value = valueOf(isNamed ? word.mid(equals + 1) : word,
                                       index < described.size() ? described.at(index).type : u"s"_s);
        if (index < values.size()) {
            values[index] = value;
        } else {
            values.append(value);
        }
    }
    return values;
}
