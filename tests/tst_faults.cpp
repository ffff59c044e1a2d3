// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FactoryRestoreManager.h"
#include "Paths.h"
#include "PowerManagerFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <chrono>
#include <iterator>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The outcomes of a call, as the power daemon sees them.
enum class Outcome
{
    Done,
    Failed,  ///< no usable answer
    Refused, ///< answered with a status other than 0
};

struct FaultRow
{
    const char* name;
    const char* before; ///< commands before the power daemon starts; %1 is the method, %2 its service
    const char* after;  ///< commands after that
    Outcome outcome;
};

constexpr FaultRow kFaults[] = {
    {"none", "", "", Outcome::Done},
    {"error", "", "fail %1 error 7", Outcome::Failed}, // whose text reads as a status
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
};

constexpr FaultRow kMute{"mute", "", "fail %1 mute", Outcome::Failed};

const QString kLongPast = u"2024-03-08 07:30:00"_s;

/// One of the power daemon's own operations, which makes it call others.
struct Operation
{
    const char* name;                  ///< as the constant, without the "k"
    int (*run)(PowerManager& manager); ///< @return its status
};

int increaseFreq(PowerManager& manager)
{
    int status = 0;
    manager.SetAutoscalingEnabled(true);
    QMetaObject::invokeMethod(&manager, "freqIncrease", Q_RETURN_ARG(int, status));
    return status;
}

int enterZone(PowerManager& manager)
{
    writeFile(paths::zoneFile(), "[Z]\nhigh_treshold=100\nvolume=80\nlight=60\n");
    QMetaObject::invokeMethod(&manager, "loadActions", Q_ARG(int, 0), Q_ARG(int, 12));
    return 0;
}

int resetFactory(PowerManager& manager, bool isHard)
{
    auto* factory = manager.findChild<FactoryRestoreManager*>();
    return isHard ? factory->FactoryHardReset() : factory->FactorySoftReset(false, false);
}

constexpr Operation kReboot{"Reboot", [](PowerManager& manager) { return manager.Reboot(u"x"_s); }};
constexpr Operation kShutdown{"Shutdown", [](PowerManager& manager) { return manager.Shutdown(u"x"_s); }};
constexpr Operation kSuspend{"Suspend", [](PowerManager& manager) { return manager.Suspend(kLongPast); }};
constexpr Operation kSetFreq{"SetFreq", [](PowerManager& manager) { return manager.SetFreq(300); }};
constexpr Operation kSoftReset{"SoftReset", [](PowerManager& manager) { return resetFactory(manager, false); }};
constexpr Operation kHardReset{"HardReset", [](PowerManager& manager) { return resetFactory(manager, true); }};
constexpr Operation kFreqUp{"FreqUp", &increaseFreq};
constexpr Operation kEnterZone{"EnterZone", &enterZone};

struct Expectation
{
    int status;       ///< of the operation
    const char* line; ///< among the log lines
};

/// A method that the power daemon calls, and the results of the operation that calls it.
struct Call
{
    const char* method;
    const Operation* operation;
    Expectation done;
    Expectation failed;
    Expectation refused;
    int patience = 25; ///< seconds that the daemon waits for an answer; 0: it does not wait
};

constexpr Expectation kNotRebooted{-50, "1 Reboot error"};
constexpr Expectation kNotShutDown{-51, "1 Shutdown error"};
constexpr Expectation kNoAlarm{-52, "1 Error setting wakeup time to 2024-03-08 07:30:00 (localtime)"};
constexpr Expectation kAwake{0, "4 Post-suspend restore"};
constexpr Expectation kNotSuspended{-52, "1 Error calling Suspend. returned 0"};
constexpr Expectation kSuspendRefused{-52, "1 Error calling Suspend. returned 7"};
constexpr Expectation kFreqSet{0, "5 CPU Frequency set to 300"};
constexpr Expectation kFreqNotSet{-52, "1 Error setting cpu frequency to 300"};
constexpr Expectation kFreqUnreadable{-53, "1 GetFreq error"};
constexpr Expectation kLightFoundOn{0, "2 SAVED CURRENT SYSTEM STATUS: light=1"};
constexpr Expectation kLightFoundOff{0, "2 SAVED CURRENT SYSTEM STATUS: light=0"};
constexpr Expectation kLightUnknown{0, "1 Impossible to get current Light status: suppose off"};
constexpr Expectation kLightNotSwitched{0, "1 Error turning light 0"};
constexpr Expectation kRgbSwitched{0, "5 RGB switch set to 1"};
constexpr Expectation kRgbUnknown{0, "2 Can't find if Rgb is disabled: suppose not"};
constexpr Expectation kRgbNotSwitched{0, "1 Error turning rgb 1"};
constexpr Expectation kCameraNotSwitched{0, "1 Error turning camera 0"};
constexpr Expectation kPhoneNotForced{0, "1 Error forcing phone off"};
constexpr Expectation kVolumeKnown{0, "9 Zone Z, Current MasterVolume =100.000000"};
constexpr Expectation kVolumeUnknown{0, "2 Can't read current master volume: suppose 100% (128)"};
constexpr Expectation kVolumeAssumed{0, "9 Zone Z, Current MasterVolume =128.000000"};
constexpr Expectation kIntensityKnown{0, "9 Zone Z, Current Light Intensity =100"};
constexpr Expectation kIntensityUnknown{0, "2 Can't read current light intensity: suppose 100%"};
constexpr Expectation kZoneEntered{0, "4 Setting zone Z params"};
constexpr Expectation kChargeUnknown{0, "9 Zone -1 not changed for charge 0"};
constexpr Expectation kVolumeRestored{0, "4 Master volume restored to 55.00"};
constexpr Expectation kVolumeNotRestored{0, "2 Error restoring master volume"};
constexpr Expectation kVolumeNotFound{0, "2 Can't read SOUND/masterVolume"};
constexpr Expectation kRestored{1, "2 SOFT FACTORY RESET successfully completed"};
constexpr Expectation kNotRestored{0, "1 SOFT FACTORY RESET failed (config update error)"};
constexpr Expectation kNoStore{0, "1 SOFT FACTORY RESET failed (invalid config proxy)"};
constexpr Expectation kScheduleCleared{1, "4 HARD FACTORY RESET: clear schedule done"};
constexpr Expectation kScheduleNotCleared{1, "1 HARD FACTORY RESET: clear schedule failed"};
constexpr Expectation kEventsCleared{1, "4 HARD FACTORY RESET: clear events done"};
constexpr Expectation kEventsNotCleared{1, "1 HARD FACTORY RESET: clear events failed"};

constexpr Call kCalls[] = {
    {"freqmanager.Reboot", &kReboot, {0, "2 Power event emitted: reboot"}, kNotRebooted, kNotRebooted},
    {"freqmanager.Shutdown", &kShutdown, {0, "2 Power event emitted: shutdown"}, kNotShutDown, kNotShutDown},
    {"freqmanager.SetWakeup", &kSuspend, {0, "4 Pre-suspend setup"}, kNoAlarm, kNoAlarm},
    {"freqmanager.Suspend", &kSuspend, kAwake, kNotSuspended, kSuspendRefused},
    {"freqmanager.SetFreq", &kSetFreq, kFreqSet, kFreqNotSet, kFreqNotSet},
    {"freqmanager.GetFreq", &kFreqUp, kFreqSet, kFreqUnreadable, kFreqSet},
    {"lightmanager.GetSwitch", &kReboot, kLightFoundOn, kLightFoundOff, kLightUnknown},
    {"lightmanager.Switch", &kReboot, {0, "5 Light switch set to 0"}, kLightNotSwitched, kLightNotSwitched},
    // This method answers without a status.
    {"rgbfeaturemanager.IsDisabled", &kReboot, kRgbSwitched, kRgbUnknown, kRgbSwitched, 5},
    {"rgbfeaturemanager.Disable", &kReboot, kRgbSwitched, kRgbNotSwitched, kRgbSwitched, 5},
    {"photomanager.EnableCamera", &kReboot, {0, "5 Camera switch set to 0"}, kCameraNotSwitched, kCameraNotSwitched},
    {"phonemanager.ForcePhoneOff", &kReboot, {0, "5 Phone forced off"}, kPhoneNotForced, kPhoneNotForced},
    {"soundmanager.GetStatus", &kEnterZone, kVolumeKnown, kVolumeUnknown, kVolumeUnknown},
    {"soundmanager.SetMasterVolume", &kEnterZone, kZoneEntered, kZoneEntered, kZoneEntered, 0},
    {"soundmanager.SetMasterVolume", &kSuspend, kVolumeRestored, kVolumeNotRestored, kVolumeNotRestored, 5},
    {"lightmanager.GetIntensity", &kEnterZone, kIntensityKnown, kIntensityUnknown, kIntensityUnknown},
    {"lightmanager.SetIntensity", &kEnterZone, kZoneEntered, kZoneEntered, kZoneEntered, 0},
    {"statusmanager.GetStatus", &kEnterZone, kZoneEntered, kChargeUnknown, kZoneEntered},
    {"configmanager.GetStringValue", &kSuspend, kVolumeRestored, kVolumeNotFound, kVolumeNotFound, 5},
    {"configmanager.SetStringValue", &kSoftReset, kRestored, kNotRestored, kNotRestored, 5},
    {"configmanager.Save", &kSoftReset, kRestored, kRestored, kRestored, 5},
    {"configmanager.Freeze", &kSoftReset, kRestored, kRestored, kRestored, 5},
    {"scheduler.Clear", &kHardReset, kScheduleCleared, kScheduleCleared, kScheduleNotCleared},
    {"eventmanager.Clear", &kHardReset, kEventsCleared, kEventsCleared, kEventsNotCleared},
};

/// A fault whose outcome for this method deliberately differs from its usual one.
struct Exception
{
    const char* method;
    const char* fault;
    Expectation expected;
};

constexpr Exception kExceptions[] = {
    // Exactly two values are accepted; the second one is converted if possible.
    {"freqmanager.GetFreq", "many", kFreqUnreadable},
    {"freqmanager.GetFreq", "types", kFreqSet},
    {"freqmanager.GetFreq", "arrays", {0, "5 CPU Frequency set to 96"}},
    {"lightmanager.GetSwitch", "many", kLightFoundOff},
    {"lightmanager.GetSwitch", "types", kLightFoundOn},
    {"lightmanager.GetIntensity", "many", kIntensityUnknown},
    // A snapshot of another length has a status, but no values.
    {"soundmanager.GetStatus", "few", kVolumeAssumed},
    {"soundmanager.GetStatus", "many", kVolumeAssumed},
    {"statusmanager.GetStatus", "many", kChargeUnknown},
    {"statusmanager.GetStatus", "types", kZoneEntered},
    // The alarm comes first.
    {"freqmanager.Suspend", "absent", kNoAlarm},
    // A store that nobody serves is reported differently from one that fails.
    {"configmanager.GetStringValue", "absent", {0, "2 Error creating Configuration manager"}},
    {"configmanager.SetStringValue", "absent", kNoStore},
    {"configmanager.Save", "absent", kNoStore},
    {"configmanager.Freeze", "absent", kNoStore},
};

Expectation expectedOf(const Call& call, const FaultRow& fault)
{
    for (const Exception& row : kExceptions) {
        if (qstrcmp(row.method, call.method) == 0 && qstrcmp(row.fault, fault.name) == 0) {
            return row.expected;
        }
    }
    return fault.outcome == Outcome::Done ? call.done : fault.outcome == Outcome::Failed ? call.failed : call.refused;
}

QString logLine(const Expectation& expected)
{
    return u"log "_s + QString::fromLatin1(expected.line);
}

} // namespace

/// Every remote method that the power daemon calls, with every fault that a service can show. A row whose service is
/// mute lets a real time-out pass: each of them is a test of its own, see CMakeLists.txt.
class TstFaults : public PowerManagerFixture
{
    Q_OBJECT

    QTemporaryDir m_folder; ///< the device's files are in the working folder

    static void addRow(const Call& call, const FaultRow& fault)
    {
        QTest::addRow("%s by %s: %s", call.method, call.operation->name, fault.name) << &call << &fault;
    }

    /// @param patience how long the daemon waits for the answer
    void check(std::chrono::milliseconds patience)
    {
        QFETCH(const Call*, call);
        QFETCH(const FaultRow*, fault);
        const auto fill = [call](const char* line) {
            const QString method = QString::fromLatin1(call->method);
            return QString::fromLatin1(line).replace(u"%1"_s, method).replace(u"%2"_s, method.section(u'.', 0, 0));
        };
        const Expectation expected = expectedOf(*call, *fault);
        QCOMPARE(run(u"charge 40\nconfig SOUND masterVolume 55\n"_s + fill(fault->before)), QString());
        QVERIFY(start());
        QCOMPARE(arrange(u"wait 0\n"_s + fill(fault->after)), QString());
        QElapsedTimer clock;
        clock.start();

        QCOMPARE(call->operation->run(manager()), expected.status);

        const qint64 over = clock.elapsed() - patience.count();
        QVERIFY2(over > -500 && over < 10'000, qPrintable(QString::number(over)));
        const QStringList lines = take();
        QVERIFY2(lines.contains(logLine(expected)), qPrintable(lines.join(u'\n')));
        for (const Expectation& other : {call->failed, call->refused}) { // and no other fault's failure
            const bool isFailure = other.line[0] == '1' && qstrcmp(other.line, expected.line) != 0;
            QVERIFY2(!isFailure || !lines.contains(logLine(other)), other.line);
        }
        // The daemon still serves.
        QVERIFY(serve());
        QCOMPARE(run(u"repair all\ncall IsActionsEnabled\nexpect answer IsActionsEnabled 0 true within 20"_s),
                 QString());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid() && QDir::setCurrent(m_folder.path()));
    }

    void fault_data()
    {
        QTest::addColumn<const Call*>("call");
        QTest::addColumn<const FaultRow*>("fault");
        for (const Call& call : kCalls) {
            for (const FaultRow& fault : kFaults) {
                // Under memcheck, thousands of signals may take longer than the call's time-out.
                if (TIME_FACTOR == 1 || qstrcmp(fault.name, "floods") != 0) {
                    addRow(call, fault);
                }
            }
        }
    }

    void fault()
    {
        check(0ms);
    }

    void muteService_data()
    {
        static_assert(std::size(kCalls) == MUTE_ROWS, "CMakeLists.txt has found another number of rows");
        QTest::addColumn<const Call*>("call");
        QTest::addColumn<const FaultRow*>("fault");
        for (const Call& call : kCalls) {
            addRow(call, kMute);
        }
    }

    void muteService()
    {
        QFETCH(const Call*, call);
        check(std::chrono::seconds(call->patience));
    }
};

QTEST_GUILESS_MAIN(TstFaults)
#include "tst_faults.moc"
