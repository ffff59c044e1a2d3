// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FactoryRestoreManager.h"
#include "LoadMonitor.h"
#include "Names.h"
#include "Paths.h"
#include "PowerManagerAdaptor.h"
#include "PowerManagerFixture.h"
#include "SleepManager.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <functional>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Something that makes the power daemon do something: an operation of its interface, a signal of a service, or a timer
/// of its own.
struct Request
{
    const char* name = nullptr;
    QString member; ///< of the daemon's interface, or "service.Signal"; empty: a timer
    QVariantList arguments = {};
    void (*onTimer)(PowerManager& manager) = nullptr;
    int phases = 0; ///< how many pauses and calls it waits for
};

/// How many are asked together, in the order of the table, by two clients in turn.
constexpr qsizetype kGroup = 4;

/// Timers come first in their groups: nothing shows when the daemon's thread has received a message from the bus.
const QList<Request>& requestTable()
{
    const auto softReset = [](PowerManager& manager) {
        (void)manager.findChild<FactoryRestoreManager*>()->FactorySoftReset(true, true);
    };
    const auto hardReset = [](PowerManager& manager) {
        (void)manager.findChild<FactoryRestoreManager*>()->FactoryHardReset();
    };
    const auto beginOfSleep = [](PowerManager& manager) {
        Q_EMIT manager.findChild<SleepManager*>()->SleepTimeout(u"2024-01-01 00:00:00"_s);
    };
    static const QList<Request> kTable = {
        {"soft factory reset", {}, {}, softReset, 13},
        {"Reboot", u"Reboot"_s, {u"user_gui"_s}, nullptr, 9},
        {"SetActionsEnabled off", u"SetActionsEnabled"_s, {false}},
        {"status broadcast", u"statusmanager.SystemStatus"_s, {}, nullptr, 2},

        {"hard factory reset", {}, {}, hardReset, 15},
        {"Suspend", u"Suspend"_s, {u"2024-03-08 07:30:00"_s}, nullptr, 22}, // long past: the device wakes up at once
        {"SetActionsEnabled on", u"SetActionsEnabled"_s, {true}, nullptr, 3},
        {"CurrentPowerZone", u"CurrentPowerZone"_s},

        {"begin of the sleep window", {}, {}, beginOfSleep, 22},
        {"SetSleepEnabled off", u"SetSleepEnabled"_s, {false, QString(), QString()}},
        {"SetAutoscalingEnabled", u"SetAutoscalingEnabled"_s, {false}},
        {"playback", u"soundmanager.PlayRequested"_s, {}, nullptr, 2},

        {"Shutdown", u"Shutdown"_s, {u"watchdog"_s}, nullptr, 2},
        {"SetSleepEnabled on", u"SetSleepEnabled"_s, {true, u"01:00:00"_s, u"01:00:00"_s}}, // never due
        {"SetFreq", u"SetFreq"_s, {300}, nullptr, 1},
        {"IsAutoscalingEnabled", u"IsAutoscalingEnabled"_s},

        {"low power", u"gpeventmanager.GpEvent"_s, {u"power|atmega_low_power"_s, true}, nullptr, 2},
        {"update of the zone file", u"updatemanager.FilesUpdated"_s, {0, 12}, nullptr, 3},
        {"IsActionsEnabled", u"IsActionsEnabled"_s},
        {"IsSleepEnabled", u"IsSleepEnabled"_s},
    };
    return kTable;
}

/// When during a phase, that is, a pause or a call of a service.
enum class Instant
{
    Early, ///< the requests have arrived before the phase goes on
    Late,  ///< they are on their way while it ends
    After, ///< they are sent behind the service's answer
};

/// Those that are tried with a group of requests in a phase: all three if the environment has EVERY_INSTANT, otherwise
/// one, another one for the next phase and the next group.
QList<Instant> instants(qsizetype number)
{
    const QList<Instant> all{Instant::Early, Instant::Late, Instant::After};
    return qEnvironmentVariableIsSet("EVERY_INSTANT") ? all : all.mid(number % all.size(), 1);
}

/// What a run came to: log lines, calls, pauses, GPIO lines and the record; the calls that the daemon does not wait
/// for; and what each client heard, that is, all signals and the answers to its own calls.
using Outcome = QStringList;

/// A call of a zone, which the daemon does not wait for.
bool isOfZone(const QString& method)
{
    return method == u"soundmanager.SetMasterVolume" || method == u"lightmanager.SetIntensity";
}

/// Where two outcomes differ; empty: nowhere.
QString difference(const Outcome& found, const Outcome& expected)
{
    for (qsizetype i = 0; i < qMax(found.size(), expected.size()); ++i) {
        if (found.value(i) != expected.value(i)) {
            return u"line %1: found \"%2\", expected \"%3\""_s.arg(i).arg(found.value(i), expected.value(i));
        }
    }
    return {};
}

} // namespace

Q_DECLARE_METATYPE(Request)

/// Every request during every phase of every other one. The daemon blocks while it acts, so that what comes of two
/// requests which arrive meanwhile is what comes of them one after the other: each cell is compared whole with that.
class TstRequestMatrix : public PowerManagerFixture
{
    Q_OBJECT

    std::unique_ptr<PowerManager> m_daemon;
    Simulator* m_simulator = nullptr;
    Timeline m_seenBySecond;
    Timeline m_seenByThird;
    std::unique_ptr<PowerDaemonClient> m_second; ///< on the simulator's thread
    std::unique_ptr<PowerDaemonClient> m_third;  ///< likewise; asks only whether the daemon is done

    // Of the present run.
    QStringList m_phases;   ///< so far
    qsizetype m_phase = -1; ///< in which something happens; negative: in none
    std::function<void(bool isInPause)> m_inPhase;

    /// A pause begins, or a service was called and has not answered. The same once more is no new phase, nor is the
    /// next setting of a factory reset.
    void onStep(const QString& step, bool isInPause)
    {
        const QString name = step.endsWith(u"tStringValue") ? u"settings"_s : step;
        if (m_phases.isEmpty() || m_phases.constLast() != name) {
            m_phases.append(name);
            if (m_phases.size() - 1 == m_phase) {
                m_inPhase(isInPause);
            }
        }
    }

    /// On the simulator's thread.
    void send(PowerDaemonClient& client, const Request& request)
    {
        if (request.onTimer != nullptr) {
            QMetaObject::invokeMethod(
                m_daemon.get(), [this, act = request.onTimer] { act(*m_daemon); }, Qt::QueuedConnection);
        } else if (request.member == u"statusmanager.SystemStatus") {
            m_simulator->broadcastStatus();
        } else if (request.member.contains(u'.')) {
            m_simulator->sendValues(request.member, request.arguments);
        } else {
            client.call(*m_simulator->catalogue().powerDaemon().findMethod(request.member), request.arguments);
        }
    }

    /// Waits until the bus has passed on all that was sent: before it serves a call anew, it has served everybody else.
    static void settle()
    {
        for (int i = 0; i < 3; ++i) {
            (void)QDBusConnection(u"settle"_s).interface()->isServiceRegistered(QLatin1StringView(kServiceName));
        }
    }

    /// Waits until the daemon has answered a client's next call, and so has done everything before it.
    [[nodiscard]] bool isServed(PowerDaemonClient& client, const Timeline& seen)
    {
        qsizetype from = 0;
        device().invoke([&](Simulator& simulator) {
            settle();
            (void)seen.entries(0, &from);
            client.call(*simulator.catalogue().powerDaemon().findMethod(u"CurrentPowerZone"_s), {});
        });
        QString id;
        return QTest::qWaitFor(
            [&] {
                const QList<Timeline::Entry> entries = seen.entries(from, &from);
                return std::any_of(entries.begin(), entries.end(), [&id](const Timeline::Entry& entry) {
                    if (const auto* request = entry.as<events::Request>()) {
                        id = request->id;
                    }
                    const auto* answer = entry.as<events::Answer>();
                    return answer != nullptr && answer->id == id;
                });
            },
            20'000 * TIME_FACTOR);
    }

    [[nodiscard]] bool areClientsServed()
    {
        return isServed(m_simulator->powerDaemon(), timeline()) && isServed(*m_second, m_seenBySecond);
    }

    /// A new daemon, whose battery is about to be found at 10 %.
    [[nodiscard]] bool startAnew()
    {
        m_daemon.reset();
        device().invoke([](Simulator& simulator) { simulator.device() = Device(); });
        m_daemon = std::make_unique<PowerManager>(kObjectPath);
        new PowerManagerAdaptor(m_daemon.get()); // a child
        if (!m_daemon->init() || !QDBusConnection::sessionBus().registerObject(
                                     QLatin1StringView(kObjectPath), m_daemon.get(), QDBusConnection::ExportAdaptors)) {
            return false;
        }
        m_daemon->findChild<LoadMonitor*>()->blockSignals(true); // the idle CPU's steps are no part of this
        (void)m_daemon->SetAutoscalingEnabled(true);
        (void)QFile::remove(paths::lastActionFile());
        if (!areClientsServed()) {
            return false;
        }
        device().invoke([](Simulator& simulator) {
            simulator.device().chargePercent = 10;
            // The camera's switching off is announced, and the daemon hears of it: a request of nobody's.
            simulator.setFault(u"photomanager.CameraEnabled"_s, {Fault::Kind::Few, 0, 0, {}});
        });
        timeline().clear();
        m_seenBySecond.clear();
        m_phases.clear();
        return true;
    }

    [[nodiscard]] Outcome outcome() const
    {
        Outcome work;
        Outcome ofZones;
        Outcome heard[2];
        static const QRegularExpression kTime(u"\\d{4}/\\d\\d/\\d\\d-\\d\\d:\\d\\d:\\d\\d"_s);
        const auto isHeard = [](const Timeline::Entry& entry) {
            return events::memberName(entry.event).startsWith(events::kPowerDaemon) &&
                   entry.as<events::Request>() == nullptr;
        };
        for (const Timeline::Entry& entry : timeline().entries()) {
            const auto* call = entry.as<events::Call>();
            if (call != nullptr && isOfZone(events::memberName(entry.event))) {
                ofZones.append(entry.toString());
            } else if (call != nullptr || entry.as<LogLine>() != nullptr || entry.as<events::Pause>() != nullptr ||
                       entry.as<events::Line>() != nullptr) {
                work.append(entry.toString().replace(kTime, u"TIME"_s));
            } else if (isHeard(entry)) {
                heard[0].append(u"first client: "_s + entry.toString());
            }
        }
        for (const Timeline::Entry& entry : m_seenBySecond.entries()) {
            if (isHeard(entry)) {
                heard[1].append(u"second client: "_s + entry.toString());
            }
        }
        QFile record(paths::lastActionFile());
        const QString text = record.open(QIODevice::ReadOnly) ? QString::fromUtf8(record.readAll()).mid(19) : QString();
        return work + QStringList{u"record "_s + text} + ofZones + heard[0] + heard[1];
    }

    PowerDaemonClient& client(qsizetype request)
    {
        return request % 2 == 0 ? m_simulator->powerDaemon() : *m_second;
    }

    /// The request and, in a phase of it, something on the simulator's thread; then the others one after the other,
    /// each when all is done that came of the one before. Leaves the phases of the first in m_phases.
    [[nodiscard]] Outcome play(const Request& first, const QList<Request>& others, qsizetype phase = -1,
                               const std::function<void()>& inPhase = {}, Instant instant = Instant::Early)
    {
        if (!startAnew()) {
            return {u"no start"_s};
        }
        m_inPhase = [this, inPhase, instant](bool isInPause) {
            const bool isEarly = instant == Instant::Early;
            if (!isInPause && instant != Instant::After) {
                inPhase();
            } else {
                QMetaObject::invokeMethod(m_simulator, inPhase,
                                          isEarly ? Qt::BlockingQueuedConnection : Qt::QueuedConnection);
            }
        };
        m_phase = phase;
        device().invoke([&](Simulator&) { send(client(0), first); });
        bool isDone = QTest::qWaitFor([&] { return m_phases.size() > phase; }, 20'000 * TIME_FACTOR) &&
                      isServed(*m_third, m_seenByThird);
        m_phase = -1;
        const QStringList phases = m_phases;
        for (qsizetype i = 0; i < others.size() && isDone; ++i) {
            device().invoke([&](Simulator&) { send(client(i), others.at(i)); });
            isDone = isServed(*m_third, m_seenByThird);
        }
        m_phases = phases;
        return isDone && areClientsServed() ? outcome() : Outcome{u"not served"_s};
    }

    /// Sends requests in order. @param areAwaited until they have arrived
    void ask(const QList<Request>& others, bool areAwaited)
    {
        for (qsizetype i = 0; i < others.size(); ++i) {
            send(client(i), others.at(i));
            if (areAwaited || i + 1 < others.size()) {
                settle();
            }
        }
    }

    /// Restarts all services, but for the one that is about to answer.
    void restartServices(const QString& phase)
    {
        const QString answering = phase == u"settings" ? u"configmanager"_s : phase.section(u'.', 0, 0);
        for (const InterfaceDescription& description : m_simulator->catalogue().services()) {
            QString error;
            if (description.service != answering) {
                m_simulator->service(description.service)->stop();
                if (!m_simulator->service(description.service)->start(&error)) {
                    qFatal("%s", qPrintable(error));
                }
            }
        }
    }

    static QString inPhase(const QStringList& phases, qsizetype phase, const QString& what)
    {
        return u"%1 in phase %2, %3: "_s.arg(what, QString::number(phase), phases.at(phase));
    }

private Q_SLOTS:
    void init()
    {
        PowerManagerFixture::init();
        QVERIFY(QFile::copy(QStringLiteral(SOURCE_FOLDER "/powermanager/zones.ini"), paths::zoneFile()));
        QVERIFY(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"settle"_s).isConnected());
        QVERIFY(QDBusConnection::sessionBus().registerService(QLatin1StringView(kServiceName)));
        QString error;
        device().invoke([this, &error](Simulator& simulator) {
            m_simulator = &simulator;
            for (SimulatedService* service : simulator.findChildren<SimulatedService*>()) {
                connect(service, &SimulatedService::called, service, [this](const QString& method) {
                    if (!isOfZone(method)) {
                        onStep(method, false);
                    }
                });
            }
            const InterfaceDescription& daemon = simulator.catalogue().powerDaemon();
            m_second = std::make_unique<PowerDaemonClient>(daemon, m_seenBySecond);
            m_third = std::make_unique<PowerDaemonClient>(daemon, m_seenByThird);
            (void)(m_second->start(&error) && m_third->start(&error));
        });
        QCOMPARE(error, QString());
        setDuringPause([this] { onStep(u"pause"_s, true); });
    }

    void cleanup()
    {
        device().invoke([this](Simulator&) {
            m_second.reset();
            m_third.reset();
        });
        m_daemon.reset();
        QDBusConnection::disconnectFromBus(u"settle"_s);
        PowerManagerFixture::cleanup();
    }

    void requests_data()
    {
        const Table<Request> row("request");
        for (const Request& request : requestTable()) {
            if (request.phases > 0) {
                row(request.name, request);
            }
        }
    }

    void requests()
    {
        QFETCH(Request, request);
        for (qsizetype begin = 0; begin < requestTable().size(); begin += kGroup) {
            const QList<Request> others = requestTable().mid(begin, kGroup);
            const Outcome expected = play(request, others);
            const QStringList phases = m_phases;
            QVERIFY2(phases.size() == request.phases, qPrintable(phases.join(u' ')));
            for (qsizetype phase = 0; phase < phases.size(); ++phase) {
                for (const Instant instant : instants(phase + begin / kGroup)) {
                    const auto askAll = [&] { ask(others, instant == Instant::Early); };
                    const QString found = difference(play(request, {}, phase, askAll, instant), expected);
                    const QString what = QLatin1StringView(others.constFirst().name) + u" ..., instant "_s +
                                         QString::number(static_cast<int>(instant));
                    QVERIFY2(found.isEmpty(), qPrintable(inPhase(phases, phase, what) + found));
                }
            }
        }
    }

    void restartsOfServices_data()
    {
        requests_data();
    }

    /// Services that come anew are as good as before, during the request and the next time.
    void restartsOfServices()
    {
        QFETCH(Request, request);
        const Outcome expected = play(request, {request});
        const QStringList phases = m_phases;
        for (qsizetype phase = 0; phase < phases.size(); ++phase) {
            const auto restart = [&] { restartServices(phases.at(phase)); };
            const QString found = difference(play(request, {request}, phase, restart), expected);
            QVERIFY2(found.isEmpty(), qPrintable(inPhase(phases, phase, u"restart of services"_s) + found));
        }
    }
};

QTEST_GUILESS_MAIN(TstRequestMatrix)
#include "tst_requestmatrix.moc"
