// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Log.h"
#include "PhoneManagerProxy.h"
#include "RecordingPlatform.h"
#include "SimulatedDevice.h"
#include "common_qdbus.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

/// The shape of a log line, and the reporter of asynchronous calls.
class TstLogging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        _logInterface = new LogInterface(QString());
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        timeline().clear();
    }

    void lineNamesItsPlace()
    {
        POWER_LOG(LogLevel::Info, "%d of %s", 5, "ten");

        const Timeline::Entry entry = timeline().entries().constFirst();
        QCOMPARE(entry.toString(), u"log 4 5 of ten"_s);
        QVERIFY2(QRegularExpression(u"^\\[tst_logging\\.cpp:\\d+\\] void TstLogging::lineNamesItsPlace\\(\\)$"_s)
                     .match(entry.place)
                     .hasMatch(),
                 qPrintable(entry.place));
    }

    void longLineIsCut()
    {
        POWER_LOG(LogLevel::Error, "Error opening %s", QByteArray(1000, 'x').constData());

        const Timeline::Entry entry = timeline().entries().constFirst();
        QCOMPARE(entry.place.size() + 2 + entry.name.size(), 511);
        QVERIFY(entry.name.startsWith(u"Error opening xxx"));
    }

    void callIsReportedAsItStands_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("expected");
        QTest::newRow("done") << u"fail phonemanager.ForcePhoneOff status 0"_s
                              << u"log 9 Dbus Call async call: finished=true, valid=true, error=false, value=0"_s;
        QTest::newRow("refused") << u"fail phonemanager.ForcePhoneOff status -7"_s
                                 << u"log 9 Dbus Call async call: finished=true, valid=true, error=false, value=-7"_s;
        QTest::newRow("a value too many")
            << u"fail phonemanager.ForcePhoneOff many"_s
            << u"log 9 Dbus Call async call: finished=true, valid=true, error=false, value=0"_s;
        QTest::newRow("error")
            << u"fail phonemanager.ForcePhoneOff error \"no modem\""_s
            << u"log 2 Dbus Call async call: finished=true, valid=false, error=true (no modem), value=nd"_s;
        QTest::newRow("wrong type") << u"fail phonemanager.ForcePhoneOff types"_s
                                    << u"log 2 Dbus Call async call: finished=true, valid=false, error=true "
                                       "(Unexpected reply signature: got \"s\", expected \"i\"), value=nd"_s;
    }

    void callIsReportedAsItStands()
    {
        QFETCH(QString, fault);
        SimulatedDevice device(timeline());
        PhoneManagerProxy phone(kPhoneService.busName, kPhoneService.objectPath, QDBusConnection::sessionBus());
        QCOMPARE(device.run(fault), QString());

        QDBusPendingReply<int> reply = phone.ForcePhoneOff(true);
        reply.waitForFinished();
        timeline().clear();
        PRINT_DBUS_RESULT(kObjectPath, u"Call"_s, reply);

        QCOMPARE(timeline().size(), 1);
        QTEST(timeline().entries().constFirst().toString(), "expected");
        QVERIFY(timeline().entries().constFirst().place.startsWith(u"[common_qdbus.h:"));
    }

    void callInFlightIsNotWaitedFor()
    {
        SimulatedDevice device(timeline());
        PhoneManagerProxy phone(kPhoneService.busName, kPhoneService.objectPath, QDBusConnection::sessionBus());
        QCOMPARE(device.run(u"fail phonemanager.ForcePhoneOff mute"_s), QString());
        const QDBusPendingReply<int> reply = phone.ForcePhoneOff(true);
        timeline().clear();

        PRINT_DBUS_RESULT(kObjectPath, u"Call"_s, reply);

        QVERIFY(!reply.isFinished());
        QCOMPARE(timeline().entries().constFirst().toString(), u"log 2 Dbus Call async call: finished=false"_s);
    }
};

QTEST_GUILESS_MAIN(TstLogging)
#include "tst_logging.moc"
