// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

/// About three digits: more would only be noise.
QString toText(double value)
{
    return QString::number(value, 'f', value < 10 ? 2 : value < 100 ? 1 : 0);
}

} // namespace

void Report::add(const QString& what, const QString& unit, double daemon, std::optional<double> floor)
{
    m_rows.append({what, unit, daemon, floor});
}

QString Report::toMarkdown() const
{
    QString table = u"| measured | unit | daemon | floor | ratio |\n|---|---|---:|---:|---:|\n"_s;
    for (const Row& row : m_rows) {
        const QString floor = row.floor ? toText(*row.floor) : QString();
        const QString ratio = row.floor.value_or(0) > 0 ? QString::number(row.daemon / *row.floor, 'f', 2) : QString();
        table += u"| "_s + QStringList{row.what, row.unit, toText(row.daemon), floor, ratio}.join(u" | "_s) + u" |\n"_s;
    }
    return table;
}

QByteArray Report::toJson() const
{
    QJsonArray rows;
    for (const Row& row : m_rows) {
        QJsonObject object{{u"measured"_s, row.what}, {u"unit"_s, row.unit}, {u"daemon"_s, row.daemon}};
        if (row.floor) {
            object.insert(u"floor"_s, *row.floor);
        }
        rows.append(object);
    }
    return QJsonDocument(rows).toJson();
}
