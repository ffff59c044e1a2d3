// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "WhyCommand.h"

#include "ActionEvidence.h"
#include "Moment.h"
#include "Paths.h"
#include "Terminal.h"

#include <QFile>
#include <QJsonDocument>

#include <ctime>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The second in which this machine was started.
QDateTime bootTime()
{
    timespec now = {};
    (void)::clock_gettime(CLOCK_BOOTTIME, &now);
    return QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch() - now.tv_sec);
}

/// Who may have asked, as far as the reason alone tells.
QString askedByItself(const ReasonRecord& record)
{
    return record.reason == u"cmd_shdm" || record.reason == u"restore" || record.reason == u"sleep"
               ? u"the power daemon itself, unless a caller gave the same reason"_s
               : u"not known: the record has no callers; a record of \"zelt-power monitor --json\" has "
                 "(--record FILE)"_s;
}

QString followedText(const ReasonRecord& record)
{
    const QDateTime boot = bootTime();
    const qint64 seconds = record.time.secsTo(boot);
    if (seconds >= 0) {
        return u"the device started %1 later, at %2"_s.arg(durationText(seconds), momentText(boot));
    }
    return u"the device has not started anew since: refused by the frequency service, still under way, or carried out "
           "without it"_s;
}

} // namespace

CommandDescription WhyCommand::describe() const
{
    return {
        u"why"_s,
        u"explain the last reboot or shutdown"_s,
        u"Reads the record of the last reboot or shutdown and says what it was, when, what its reason means, and "
        "what followed. The record has no callers: who asked is known only to a monitor that ran at that time "
        "(--record). A suspend leaves no record of its own, but the reboot that follows it does."_s,
        {},
        {{{u"record"_s},
          u"look for who asked in a record of \"zelt-power monitor --json\"; - reads standard input"_s,
          u"FILE"_s,
          true},
         {{u"since"_s}, u"show the daemon's lines about it in the journal, from a time on, e.g. today"_s, u"TIME"_s},
         {{u"json"_s}, u"one JSON object"_s}},
        {{u"why"_s, u"what the record says"_s},
         {u"why --record day.jsonl"_s, u"and who asked"_s},
         {u"why --since today"_s, u"and what the daemon logged about it"_s}},
        {{ExitStatus::Done, u"explained"_s},
         {ExitStatus::Refused, u"there is no record of an action, or it can't be read"_s},
         {ExitStatus::WrongUse, u"the file of --record can't be read, or --since is no time"_s}}};
}

ExitStatus WhyCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    QString fault;
    const std::optional<ReasonRecord> record = ReasonRecord::read(&fault);
    if (!record) {
        terminal.complain(u"%1: %2"_s.arg(paths::lastActionFile(), fault));
        return ExitStatus::Refused;
    }
    ActionEvidence evidence;
    if (arguments.isSet(u"record"_s)) {
        const QString name = arguments.value(u"record"_s);
        QFile file(name);
        if (name == u"-" ? !file.open(stdin, QIODevice::ReadOnly) : !file.open(QIODevice::ReadOnly)) {
            terminal.complain(u"%1: %2"_s.arg(printable(name), file.errorString()));
            return ExitStatus::WrongUse;
        }
        evidence = ActionEvidence::fromRecord(file, *record);
        if (evidence.wrongLines > 0) {
            terminal.complain(u"%1:%2: found no JSON object; expected an event a line (%3 such lines passed over)"_s
                                  .arg(printable(name))
                                  .arg(evidence.firstWrongLine)
                                  .arg(evidence.wrongLines));
        }
    }
    if (arguments.isSet(u"since"_s)) {
        evidence.journal = ActionEvidence::fromJournal(arguments.value(u"since"_s), *record, &fault).journal;
        if (!fault.isEmpty()) {
            terminal.complain(fault);
            return ExitStatus::WrongUse;
        }
    }
    if (arguments.isSet(u"json"_s)) {
        const qint64 seconds = record->time.secsTo(bootTime());
        QJsonObject object = record->toJson();
        object.insert(u"restartedAfter"_s, seconds >= 0 ? QJsonValue(seconds) : QJsonValue(QJsonValue::Null));
        object.insert(u"sender"_s, evidence.caller ? evidence.caller->toJson() : QJsonValue(QJsonValue::Null));
        object.insert(u"answer"_s,
                      evidence.answer.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(evidence.answer));
        terminal.write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
        return ExitStatus::Done;
    }
    const auto row = [&terminal](const QString& name, const QString& text) {
        terminal.print(QString(name + u':').leftJustified(11) + text);
    };
    row(u"Action"_s, terminal.styled(record->action, Terminal::Style::Strong));
    row(u"Asked for"_s,
        u"%1, %2 ago"_s.arg(momentText(record->time), durationText(record->time.secsTo(QDateTime::currentDateTime()))));
    row(u"Reason"_s,
        u"%1: %2"_s.arg(record->reason.isEmpty() ? u"(none)"_s : printable(record->reason), record->meaning()));
    if (evidence.caller) {
        row(u"Asked by"_s, printable(evidence.caller->toText()));
        row(u"Request"_s, u"%1 at %2%3"_s.arg(printable(evidence.request), momentText(evidence.askedAt),
                                              evidence.answer.isEmpty() ? u"; no answer seen"_s
                                                                        : u"; "_s + printable(evidence.answer)));
    } else {
        row(u"Asked by"_s, arguments.isSet(u"record"_s)
                               ? u"not known: no request in the record fits; "_s + askedByItself(*record)
                               : askedByItself(*record));
    }
    row(u"Followed"_s, followedText(*record));
    if (arguments.isSet(u"since"_s)) {
        row(u"Journal"_s, evidence.journal.isEmpty() ? u"no line about it since then"_s : QString());
        for (const QString& line : std::as_const(evidence.journal)) {
            terminal.print(u"  "_s + printable(line));
        }
    }
    return ExitStatus::Done;
}
