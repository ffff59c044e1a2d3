// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The device's file system, as far as the power daemon sees it: the folders and files below the build's ZELT_ROOT.
///
/// What can fail returns whether it went well; *error names file and reason.
class DeviceFiles
{
public:
    /// @param root folder in place of the device's /opt/zelt; empty: there is none, and nothing is written
    explicit DeviceFiles(const QString& root);

    /// Makes the folders that a device has, and the example zone file and the scripts if they are missing.
    [[nodiscard]] bool prepare(QString* error) const;

    /// Puts a copy of the file in the zone file's place, in one step.
    [[nodiscard]] bool installZones(const QString& source, QString* error) const;

    /// Puts a zone file of that content in its place, in one step.
    [[nodiscard]] bool writeZones(const QByteArray& content, QString* error) const;

    /// Puts a script in its place, or takes it away.
    /// @param name      "clear_data" or "post_factory_restore"
    /// @param behaviour "works", "fails" (status 1), "hangs" (for an hour) or "missing"
    [[nodiscard]] bool installScript(const QString& name, const QString& behaviour, QString* error) const;

    /// Puts a file among the user's data.
    /// @param name of the file, without a folder
    [[nodiscard]] bool addUserData(const QString& name, QString* error) const;

    /// How many files, and folders, the user's data are.
    [[nodiscard]] int userDataCount() const;

    /// The reason record of the last reboot or shutdown; null if there is none.
    [[nodiscard]] QString record() const;

    /// The file of the power zones.
    [[nodiscard]] QString zoneFile() const;

    /// Where the configuration service keeps its values; empty if there are no files.
    [[nodiscard]] QString configFile() const;

private:
    [[nodiscard]] QString scriptFile(const QString& name) const;
    [[nodiscard]] QString userFolder() const;
    [[nodiscard]] bool exists(QString* error) const;
    /// Writes a file in one step.
    [[nodiscard]] bool write(const QString& path, const QByteArray& content, bool isExecutable, QString* error) const;

    QString m_root;
};
