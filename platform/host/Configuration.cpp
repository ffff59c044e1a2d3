// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Configuration.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <cmath>
#include <optional>

namespace {

// The store is the configuration service; com.quillmark.zelt.configinterface.xml describes its methods.
constexpr QLatin1StringView kService("com.quillmark.zelt.configmanager");
constexpr QLatin1StringView kPath("/com/quillmark/zelt/configmanager/configobj");
constexpr QLatin1StringView kInterface("com.quillmark.zelt.configinterface");

/// A store that owns its name but does not answer must not hold up a reset for long.
constexpr int kTimeoutMs = 5000;

/// Calls the store and returns the values that follow a status of 0, or nothing where the call or the store failed.
std::optional<QVariantList> callStore(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
    call.setArguments(arguments);
    call.setAutoStartService(false);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || !reply.signature().startsWith(u'i') ||
        reply.arguments().constFirst().toInt() != 0) {
        return std::nullopt;
    }
    return reply.arguments().mid(1);
}

/// The text of a key, or nothing where it was not found.
std::optional<QString> readText(const QString& group, const QString& key)
{
    const std::optional<QVariantList> values = callStore(QStringLiteral("GetStringValue"), {group, key});
    if (!values || values->isEmpty() || values->constFirst().typeId() != QMetaType::QString) {
        return std::nullopt;
    }
    return values->constFirst().toString();
}

void report(bool* target, bool value)
{
    if (target != nullptr) {
        *target = value;
    }
}

} // namespace

struct Configuration::Private
{
    bool isValid = false;
};

Configuration::Configuration(const QString&) : d(std::make_unique<Private>())
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    d->isValid = bus.isConnected() && bus.interface()->isServiceRegistered(kService);
}

Configuration::~Configuration() = default;

bool Configuration::isValid() const
{
    return d->isValid;
}

QString Configuration::ReadConfigValue(const QString& group, const QString& key, const QString& defaultValue,
                                       bool* found, bool) const
{
    const std::optional<QString> text = readText(group, key);
    report(found, text.has_value());
    return text.value_or(defaultValue);
}

double Configuration::ReadConfigValue(const QString& group, const QString& key, double defaultValue, bool* found,
                                      bool) const
{
    bool isNumber = false;
    const double number = readText(group, key).value_or(QString()).toDouble(&isNumber);
    isNumber = isNumber && std::isfinite(number);
    report(found, isNumber);
    return isNumber ? number : defaultValue;
}

bool Configuration::WriteConfigValue(const QString& group, const QString& key, const QString& value, bool) const
{
    return callStore(QStringLiteral("SetStringValue"), {group, key, value}).has_value();
}

bool Configuration::Save() const
{
    return callStore(QStringLiteral("Save"), {}).has_value();
}

bool Configuration::Freeze() const
{
    return callStore(QStringLiteral("Freeze"), {}).has_value();
}
