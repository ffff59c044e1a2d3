// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QTest>

/// The table of a data-driven test function: columns with their types and names, then a call for each row.
template <typename... Columns>
class Table
{
public:
    template <typename... Names>
    explicit Table(Names... columnNames)
    {
        (QTest::addColumn<Columns>(columnNames), ...);
    }

    void operator()(const char* rowName, const Columns&... values) const
    {
        (QTest::newRow(rowName) << ... << values);
    }
};
