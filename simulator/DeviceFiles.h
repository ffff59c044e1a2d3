// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The device's file system, as far as the power daemon sees it: the folders and files below the build's ZELT_ROOT.
class DeviceFiles
{
public:
    /// @param root folder in place of the device's /opt/zelt; empty: there is none, and nothing is written
    explicit DeviceFiles(const QString& root);

    /// Makes the folders that a device has, and the example zone file where there is none.
    /// @return whether that went well; *error names file and reason
    [[nodiscard]] bool prepare(QString* error) const;

    /// Puts a copy of the file in the zone file's place, in one step.
    /// @return whether that went well; *error names file and reason
    [[nodiscard]] bool installZones(const QString& source, QString* error) const;

    /// Where the configuration service keeps its values; empty where there are no files.
    [[nodiscard]] QString configFile() const;

private:
    [[nodiscard]] QString zoneFile() const;

    QString m_root;
};
