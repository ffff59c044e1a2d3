// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Log.h"
#include "PhoneManagerProxy.h"
#include "PowerManagerFixture.h"
#include "common_qdbus.h"

#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;

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
        QCOMPARE(entry.place.size() + 2 + entry.name.size(), 511);
        static const QRegularExpression kPlace(
            u"^\\[tst_logging\\.cpp:\\d+\\] void TstLogging::lineNamesItsPlaceAndIsCut\\(\\)$"_s);
        QVERIFY2(kPlace.match(entry.place).hasMatch(), qPrintable(entry.place));
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
        QVERIFY(timeline().entries().constFirst().place.startsWith(u"[common_qdbus.h:"));
    }

    void callInFlightIsNotWaitedFor()
    {
        QCOMPARE(arrange(u"fail phonemanager.ForcePhoneOff mute"_s), QString());
        const QDBusPendingReply<int> reply = m_phone.ForcePhoneOff(true);

        PRINT_DBUS_RESULT(kObjectPath, u"Call"_s, reply);

        QVERIFY(!reply.isFinished());
        QCOMPARE(take().constFirst(), u"log 2 Dbus Call async call: finished=false"_s);
    }
};

QTEST_GUILESS_MAIN(TstLogging)
#include "tst_logging.moc"
