// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

#include <optional>

/// The measurements, row by row.
class Report
{
public:
    /// @param floor the floor's figure from the same run, if the floor does this at all
    void add(const QString& what, const QString& unit, double daemon, std::optional<double> floor = std::nullopt);

    /// A Markdown table with the daemon's ratio to the floor.
    [[nodiscard]] QString toMarkdown() const;
    /// An array of one object per row.
    [[nodiscard]] QByteArray toJson() const;

private:
    struct Row
    {
        QString what;
        QString unit;
        double daemon = 0;
        std::optional<double> floor;
    };

    QList<Row> m_rows;
};
