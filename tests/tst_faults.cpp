// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FactoryRestoreManager.h"
#include "Names.h"
#include "Paths.h"
#include "PowerManagerAdaptor.h"
#include "PowerManagerFixture.h"
#include "RecordingPlatform.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <map>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

/// What a call can come to, as the power daemon sees it.
enum class Outcome
{
    Done,
    Failed,  ///< no usable answer
    Refused, ///< answered with a status other than 0
};

struct FaultRow
{
    const char* name;
    const char* before; ///< the power daemon starts; %1 the method, %2 its service
    const char* after;
    Outcome outcome;
};

constexpr FaultRow kFaults[] = {
    {"none", "", "", Outcome::Done},
    {"error", "", "fail %1 error", Outcome::Failed},
    {"status", "", "fail %1 status 7", Outcome::Refused},
    {"few", "", "fail %1 few", Outcome::Failed},
    {"many", "", "fail %1 many", Outcome::Done},
    {"types", "", "fail %1 types", Outcome::Failed},
    {"arrays", "", "fail %1 arrays", Outcome::Failed},
    {"late", "", "fail %1 late 0.05", Outcome::Done},
    {"absent", "", "stop %2", Outcome::Failed},
    {"dies", "", "fail %1 dies", Outcome::Failed},
    {"comes late", "stop %2", "start %2", Outcome::Done},
    {"floods", "", "fail %1 floods", Outcome::Done},
    {"mute", "", "fail %1 mute", Outcome::Failed},
};

struct Expectation
{
    const char* line; ///< among the log lines
    int status;       ///< of the operation
};

/// A method that the power daemon calls, what of its own operations makes it do so, and what comes of it.
struct Call
{
    const char* method;
    const char* operation;
    Expectation done;
    Expectation failed;
    Expectation refused;
};

constexpr Expectation kZoneEntered{"4 Setting zone Z params", 0};
constexpr Expectation kRestored{"2 SOFT FACTORY RESET successfully completed", 1};
constexpr Expectation kNotRestored{"1 SOFT FACTORY RESET failed (config update error)", 0};

constexpr Call kCalls[] = {
    {"freqmanager.Reboot",
     "reboot",
     {"2 Power event emitted: reboot", 0},
     {"1 Reboot error", -50},
     {"1 Reboot error", -50}},
    {"freqmanager.Shutdown",
     "shutdown",
     {"2 Power event emitted: shutdown", 0},
     {"1 Shutdown error", -51},
     {"1 Shutdown error", -51}},
    {"freqmanager.SetWakeup",
     "suspend",
     {"4 Pre-suspend setup", 0},
     {"1 Error setting wakeup time to 2024-03-08 07:30:00 (localtime)", -52},
     {"1 Error setting wakeup time to 2024-03-08 07:30:00 (localtime)", -52}},
    {"freqmanager.Suspend",
     "suspend",
     {"4 Post-suspend restore", 0},
     {"1 Error calling Suspend. returned 0", -52},
     {"1 Error calling Suspend. returned 7", -52}},
    {"freqmanager.SetFreq",
     "set",
     {"5 CPU Frequency set to 300", 0},
     {"1 Error setting cpu frequency to 300", -52},
     {"1 Error setting cpu frequency to 300", -52}},
    {"freqmanager.GetFreq",
     "up",
     {"5 CPU Frequency set to 300", 0},
     {"1 GetFreq error", -53},
     {"5 CPU Frequency set to 300", 0}},
    {"lightmanager.GetSwitch",
     "reboot",
     {"2 SAVED CURRENT SYSTEM STATUS: light=1", 0},
     {"2 SAVED CURRENT SYSTEM STATUS: light=0", 0},
     {"1 Impossible to get current Light status: suppose off", 0}},
    {"lightmanager.Switch",
     "reboot",
     {"5 Light switch set to 0", 0},
     {"1 Error turning light 0", 0},
     {"1 Error turning light 0", 0}},
    {"rgbfeaturemanager.IsDisabled",
     "reboot",
     {"5 RGB switch set to 1", 0},
     {"2 Can't find if Rgb is disabled: suppose not", 0},
     {"5 RGB switch set to 1", 0}}, // it answers without a status
    {"rgbfeaturemanager.Disable",
     "reboot",
     {"5 RGB switch set to 1", 0},
     {"1 Error turning rgb 1", 0},
     {"5 RGB switch set to 1", 0}},
    {"photomanager.EnableCamera",
     "reboot",
     {"5 Camera switch set to 0", 0},
     {"1 Error turning camera 0", 0},
     {"1 Error turning camera 0", 0}},
    {"phonemanager.ForcePhoneOff",
     "reboot",
     {"5 Phone forced off", 0},
     {"1 Error forcing phone off", 0},
     {"1 Error forcing phone off", 0}},
    {"soundmanager.GetStatus",
     "zone",
     {"9 Zone Z, Current MasterVolume =100.000000", 0},
     {"2 Can't read current master volume: suppose 100% (128)", 0},
     {"2 Can't read current master volume: suppose 100% (128)", 0}},
    {"soundmanager.SetMasterVolume", "zone", kZoneEntered, kZoneEntered, kZoneEntered}, // not waited for
    {"soundmanager.SetMasterVolume",
     "suspend",
     {"4 Master volume restored to 55.00", 0},
     {"2 Error restoring master volume", 0},
     {"2 Error restoring master volume", 0}},
    {"lightmanager.GetIntensity",
     "zone",
     {"9 Zone Z, Current Light Intensity =100", 0},
     {"2 Can't read current light intensity: suppose 100%", 0},
     {"2 Can't read current light intensity: suppose 100%", 0}},
    {"lightmanager.SetIntensity", "zone", kZoneEntered, kZoneEntered, kZoneEntered}, // not waited for
    {"statusmanager.GetStatus", "zone", kZoneEntered, {"9 Zone -1 not changed for charge 0", 0}, kZoneEntered},
    {"configmanager.GetStringValue",
     "suspend",
     {"4 Master volume restored to 55.00", 0},
     {"2 Can't read SOUND/masterVolume", 0},
     {"2 Can't read SOUND/masterVolume", 0}},
    {"configmanager.SetStringValue", "soft", kRestored, kNotRestored, kNotRestored},
    {"configmanager.Save", "soft", kRestored, kRestored, kRestored},
    {"configmanager.Freeze", "soft", kRestored, kRestored, kRestored},
    {"scheduler.Clear",
     "hard",
     {"4 HARD FACTORY RESET: clear schedule done", 1},
     {"4 HARD FACTORY RESET: clear schedule done", 1},
     {"1 HARD FACTORY RESET: clear schedule failed", 1}},
    {"eventmanager.Clear",
     "hard",
     {"4 HARD FACTORY RESET: clear events done", 1},
     {"4 HARD FACTORY RESET: clear events done", 1},
     {"1 HARD FACTORY RESET: clear events failed", 1}},
};

/// Where the power daemon deliberately sees something else than the fault's usual outcome.
struct Exception
{
    const char* method;
    const char* fault;
    Expectation expected;
};

constexpr Expectation kNoStore{"1 SOFT FACTORY RESET failed (invalid config proxy)", 0};
constexpr Expectation kAssumedVolume{"9 Zone Z, Current MasterVolume =128.000000", 0};

constexpr Exception kExceptions[] = {
    // Two values are needed, and two only; the second is converted where that is possible.
    {"freqmanager.GetFreq", "many", {"1 GetFreq error", -53}},
    {"freqmanager.GetFreq", "types", {"5 CPU Frequency set to 300", 0}},
    {"freqmanager.GetFreq", "arrays", {"5 CPU Frequency set to 96", 0}},
    {"lightmanager.GetSwitch", "many", {"2 SAVED CURRENT SYSTEM STATUS: light=0", 0}},
    {"lightmanager.GetSwitch", "types", {"2 SAVED CURRENT SYSTEM STATUS: light=1", 0}},
    {"lightmanager.GetIntensity", "many", {"2 Can't read current light intensity: suppose 100%", 0}},
    // A snapshot of another length has a status, but no values.
    {"soundmanager.GetStatus", "few", kAssumedVolume},
    {"soundmanager.GetStatus", "many", kAssumedVolume},
    {"statusmanager.GetStatus", "many", {"9 Zone -1 not changed for charge 0", 0}},
    {"statusmanager.GetStatus", "types", kZoneEntered},
    // The alarm comes first.
    {"freqmanager.Suspend", "absent", {"1 Error setting wakeup time to 2024-03-08 07:30:00 (localtime)", -52}},
    // A store that nobody serves is told from one that fails.
    {"configmanager.GetStringValue", "absent", {"2 Error creating Configuration manager", 0}},
    {"configmanager.SetStringValue", "absent", kNoStore},
    {"configmanager.Save", "absent", kNoStore},
    {"configmanager.Freeze", "absent", kNoStore},
};

Expectation expectedOf(const Call& call, const FaultRow& fault)
{
    const auto* exception =
        std::find_if(std::begin(kExceptions), std::end(kExceptions), [&call, &fault](const Exception& row) {
            return qstrcmp(row.method, call.method) == 0 && qstrcmp(row.fault, fault.name) == 0;
        });
    if (exception != std::end(kExceptions)) {
        return exception->expected;
    }
    return fault.outcome == Outcome::Done ? call.done : fault.outcome == Outcome::Failed ? call.failed : call.refused;
}

bool isMute(const FaultRow& fault)
{
    return qstrcmp(fault.name, "mute") == 0;
}

} // namespace

/// Every remote method that the power daemon calls, with every fault that a service can show.
class TstFaults : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder; ///< the device's files are in the working folder
    std::unique_ptr<PowerManagerFixture> m_fixture;
    std::map<QString, std::unique_ptr<QProcess>> m_mute; ///< test processes of the rows whose service is mute

    PowerManager& manager()
    {
        return m_fixture->manager();
    }

    int operate(const QString& operation)
    {
        int status = 0;
        if (operation == u"reboot") {
            return manager().Reboot(u"x"_s);
        }
        if (operation == u"shutdown") {
            return manager().Shutdown(u"x"_s);
        }
        if (operation == u"suspend") {
            return manager().Suspend(u"2024-03-08 07:30:00"_s);
        }
        if (operation == u"set") {
            return manager().SetFreq(300);
        }
        if (operation == u"soft" || operation == u"hard") {
            auto* factory = manager().findChild<FactoryRestoreManager*>();
            return operation == u"soft" ? factory->FactorySoftReset(false, false) : factory->FactoryHardReset();
        }
        if (operation == u"up") {
            manager().SetAutoscalingEnabled(true);
            QMetaObject::invokeMethod(&manager(), "freqIncrease", Q_RETURN_ARG(int, status));
        } else {
            writeFile(paths::zoneFile(), "[Z]\nhigh_treshold=100\nvolume=80\nlight=60\n");
            QMetaObject::invokeMethod(&manager(), "loadActions", Q_ARG(int, 0), Q_ARG(int, 12));
        }
        return status;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid() && QDir::setCurrent(m_folder.path()));
        if (QCoreApplication::arguments().size() > 1) {
            return;
        }
        // A process and a bus for each, so that the time-outs pass side by side.
        for (const Call& call : kCalls) {
            const QString row =
                u"cell:%1 by %2: mute"_s.arg(QLatin1StringView(call.method), QLatin1StringView(call.operation));
            auto process = std::make_unique<QProcess>();
            process->start(QStringLiteral(DBUS_RUN_SESSION), {u"--"_s, QCoreApplication::applicationFilePath(), row});
            m_mute.emplace(row, std::move(process));
        }
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_fixture = std::make_unique<PowerManagerFixture>();
    }

    void cleanup()
    {
        m_fixture.reset();
    }

    void cell_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("notThese"); // failures that would be another one's
        for (const Call& call : kCalls) {
            const QString method = QString::fromLatin1(call.method);
            for (const FaultRow& fault : kFaults) {
                // Those that cost a time-out run only when they are asked for by name: see initTestCase().
                if (isMute(fault) && !QCoreApplication::arguments().value(1).contains(u": mute")) {
                    continue;
                }
                const Expectation expected = expectedOf(call, fault);
                QStringList others;
                for (const char* line : {call.failed.line, call.refused.line}) {
                    const bool isFailure = line[0] == '1';
                    if (isFailure && qstrcmp(line, expected.line) != 0) {
                        others.append(u"log "_s + QString::fromLatin1(line));
                    }
                }
                const auto fill = [&method](const char* text) {
                    return QString(QString::fromLatin1(text).replace(u"%1"_s, method))
                        .replace(u"%2"_s, method.section(u'.', 0, 0));
                };
                QTest::addRow("%s by %s: %s", call.method, call.operation, fault.name)
                    << fill(fault.before) << fill(fault.after) << QString::fromLatin1(call.operation)
                    << u"log "_s + QString::fromLatin1(expected.line) << expected.status << others;
            }
        }
    }

    void cell()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QString, operation);
        QFETCH(QString, line);
        QFETCH(QStringList, notThese);
        QCOMPARE(m_fixture->run(u"charge 40\nconfig SOUND masterVolume 55\n"_s + before), QString());
        QVERIFY(m_fixture->start());
        QCOMPARE(m_fixture->run(u"wait 0\n"_s + after), QString());
        timeline().clear();

        QTEST(operate(operation), "status");

        const QStringList lines = m_fixture->take();
        QVERIFY2(lines.contains(line), qPrintable(lines.join(u'\n')));
        for (const QString& other : std::as_const(notThese)) {
            QVERIFY2(!lines.contains(other), qPrintable(other));
        }
        // Still there, and serving.
        QDBusConnection bus = QDBusConnection::sessionBus();
        PowerManagerAdaptor adaptor(&manager());
        QVERIFY(bus.registerService(QLatin1StringView(kServiceName)));
        QVERIFY(bus.registerObject(QLatin1StringView(kObjectPath), &manager(), QDBusConnection::ExportAdaptors));
        const QString error =
            m_fixture->run(u"repair all\ncall IsActionsEnabled\nexpect answer IsActionsEnabled 0 true within 20"_s);
        bus.unregisterObject(QLatin1StringView(kObjectPath));
        bus.unregisterService(QLatin1StringView(kServiceName));
        QCOMPARE(error, QString());
    }

    void muteServices_data()
    {
        QTest::addColumn<QString>("row");
        for (auto process = m_mute.cbegin(); process != m_mute.cend(); ++process) {
            QTest::newRow(qPrintable(process->first)) << process->first;
        }
    }

    void muteServices()
    {
        if (m_mute.empty()) {
            return; // rows were asked for by name
        }
        QFETCH(QString, row);
        QProcess& process = *m_mute.at(row);
        QVERIFY(process.state() == QProcess::NotRunning || process.waitForFinished(60'000));
        const QByteArray output = process.readAllStandardOutput();
        QVERIFY2(process.exitCode() == 0 &&
                     output.contains(QByteArray("PASS   : TstFaults::cell(" + row.section(u':', 1).toUtf8())),
                 output.constData());
    }
};

QTEST_GUILESS_MAIN(TstFaults)
#include "tst_faults.moc"
