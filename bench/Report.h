// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

#include <optional>

/// What was measured, row by row.
class Report
{
public:
    /// @param floor the same of the floor, measured in the same run; nothing where the floor does not do it
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
