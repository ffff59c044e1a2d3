// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ChargeTrace.h"

#include "ShownText.h"

#include <QDateTime>

#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr double kSecondsPerDay = 86'400;

/// Where each value stands in a line; negative: nowhere.
struct Columns
{
    qsizetype time = 0;
    qsizetype charge = 1;
    qsizetype volume = 2;
    qsizetype light = 3;
};

std::optional<double> secondsOf(const QByteArray& text)
{
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    if (isNumber) {
        return std::isfinite(number) ? std::optional(number) : std::nullopt;
    }
    const QString word = QString::fromLatin1(text);
    const QTime time = QTime::fromString(word, Qt::ISODate);
    if (time.isValid()) {
        return time.msecsSinceStartOfDay() / 1000.0;
    }
    const QDateTime moment = QDateTime::fromString(word, Qt::ISODateWithMs);
    return moment.isValid() ? std::optional(static_cast<double>(moment.toMSecsSinceEpoch()) / 1000.0) : std::nullopt;
}

bool isTimeOfDay(const QByteArray& text)
{
    return text.contains(':') && text.size() < 13;
}

/// Reads one line after the other.
class Parser
{
public:
    explicit Parser(QString* fault) : m_fault(fault) {}

    /// @return false: the line is wrong
    bool read(const QByteArray& line)
    {
        ++m_line;
        const QByteArray text = line.split('#').constFirst().trimmed();
        if (text.isEmpty()) {
            return true;
        }
        if (text.size() > kLongestLine) {
            return refuse(0, line, u"a line of at most %1 bytes"_s.arg(kLongestLine));
        }
        const QList<QByteArray> fields = text.split(',');
        const bool isFirst = !m_hasSeenLine;
        m_hasSeenLine = true;
        if (isFirst && !secondsOf(fields.constFirst().trimmed())) {
            return readNames(fields);
        }
        return readSample(fields);
    }

    QList<ChargeSample> samples;

private:
    static constexpr qsizetype kLongestLine = 10'000;

    bool refuse(qsizetype column, const QByteArray& found, const QString& expected)
    {
        *m_fault = u"%1:%2: found \"%3\"; expected %4"_s.arg(QString::number(m_line), QString::number(column + 1),
                                                             shown(found.trimmed()), expected);
        return false;
    }

    bool readNames(const QList<QByteArray>& fields)
    {
        m_columns = {-1, -1, -1, -1};
        for (qsizetype place = 0; place < fields.size(); ++place) {
            const QByteArray name = fields.at(place).trimmed().toLower();
            if (name == "time" || name == "seconds") {
                m_columns.time = place;
            } else if (name == "charge") {
                m_columns.charge = place;
            } else if (name == "volume") {
                m_columns.volume = place;
            } else if (name == "light") {
                m_columns.light = place;
            }
        }
        return (m_columns.time >= 0 && m_columns.charge >= 0) ||
               refuse(0, fields.join(','), u"a time and a charge, or their names: time,charge"_s);
    }

    bool readSample(const QList<QByteArray>& fields)
    {
        std::optional<double> seconds = secondsOf(fields.value(m_columns.time).trimmed());
        if (!seconds) {
            return refuse(columnOf(fields, m_columns.time), fields.value(m_columns.time),
                          u"a time: seconds, hh:mm:ss, or yyyy-MM-ddThh:mm:ss"_s);
        }
        if (m_last && isTimeOfDay(fields.value(m_columns.time)) && *seconds + m_days * kSecondsPerDay < *m_last) {
            ++m_days; // past midnight
        }
        *seconds += m_days * kSecondsPerDay;
        if (m_last && *seconds < *m_last) {
            return refuse(columnOf(fields, m_columns.time), fields.value(m_columns.time),
                          u"a time not before that of the line above"_s);
        }
        bool isNumber = false;
        const double charge = fields.value(m_columns.charge).trimmed().toDouble(&isNumber);
        if (!isNumber || !(charge >= 0 && charge <= 100)) {
            return refuse(columnOf(fields, m_columns.charge), fields.value(m_columns.charge),
                          u"a charge from 0 to 100"_s);
        }
        std::optional<double> ceilings[2];
        const qsizetype places[2] = {m_columns.volume, m_columns.light};
        for (int i = 0; i < 2; ++i) {
            const QByteArray field = fields.value(places[i]).trimmed();
            if (places[i] < 0 || field.isEmpty()) {
                continue;
            }
            const double value = field.toDouble(&isNumber);
            if (!isNumber || !std::isfinite(value)) {
                return refuse(columnOf(fields, places[i]), field, u"a number, or nothing"_s);
            }
            ceilings[i] = value;
        }
        m_first = m_first.value_or(*seconds);
        m_last = seconds;
        samples.append({*seconds - *m_first, static_cast<int>(charge), ceilings[0], ceilings[1]});
        return true;
    }

    static qsizetype columnOf(const QList<QByteArray>& fields, qsizetype place)
    {
        qsizetype column = 0;
        for (qsizetype i = 0; i < std::min(place, fields.size()); ++i) {
            column += fields.at(i).size() + 1;
        }
        return column;
    }

    QString* m_fault;
    Columns m_columns;
    qsizetype m_line = 0;
    bool m_hasSeenLine = false;
    int m_days = 0;
    std::optional<double> m_first;
    std::optional<double> m_last;
};

} // namespace

std::optional<ChargeTrace> ChargeTrace::parse(const QByteArray& csv, QString* fault)
{
    Parser parser(fault);
    for (const QByteArray& line : csv.split('\n')) {
        if (!parser.read(line)) {
            return std::nullopt;
        }
    }
    if (parser.samples.isEmpty()) {
        *fault = u"1:1: found no sample; expected lines of TIME,CHARGE"_s;
        return std::nullopt;
    }
    ChargeTrace trace;
    trace.m_samples = parser.samples;
    return trace;
}

const QList<ChargeSample>& ChargeTrace::samples() const
{
    return m_samples;
}

double ChargeTrace::length() const
{
    return m_samples.constLast().seconds;
}
