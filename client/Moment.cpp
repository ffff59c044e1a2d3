// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Moment.h"

#include "Terminal.h"

#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char kExpected[] =
    "expected a time such as \"+8h\", \"+1h30m\", \"07:30\" or \"2026-03-08 07:30\", local time";

/// A wake-up that is nearer may be over before the device is in standby: 5 s are for those who listen.
constexpr int kShortestSeconds = 30;
constexpr int kLongestDays = 31;

/// Seconds of "8h", "1h30m", "90s", "2d"; -1 if it is no such text.
qint64 parseDuration(const QString& text)
{
    const QRegularExpression form(u"^(?:(\\d{1,4})d)?(?:(\\d{1,4})h)?(?:(\\d{1,5})m(?:in)?)?(?:(\\d{1,6})s)?$"_s);
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch() || text.isEmpty()) {
        return -1;
    }
    return match.captured(1).toLongLong() * 86400 + match.captured(2).toLongLong() * 3600 +
           match.captured(3).toLongLong() * 60 + match.captured(4).toLongLong();
}

/// The local time with these fields. One that the clock skips in spring counts on from the hour before it, as the power
/// daemon takes it.
QDateTime localTime(QDate date, QTime time)
{
    QDateTime plain(date, time);
    if (plain.isValid() && plain.date() == date && plain.time() == time) {
        return plain;
    }
    const int seconds = time.msecsSinceStartOfDay() / 1000 - 3600;
    const QDateTime before(seconds < 0 ? date.addDays(-1) : date,
                           QTime(0, 0).addSecs(seconds < 0 ? seconds + 86400 : seconds));
    return before.addSecs(3600);
}

/// What the clock's changes make of a local time with these fields.
void doubtClock(QDate date, QTime time, Moment& moment)
{
    const QString shown = time.toString(u"HH:mm:ss"_s);
    if (moment.time.date() != date || moment.time.time() != time) {
        moment.doubts.append(u"The clock skips %1 on %2; the device would wake up at %3."_s.arg(
            shown, date.toString(Qt::ISODate), moment.time.toString(u"HH:mm:ss"_s)));
        return;
    }
    for (const int seconds : {-3600, 3600}) {
        const QDateTime other = QDateTime::fromSecsSinceEpoch(moment.time.toSecsSinceEpoch() + seconds);
        if (other.date() == date && other.time() == time) {
            moment.doubts.append(u"The clock shows %1 twice on %2; the power daemon takes one of the two."_s.arg(
                shown, date.toString(Qt::ISODate)));
        }
    }
}

} // namespace

QTime parseTimeOfDay(const QString& text)
{
    QTime time = QTime::fromString(text, u"HH:mm:ss"_s);
    if (!time.isValid()) {
        time = QTime::fromString(text, u"HH:mm"_s);
    }
    return time.isValid() ? time : QTime::fromString(text, u"H:mm"_s);
}

Moment Moment::parse(const QString& text, const QDateTime& now)
{
    Moment moment;
    const QString found = u"found \"%1\"; "_s.arg(printable(text));
    if (text.startsWith(u'+')) {
        const qint64 seconds = parseDuration(text.mid(1));
        if (seconds < 0) {
            moment.fault = found + QLatin1StringView(kExpected);
            return moment;
        }
        moment.time = QDateTime::fromSecsSinceEpoch(now.toSecsSinceEpoch() + seconds);
        doubtClock(moment.time.date(), moment.time.time(), moment);
    } else {
        const QString plain = QString(text).replace(u'T', u' ').simplified();
        const bool hasDate = plain.contains(u' ');
        const QTime time = parseTimeOfDay(plain.section(u' ', -1));
        QDate date = hasDate ? QDate::fromString(plain.section(u' ', 0, -2), Qt::ISODate) : now.date();
        if (!time.isValid() || !date.isValid()) {
            moment.fault = found + QLatin1StringView(kExpected);
            return moment;
        }
        if (!hasDate && localTime(date, time) <= now) {
            date = date.addDays(1);
        }
        moment.time = localTime(date, time);
        doubtClock(date, time, moment);
    }
    const qint64 seconds = now.secsTo(moment.time);
    const QString shown = moment.time.toString(u"yyyy-MM-dd HH:mm:ss"_s);
    if (seconds <= 0) {
        moment.doubts.append(u"%1 is in the past: nothing would wake the device up."_s.arg(shown));
    } else if (seconds < kShortestSeconds) {
        moment.doubts.append(
            u"%1 is in %2 s: the alarm may pass before the device is in standby."_s.arg(shown).arg(seconds));
    } else if (seconds > qint64{kLongestDays} * 86400) {
        moment.doubts.append(u"%1 is in %2 days."_s.arg(shown).arg(seconds / 86400));
    }
    return moment;
}

QString momentText(const QDateTime& time)
{
    return time.toString(u"yyyy-MM-dd HH:mm:ss"_s);
}
