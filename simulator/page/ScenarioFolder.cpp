// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ScenarioFolder.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr QLatin1StringView kEnding(".scenario");

/// A longer one would not be read as a whole.
constexpr qint64 kMostBytes = qint64{1024} * 1024;

} // namespace

ScenarioFolder::ScenarioFolder(const QString& path) : m_path(path) {}

QStringList ScenarioFolder::names() const
{
    if (m_path.isEmpty()) {
        return {};
    }
    return QDir(m_path).entryList({u'*' + kEnding}, QDir::Files | QDir::NoSymLinks, QDir::Name);
}

std::optional<QString> ScenarioFolder::read(const QString& name, QString* error) const
{
    const QStringList known = names();
    if (!known.contains(name)) {
        *error = u"found \""_s + name + u"\", expected one of "_s + known.join(u", "_s);
        return std::nullopt;
    }
    QFile file(QDir(m_path).filePath(name));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *error = name + u": "_s + file.errorString();
        return std::nullopt;
    }
    const QByteArray content = file.read(kMostBytes + 1);
    if (content.size() > kMostBytes) {
        *error = name + u": found more than "_s + QString::number(kMostBytes) + u" bytes, expected a scenario"_s;
        return std::nullopt;
    }
    return QString::fromUtf8(content);
}

bool ScenarioFolder::isName(const QString& name, QString* error)
{
    static const QRegularExpression kName(u"\\A[a-z0-9-]{1,40}\\z"_s);
    const bool isGood = kName.match(name).hasMatch();
    if (!isGood) {
        *error = u"found the name \""_s + name + u"\", expected 1 to 40 small letters, digits and \"-\""_s;
    }
    return isGood;
}

bool ScenarioFolder::write(const QString& name, const QString& text, QString* error) const
{
    if (!isName(name, error)) {
        return false;
    }
    if (m_path.isEmpty()) {
        *error = u"there is no folder for scenarios: see the option --scenarios"_s;
        return false;
    }
    QFile file(QDir(m_path).filePath(name + kEnding));
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly) || file.write(text.toUtf8()) < 0 || !file.flush()) {
        *error = file.fileName() + u": "_s + file.errorString();
        return false;
    }
    return true;
}
