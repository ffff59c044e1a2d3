// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

/// The folder of scenarios that the page plays and writes. No other file is reached, whatever the name.
class ScenarioFolder
{
public:
    /// @param path empty: there is no folder
    explicit ScenarioFolder(const QString& path);

    /// Names of the files, e.g. "night.scenario", in alphabetical order.
    [[nodiscard]] QStringList names() const;

    /// @return nothing if there is no such file or it can't be read: *error says so
    [[nodiscard]] std::optional<QString> read(const QString& name, QString* error) const;

    /// Whether a new file may have that name, without its ending; if not, *error says so.
    [[nodiscard]] static bool isName(const QString& name, QString* error);

    /// Writes a new file. @param name without its ending: small letters, digits and "-"
    /// @return whether that went well; *error says what did not
    [[nodiscard]] bool write(const QString& name, const QString& text, QString* error) const;

private:
    QString m_path;
};
