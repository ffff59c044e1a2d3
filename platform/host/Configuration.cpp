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

/// The store's answer: its status and the values after it. Nothing if the call failed or the answer has no status.
struct Answer
{
    int status = 0;
    QVariantList values;
};

std::optional<Answer> callStore(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
    call.setArguments(arguments);
    call.setAutoStartService(false);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || !reply.signature().startsWith(u'i')) {
        return std::nullopt;
    }
    return Answer{reply.arguments().constFirst().toInt(), reply.arguments().mid(1)};
}

/// Whether the store carried out a call that is answered with only a status.
bool isDone(const QString& method, const QVariantList& arguments)
{
    const std::optional<Answer> answer = callStore(method, arguments);
    return answer && answer->status == 0;
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
    /// A read failed, so that an existing key may have read as missing: from then on nothing is written.
    bool isUnreadable = false;

    /// The text of a key; nothing if it was not found, or not readable.
    std::optional<QString> readText(const QString& group, const QString& key);
};

std::optional<QString> Configuration::Private::readText(const QString& group, const QString& key)
{
    const std::optional<Answer> answer = callStore(QStringLiteral("GetStringValue"), {group, key});
    if (answer && answer->status != 0) {
        return std::nullopt;
    }
    if (!answer || answer->values.isEmpty() || answer->values.constFirst().typeId() != QMetaType::QString) {
        isUnreadable = true;
        return std::nullopt;
    }
    return answer->values.constFirst().toString();
}

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
    const std::optional<QString> text = d->readText(group, key);
    report(found, text.has_value());
    return text.value_or(defaultValue);
}

double Configuration::ReadConfigValue(const QString& group, const QString& key, double defaultValue, bool* found,
                                      bool) const
{
    bool isNumber = false;
    const double number = d->readText(group, key).value_or(QString()).toDouble(&isNumber);
    isNumber = isNumber && std::isfinite(number);
    report(found, isNumber);
    return isNumber ? number : defaultValue;
}

bool Configuration::WriteConfigValue(const QString& group, const QString& key, const QString& value, bool) const
{
    return !d->isUnreadable && isDone(QStringLiteral("SetStringValue"), {group, key, value});
}

bool Configuration::Save() const
{
    return !d->isUnreadable && isDone(QStringLiteral("Save"), {});
}

bool Configuration::Freeze() const
{
    return isDone(QStringLiteral("Freeze"), {});
}
