// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ReasonRecord.h"

#include "NearestWord.h"
#include "Paths.h"
#include "Terminal.h"

#include <QFile>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char kTimeFormat[] = "yyyy/MM/dd-HH:mm:ss";

/// The longest content that is read: a caller's reason has no limit.
constexpr qint64 kMostBytes = qint64{1024} * 1024;

struct Meaning
{
    const char* reason;
    const char* meaning;
};

/// The reasons that are used on the device.
constexpr Meaning kMeanings[] = {
    {"restore", "a factory reset was complete"},
    {"user_btn", "somebody used the device's buttons"},
    {"user_gui", "somebody asked for it in the user interface"},
    {"user_sms", "somebody asked for it by a text message"},
    {"upgrade", "an upgrade wanted a restart"},
    {"watchdog", "a watchdog found something that hung"},
    {"sleep", "the device woke up from a suspend, after which it always reboots"},
    {"user_cli", "somebody used zelt-power"},
    {"cmd_shdm", "the battery was nearly empty: the power microcontroller raised its low-power line"},
};

struct Unit
{
    qint64 seconds;
    const char* name;
};

constexpr Unit kUnits[] = {{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}};

QStringList knownReasons()
{
    QStringList reasons;
    for (const Meaning& meaning : kMeanings) {
        reasons.append(QString::fromLatin1(meaning.reason));
    }
    return reasons;
}

} // namespace

std::optional<ReasonRecord> ReasonRecord::parse(const QByteArray& content, QString* fault)
{
    QString text = QString::fromUtf8(content);
    if (text.endsWith(u'\n')) {
        text.chop(1);
    }
    const QString timeText = text.section(u'|', 0, 0);
    const QString actionText = text.section(u'|', 1, 1);
    const QString prefix = u"last_"_s;
    ReasonRecord record{QDateTime::fromString(timeText, QLatin1StringView(kTimeFormat)), actionText.mid(prefix.size()),
                        text.section(u'|', 2)};
    const bool isAction = actionText == u"last_reboot" || actionText == u"last_shutdown";
    if (!record.time.isValid() || !isAction || text.count(u'|') < 2) {
        *fault =
            u"found \"%1\"; expected \"yyyy/MM/dd-hh:mm:ss|last_reboot|REASON\" or \"...|last_shutdown|REASON\""_s.arg(
                printable(text.left(100)));
        return std::nullopt;
    }
    return record;
}

std::optional<ReasonRecord> ReasonRecord::read(QString* fault)
{
    QFile file(paths::lastActionFile());
    if (!file.exists()) {
        *fault = u"there is no record: nothing was rebooted or shut down yet, or its folder is missing"_s;
        return std::nullopt;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        *fault = file.errorString();
        return std::nullopt;
    }
    return parse(file.read(kMostBytes), fault);
}

QString ReasonRecord::meaning() const
{
    const auto* found = std::find_if(std::begin(kMeanings), std::end(kMeanings), [this](const Meaning& candidate) {
        return reason == QLatin1StringView(candidate.reason);
    });
    return found == std::end(kMeanings) ? u"a free text of whoever asked; none of the reasons that the device uses"_s
                                        : QString::fromLatin1(found->meaning);
}

QJsonObject ReasonRecord::toJson() const
{
    return {{u"time"_s, time.toString(Qt::ISODate)},
            {u"clock"_s, time.toUTC().toString(Qt::ISODate)},
            {u"action"_s, action},
            {u"reason"_s, reason},
            {u"meaning"_s, meaning()}};
}

QString durationText(qint64 seconds)
{
    QStringList parts;
    qint64 rest = std::max<qint64>(0, seconds);
    for (const Unit& unit : kUnits) {
        if (rest >= unit.seconds && parts.size() < 2) {
            parts.append(u"%1 %2"_s.arg(rest / unit.seconds).arg(QLatin1StringView(unit.name)));
        } else if (!parts.isEmpty()) {
            break;
        }
        rest %= unit.seconds;
    }
    return parts.isEmpty() ? u"0 s"_s : parts.join(u' ');
}

PositionalDescription reasonPositional()
{
    PositionalDescription positional{u"REASON"_s,
                                     u"why, for the record and for those who listen; \"user_cli\" if left out"_s};
    positional.isOptional = true;
    positional.hints = knownReasons();
    return positional;
}

QString reasonOf(const QString& argument)
{
    return argument.isEmpty() ? u"user_cli"_s : argument;
}

QStringList reasonDoubts(const QString& reason)
{
    QStringList doubts;
    const QString near = knownReasons().contains(reason) ? QString() : nearestWord(reason, knownReasons());
    if (!near.isEmpty()) {
        doubts.append(
            u"Nobody listens for the reason \"%1\"; \"%2\" is one that is used."_s.arg(printable(reason), near));
    }
    if (printable(reason) != reason) {
        doubts.append(u"The reason has control characters, and the record would not be one line."_s);
    }
    return doubts;
}
