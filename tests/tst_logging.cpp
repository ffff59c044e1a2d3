// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Log.h"
#include "PhoneManagerProxy.h"
#include "PowerManagerFixture.h"
#include "common_qdbus.h"

#include <QDir>
#include <QHash>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A message with its level: as a printf format in the code, with words in capitals for what varies on the page.
struct Message
{
    QString level;
    QString text;
};

QString contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QList<Message> messagesInCode()
{
    static const QRegularExpression kCall(
        uR"-(_LOG\(LogLevel::(\w+),\s*(?:\w+,\s*)?([^",;]*(?:"(?:[^"\\]|\\.)*"[^",;]*)+))-"_s);
    static const QRegularExpression kSeam(uR"-("\s+")-"_s);
    static const QRegularExpression kLiteral(uR"-("((?:[^"\\]|\\.)*)")-"_s);
    const QHash<QString, LogLevel> levels{{u"Error"_s, LogLevel::Error},
                                          {u"Warning"_s, LogLevel::Warning},
                                          {u"Info"_s, LogLevel::Info},
                                          {u"Actuation"_s, LogLevel::Actuation},
                                          {u"Detail"_s, LogLevel::Detail}};
    QList<Message> messages;
    for (const QString& folder : {u"/powermanager/"_s, u"/include/"_s}) {
        const QDir sources(QStringLiteral(SOURCE_FOLDER) + folder);
        for (const QFileInfo& file : sources.entryInfoList({u"*.cpp"_s, u"*.h"_s})) {
            for (auto calls = kCall.globalMatch(contentOf(file.filePath())); calls.hasNext();) {
                const auto call = calls.next();
                const QString level = QString::number(static_cast<unsigned>(levels.value(call.captured(1))));
                for (auto texts = kLiteral.globalMatch(call.captured(2).remove(kSeam)); texts.hasNext();) {
                    messages.append({level, texts.next().captured(1)});
                }
            }
        }
    }
    return messages;
}

QList<Message> messagesOnPage()
{
    static const QRegularExpression kRow(uR"-(^\| (`.*`) \| (\d) \| )-"_s, QRegularExpression::MultilineOption);
    static const QRegularExpression kText(u"`([^`]*)`"_s);
    QList<Message> messages;
    for (auto rows = kRow.globalMatch(contentOf(QStringLiteral(SOURCE_FOLDER "/docs/log-lines.md"))); rows.hasNext();) {
        const auto row = rows.next();
        for (auto texts = kText.globalMatch(row.captured(1).replace(u"\\|"_s, u"|"_s)); texts.hasNext();) {
            messages.append({row.captured(2), texts.next().captured(1)});
        }
    }
    return messages;
}

bool isDocumentedBy(const Message& code, const Message& page)
{
    static const QRegularExpression kVarying(u"%[.0-9]*[a-z]"_s);
    QStringList parts = code.text.trimmed().split(kVarying);
    for (QString& part : parts) {
        part = QRegularExpression::escape(part.replace(u"%%"_s, u"%"_s));
    }
    const QRegularExpression form(QRegularExpression::anchoredPattern(parts.join(u"\\w+")));
    return code.level == page.level && form.match(page.text).hasMatch(); // clazy:exclude=use-static-qregularexpression
}

/// Those of the first messages that match none of the others, each with its level.
template <typename Match>
QStringList without(const QList<Message>& messages, const QList<Message>& others, Match match)
{
    QStringList lonely;
    for (const Message& message : messages) {
        const bool isMatched =
            std::any_of(others.begin(), others.end(), [&](const Message& other) { return match(message, other); });
        if (!isMatched) {
            lonely.append(message.level + u' ' + message.text);
        }
    }
    return lonely;
}

} // namespace

/// The shape of a log line, and the reporter of asynchronous calls.
class TstLogging : public PowerManagerFixture
{
    Q_OBJECT

    PhoneManagerProxy m_phone{kPhoneService.busName, kPhoneService.objectPath, QDBusConnection::sessionBus()};

private Q_SLOTS:
    void lineNamesItsPlaceAndIsCut()
    {
        POWER_LOG(LogLevel::Error, "Error opening %s", QByteArray(1000, 'x').constData());

        const Timeline::Entry entry = timeline().entries().constFirst();
        QVERIFY(entry.toString().startsWith(u"log 1 Error opening xxx"));
        const LogLine log = *entry.as<LogLine>();
        QCOMPARE(log.place().size() + 2 + log.message.size(), 511);
        static const QRegularExpression kPlace(
            u"^\\[tst_logging\\.cpp:\\d+\\] void TstLogging::lineNamesItsPlaceAndIsCut\\(\\)$"_s);
        QVERIFY2(kPlace.match(log.place()).hasMatch(), qPrintable(log.place()));
    }

    void callIsReportedAsItStands_data()
    {
        const Table<QString, QString> row("fault", "expected");
        const QString failed = u"log 2 Dbus Call async call: finished=true, valid=false, error=true (%1), value=nd"_s;
        row("refused", u"status -7"_s,
            u"log 9 Dbus Call async call: finished=true, valid=true, error=false, value=-7"_s);
        row("a value too many", u"many"_s,
            u"log 9 Dbus Call async call: finished=true, valid=true, error=false, value=0"_s);
        row("error", u"error \"no modem\""_s, failed.arg(u"no modem"_s));
        row("wrong type", u"types"_s, failed.arg(u"Unexpected reply signature: got \"s\", expected \"i\""_s));
    }

    void callIsReportedAsItStands()
    {
        QFETCH(QString, fault);
        QCOMPARE(arrange(u"fail phonemanager.ForcePhoneOff "_s + fault), QString());
        QDBusPendingReply<int> reply = m_phone.ForcePhoneOff(true);
        reply.waitForFinished();
        timeline().clear();

        PRINT_DBUS_RESULT(kObjectPath, u"Call"_s, reply);

        QCOMPARE(timeline().size(), 1);
        QTEST(timeline().entries().constFirst().toString(), "expected");
        QCOMPARE(timeline().entries().constFirst().as<LogLine>()->file, u"common_qdbus.h"_s);
    }

    void callInFlightIsNotWaitedFor()
    {
        QCOMPARE(arrange(u"fail phonemanager.ForcePhoneOff mute"_s), QString());
        const QDBusPendingReply<int> reply = m_phone.ForcePhoneOff(true);

        PRINT_DBUS_RESULT(kObjectPath, u"Call"_s, reply);

        QVERIFY(!reply.isFinished());
        QCOMPARE(take().filter(u"log "_s), QStringList{u"log 2 Dbus Call async call: finished=false"_s});
    }

    void pageOfLogLinesIsComplete()
    {
        const QList<Message> code = messagesInCode();
        const QList<Message> page = messagesOnPage();
        QVERIFY(code.size() > 100);

        const QStringList missing = without(code, page, isDocumentedBy);
        const QStringList unknown = without(page, code, [](const Message& documented, const Message& logged) {
            return isDocumentedBy(logged, documented);
        });
        QVERIFY2(missing.isEmpty(), qPrintable(u"not on the page: "_s + missing.join(u", ")));
        QVERIFY2(unknown.isEmpty(), qPrintable(u"not in the code: "_s + unknown.join(u", ")));
    }
};

QTEST_GUILESS_MAIN(TstLogging)
#include "tst_logging.moc"
