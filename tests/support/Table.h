// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QTest>

#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
// There, the macros that wait for a condition narrow their time-out, and GCC sees it in the code that uses them.
#pragma GCC diagnostic ignored "-Wconversion"
#endif

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
