// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Configuration.h"
#include "libgpio.h"

#include <QHash>

// The parts of the platform whose cost is in other programs or in the hardware. Here they answer from memory, so that a
// benchmark measures the daemon only.

struct Configuration::Private
{
    QHash<QString, QString> texts;
};

Configuration::Configuration(const QString&) : d(std::make_unique<Private>()) {}

Configuration::~Configuration() = default;

bool Configuration::isValid() const
{
    return true;
}

QString Configuration::ReadConfigValue(const QString& group, const QString& key, const QString& defaultValue,
                                       bool* found, bool) const
{
    const auto text = d->texts.constFind(group + u'/' + key);
    if (found != nullptr) {
        *found = text != d->texts.cend();
    }
    return text != d->texts.cend() ? *text : defaultValue;
}

double Configuration::ReadConfigValue(const QString&, const QString&, double defaultValue, bool*, bool) const
{
    return defaultValue;
}

bool Configuration::WriteConfigValue(const QString& group, const QString& key, const QString& value, bool) const
{
    d->texts.insert(group + u'/' + key, value);
    return true;
}

bool Configuration::Save() const
{
    return true;
}

bool Configuration::Freeze() const
{
    return true;
}

int LIBGPIO_set_enabled(int, int)
{
    return 0;
}

int LIBGPIO_get_enabled(int, int* value)
{
    *value = 0;
    return 0;
}
