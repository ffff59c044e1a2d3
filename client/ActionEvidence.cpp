// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionEvidence.h"

#include "Terminal.h"

#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A request may have waited for a power action that ran, before it was served and recorded.
constexpr qint64 kLongestWaitSeconds = 600;
/// The record has whole seconds, and is written after the request.
constexpr qint64 kClockSlackSeconds = 2;

constexpr qint64 kMostLineBytes = qint64{1024} * 1024;
constexpr int kJournalLimitMs = 10000;
constexpr qsizetype kMostJournalLines = 20;

QString argumentText(const QJsonObject& event, qsizetype place)
{
    return event.value(u"arguments"_s).toArray().at(place)[u"value"].toVariant().toString();
}

/// Whether the event is the request that made the daemon write the record.
bool isRequestOf(const QJsonObject& event, const ReasonRecord& record)
{
    const QString member = event.value(u"member"_s).toString();
    if (member.compare(record.action, Qt::CaseInsensitive) == 0) {
        return argumentText(event, 0) == record.reason;
    }
    // The reboot after a wake-up was asked for by whoever sent the device to sleep.
    const bool isSleep = record.reason == u"sleep" && record.action == u"reboot";
    return isSleep && (member == u"Suspend" || (member == u"SetSleepEnabled" && argumentText(event, 0) == u"true"));
}

} // namespace

ActionEvidence ActionEvidence::fromRecord(QIODevice& file, const ReasonRecord& record)
{
    ActionEvidence evidence;
    QString id;
    for (int line = 1; !file.atEnd(); ++line) {
        const QByteArray content = file.readLine(kMostLineBytes);
        const QJsonDocument document = QJsonDocument::fromJson(content);
        if (!document.isObject()) {
            if (!content.trimmed().isEmpty() && ++evidence.wrongLines == 1) {
                evidence.firstWrongLine = line;
            }
            continue;
        }
        const QJsonObject event = document.object();
        const QString kind = event.value(u"kind"_s).toString();
        const QDateTime clock =
            QDateTime::fromString(event.value(u"clock"_s).toString(), Qt::ISODateWithMs).toLocalTime();
        if (kind == u"request" && isRequestOf(event, record)) {
            const qint64 before = clock.secsTo(record.time);
            const bool mayBeLong = record.reason == u"sleep";
            if (clock.isValid() && before >= -kClockSlackSeconds && (mayBeLong || before <= kLongestWaitSeconds)) {
                evidence.caller = Caller::fromJson(event.value(u"sender"_s).toObject());
                evidence.request = event.value(u"member"_s).toString() + u"(\""_s +
                                   argumentText(event, event.value(u"arguments"_s).toArray().size() > 1 ? 1 : 0) +
                                   u"\")"_s;
                evidence.askedAt = clock;
                evidence.answer.clear();
                id = event.value(u"id"_s).toString();
            }
        } else if (kind == u"answer" && !id.isEmpty() && event.value(u"id"_s).toString() == id) {
            const QJsonObject error = event.value(u"error"_s).toObject();
            const int status = event.value(u"reply"_s).toArray().at(0)[u"value"].toInt();
            evidence.answer = !error.isEmpty() ? error.value(u"name"_s).toString()
                              : status == 0    ? u"accepted"_s
                                               : u"refused, status %1"_s.arg(status);
        }
    }
    return evidence;
}

ActionEvidence ActionEvidence::fromJournal(const QString& since, const ReasonRecord& record, QString* fault)
{
    ActionEvidence evidence;
    QProcess journal;
    journal.start(u"journalctl"_s, {u"--user"_s, u"--no-pager"_s, u"--quiet"_s, u"--output=short-iso"_s,
                                    u"--identifier=powermanager"_s, u"--since="_s + since});
    if (!journal.waitForFinished(kJournalLimitMs)) {
        *fault = u"journalctl: "_s +
                 (journal.error() == QProcess::Timedout ? u"no answer in ten seconds"_s : journal.errorString());
        journal.kill();
        journal.waitForFinished();
        return evidence;
    }
    if (journal.exitStatus() != QProcess::NormalExit || journal.exitCode() != 0) {
        *fault = u"journalctl: "_s + printable(QString::fromLocal8Bit(journal.readAllStandardError()).trimmed());
        return evidence;
    }
    const QString begin =
        (record.action == u"reboot" ? u": Reboot (%1) requested"_s : u": Shutdown (%1) requested"_s).arg(record.reason);
    const QStringList lines = QString::fromUtf8(journal.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    qsizetype first = -1;
    for (qsizetype place = 0; place < lines.size(); ++place) {
        first = lines.at(place).contains(begin) ? place : first;
    }
    if (first >= 0) {
        evidence.journal = lines.mid(first, kMostJournalLines);
    }
    return evidence;
}
