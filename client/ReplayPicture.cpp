// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ReplayPicture.h"

#include "ChargeTrace.h"
#include "ShownText.h"
#include "ZonePalette.h"
#include "ZoneReplay.h"

#include <QXmlStreamWriter>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kRows = 10;
constexpr int kLabelColumns = 6; // "100 % "

/// The charge at a moment: that of the last sample before it.
int chargeAt(const QList<ChargeSample>& samples, double seconds)
{
    const auto next = std::upper_bound(samples.begin(), samples.end(), seconds,
                                       [](double moment, const ChargeSample& s) { return moment < s.seconds; });
    return next == samples.begin() ? samples.constFirst().chargePercent : std::prev(next)->chargePercent;
}

/// Writes an SVG element with attributes.
class Drawing
{
public:
    explicit Drawing(QByteArray* document) : m_writer(document)
    {
        m_writer.setAutoFormatting(true);
        m_writer.writeStartDocument();
        m_writer.writeStartElement(u"svg"_s);
        m_writer.writeAttribute(u"xmlns"_s, u"http://www.w3.org/2000/svg"_s);
        m_writer.writeAttribute(u"viewBox"_s, u"0 0 900 330"_s);
        m_writer.writeAttribute(u"font-family"_s, u"sans-serif"_s);
        m_writer.writeAttribute(u"font-size"_s, u"12"_s);
    }
    ~Drawing()
    {
        m_writer.writeEndDocument();
    }
    Q_DISABLE_COPY_MOVE(Drawing)

    void rectangle(double x, double y, double width, double height, const QString& fill)
    {
        m_writer.writeEmptyElement(u"rect"_s);
        attribute("x", x);
        attribute("y", y);
        attribute("width", width);
        attribute("height", height);
        m_writer.writeAttribute(u"fill"_s, fill);
    }

    void line(const QString& points, const QString& stroke)
    {
        m_writer.writeEmptyElement(u"polyline"_s);
        m_writer.writeAttribute(u"points"_s, points);
        m_writer.writeAttribute(u"fill"_s, u"none"_s);
        m_writer.writeAttribute(u"stroke"_s, stroke);
        m_writer.writeAttribute(u"stroke-width"_s, u"1.5"_s);
    }

    void text(double x, double y, const QString& anchor, const QString& words)
    {
        m_writer.writeStartElement(u"text"_s);
        attribute("x", x);
        attribute("y", y);
        m_writer.writeAttribute(u"text-anchor"_s, anchor);
        m_writer.writeCharacters(words);
        m_writer.writeEndElement();
    }

private:
    void attribute(const char* name, double value)
    {
        m_writer.writeAttribute(QString::fromLatin1(name), QString::number(value, 'f', 1));
    }

    QXmlStreamWriter m_writer;
};

} // namespace

QString clockText(double seconds)
{
    const auto whole = static_cast<qint64>(seconds);
    const QString clock = u"%1:%2:%3"_s.arg(whole / 3600 % 24, 2, 10, QLatin1Char('0'))
                              .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
                              .arg(whole % 60, 2, 10, QLatin1Char('0'));
    return whole < 86'400 ? clock : u"%1 d "_s.arg(whole / 86'400) + clock;
}

namespace replaypicture {

QStringList lines(const ZoneTable& table, const ChargeTrace& trace, const ZoneReplay& replay, int width,
                  bool hasColours)
{
    const ZonePalette palette(table);
    const int columns = std::clamp(width - kLabelColumns - 1, 10, 200);
    const auto momentOf = [&trace, columns](int column) { return trace.length() * (column + 1) / columns; };
    QStringList lines;
    for (int row = kRows; row > 0; --row) {
        QString line = u"%1 % "_s.arg(row * 100 / kRows, 3);
        for (int column = 0; column < columns; ++column) {
            const double moment = momentOf(column);
            const bool isBelow = chargeAt(trace.samples(), moment) > (row - 1) * 100 / kRows;
            line += isBelow ? palette.cell(replay.zoneAt(moment), hasColours) : u" "_s;
        }
        while (line.endsWith(u' ')) {
            line.chop(1);
        }
        lines.append(line);
    }
    const QString end = clockText(trace.length());
    lines.append(QString(kLabelColumns, u' ') + u"00:00:00"_s + end.rightJustified(columns - 8));
    return lines;
}

QByteArray svg(const ZoneTable& table, const ChargeTrace& trace, const ZoneReplay& replay, const QString& title)
{
    constexpr double kLeft = 50;
    constexpr double kTop = 30;
    constexpr double kWidth = 830;
    constexpr double kHeight = 240;
    const double scale = trace.length() > 0 ? kWidth / trace.length() : 0;
    const auto yOf = [](int charge) { return kTop + kHeight * (100 - charge) / 100; };
    const ZonePalette palette(table);
    QByteArray document;
    Drawing drawing(&document);
    drawing.rectangle(0, 0, 900, 330, u"white"_s);
    drawing.text(kLeft, 20, u"start"_s,
                 u"%1: %2 changes, %3 flaps"_s.arg(shown(title)).arg(replay.count()).arg(replay.flaps()));
    for (qsizetype i = 0; i < replay.changes().size(); ++i) {
        const ZoneChange& change = replay.changes().at(i);
        const double end = i + 1 < replay.changes().size() ? replay.changes().at(i + 1).seconds : trace.length();
        drawing.rectangle(kLeft + change.seconds * scale, kTop, (end - change.seconds) * scale, kHeight,
                          palette.colour(change.to));
    }
    // A step per change of the charge; a picture shows no more of them than it has columns.
    QString points;
    int previous = -1;
    double lastX = -1;
    for (const ChargeSample& sample : trace.samples()) {
        const double x = kLeft + sample.seconds * scale;
        if (sample.chargePercent == previous || x - lastX < 0.25) {
            continue;
        }
        points += previous < 0 ? QString() : u"%1,%2 "_s.arg(x, 0, 'f', 1).arg(yOf(previous), 0, 'f', 1);
        points += u"%1,%2 "_s.arg(x, 0, 'f', 1).arg(yOf(sample.chargePercent), 0, 'f', 1);
        previous = sample.chargePercent;
        lastX = x;
    }
    points += u"%1,%2"_s.arg(kLeft + kWidth, 0, 'f', 1).arg(yOf(previous), 0, 'f', 1);
    drawing.line(points, u"black"_s);
    for (const int charge : {0, 50, 100}) {
        drawing.text(kLeft - 6, yOf(charge) + 4, u"end"_s, u"%1 %"_s.arg(charge));
    }
    drawing.text(kLeft, kTop + kHeight + 18, u"start"_s, u"00:00:00"_s);
    drawing.text(kLeft + kWidth, kTop + kHeight + 18, u"end"_s, clockText(trace.length()));
    double x = kLeft;
    for (int zone = 0; zone < table.zones().size() && x < kLeft + kWidth; ++zone) {
        if (replay.secondsIn(zone) > 0) {
            drawing.rectangle(x, 305, 12, 12, palette.colour(zone));
            const QString name = shown(table.zones().at(zone).name);
            drawing.text(x + 17, 315, u"start"_s, name);
            x += 40 + 8 * static_cast<double>(name.size());
        }
    }
    return document;
}

} // namespace replaypicture
