// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Catalogue.h"
#include "DBusValues.h"
#include "Moment.h"
#include "ReasonRecord.h"
#include "SimulatedDevice.h"
#include "Table.h"
#include "WireMessage.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// How long a run may take that has nothing to wait for, and one that waits a second for answers.
constexpr int kPromptMs = 900 * TIME_FACTOR;
constexpr int kSecondMs = 2500 * TIME_FACTOR;
constexpr int kPatienceMs = 20000 * TIME_FACTOR;

/// The power daemon as its callers see it, with a fault.
class FakeDaemon : public QDBusVirtualObject
{
public:
    enum class Mode
    {
        Answers,
        Mute, ///< until refuse()
        Refuses,
        Fails,
        WrongTypes,
        Ends,     ///< goes away without an answer
        GoesDown, ///< announces a reboot, then goes away without an answer
    };

    FakeDaemon(const QString& address, Mode mode)
        : m_mode(mode),
          m_bus(QDBusConnection::connectToBus(address, u"fake daemon"_s)),
          m_description(Catalogue().powerDaemon())
    {
        if (!m_bus.registerVirtualObject(m_description.objectPath, this, QDBusConnection::SingleNode) ||
            !m_bus.registerService(m_description.busName)) {
            qFatal("fake daemon: %s", qPrintable(m_bus.lastError().message()));
        }
    }
    ~FakeDaemon() override
    {
        leave();
    }

    QString introspect(const QString&) const override
    {
        return {};
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override
    {
        const MemberDescription* method = m_description.findMethod(message.member());
        m_calls.append(message.member());
        QVariantList values = dbusvalues::fill(method->out, {{u"Status"_s, m_mode == Mode::Refuses ? -52 : 0}});
        switch (m_mode) {
        case Mode::Mute:
            m_unanswered = message;
            break;
        case Mode::Fails:
            m_bus.send(message.createErrorReply(QDBusError::AccessDenied, u"not today"_s));
            break;
        case Mode::WrongTypes:
            m_bus.send(message.createReply(u"a text"_s));
            break;
        case Mode::GoesDown: {
            QDBusMessage event =
                QDBusMessage::createSignal(m_description.objectPath, m_description.interfaceName, u"PowerEvent"_s);
            event.setArguments({u"reboot"_s, u"upgrade"_s});
            m_bus.send(event);
            [[fallthrough]];
        }
        case Mode::Ends:
            QMetaObject::invokeMethod(
                this, [this] { leave(); }, Qt::QueuedConnection);
            break;
        case Mode::Answers:
        case Mode::Refuses:
            m_bus.send(message.createReply(values));
        }
        return true;
    }

    /// Answers what it was mute to last.
    void refuse()
    {
        m_bus.send(m_unanswered.createReply(-52));
    }

    QStringList calls() const
    {
        return m_calls;
    }

private:
    void leave()
    {
        m_bus.unregisterObject(m_description.objectPath); // not to be met while the connection is closed
        m_bus = QDBusConnection(u"none"_s);
        QDBusConnection::disconnectFromBus(u"fake daemon"_s);
    }

    Mode m_mode;
    QDBusConnection m_bus;
    InterfaceDescription m_description;
    QStringList m_calls;
    QDBusMessage m_unanswered;
};

/// zelt-power, running; the test's event loop turns while it is waited for.
class Client : public QProcess
{
public:
    explicit Client(const QStringList& arguments, const QString& address = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!address.isEmpty()) {
            environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, address);
        }
        setProcessEnvironment(environment);
        m_clock.start();
        start(QStringLiteral(CLIENT_PROGRAM), arguments);
    }
    ~Client() override
    {
        kill();
        waitForFinished();
    }

    /// Waits for its end. @return the exit status; -1: it did not end, or not by itself
    int wait()
    {
        if (state() != NotRunning) {
            QEventLoop loop;
            connect(this, &QProcess::finished, &loop, &QEventLoop::quit);
            QTimer::singleShot(kPatienceMs, &loop, &QEventLoop::quit);
            loop.exec();
        }
        m_msec = m_clock.elapsed();
        return state() == NotRunning && exitStatus() == NormalExit ? exitCode() : -1;
    }

    qint64 msec() const
    {
        return m_msec;
    }

    /// What it has printed so far.
    QString output()
    {
        m_output += readAllStandardOutput();
        return QString::fromUtf8(m_output);
    }

    QString errors()
    {
        m_errors += readAllStandardError();
        return QString::fromUtf8(m_errors);
    }

private:
    QElapsedTimer m_clock;
    qint64 m_msec = 0;
    QByteArray m_output;
    QByteArray m_errors;
};

/// A bus of its own that can go away.
class OwnBus : public QProcess
{
public:
    /// @param configuration file with the bus's rules; empty: those of a session
    explicit OwnBus(const QString& configuration = {})
    {
        start(u"dbus-daemon"_s, {configuration.isEmpty() ? u"--session"_s : u"--config-file="_s + configuration,
                                 u"--nofork"_s, u"--print-address"_s});
        if (!waitForReadyRead(kPatienceMs)) {
            qFatal("dbus-daemon: no address");
        }
        m_address = QString::fromUtf8(readLine()).trimmed();
    }
    ~OwnBus() override
    {
        kill();
        waitForFinished();
    }

    QString address() const
    {
        return m_address;
    }

private:
    QString m_address;
};

/// Rules of a bus that starts the power daemon for whoever asks for it, but lets nobody watch it.
QByteArray strictRules(const QString& folder)
{
    return u"<busconfig><type>session</type><listen>unix:tmpdir=%1</listen><servicedir>%1</servicedir>"
           "<policy context='default'><allow send_destination='*'/><allow receive_sender='*'/><allow own='*'/>"
           "<deny send_interface='org.freedesktop.DBus.Monitoring'/></policy></busconfig>"_s.arg(folder)
               .toUtf8();
}

QString sessionAddress()
{
    return qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
}

QString recordPath()
{
    return QStringLiteral(ZELT_ROOT "/data/log/last_powerman.txt");
}

} // namespace

/// zelt-power as a process, beside a power daemon with every fault, and its parts.
class TstZeltPower : public QObject
{
    Q_OBJECT

    using Mode = FakeDaemon::Mode;

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        QFile::remove(recordPath());
    }

    void faults_data()
    {
        const Table<QString, Mode, int, QString, int> row("line", "mode", "status", "says", "limit");
        row("frequency, answered", u"freq 300"_s, Mode::Answers, 0, u"CPU frequency set to 300 MHz"_s, kPromptMs);
        row("frequency, refused", u"freq 300"_s, Mode::Refuses, 1, u"refused: status -52"_s, kPromptMs);
        row("frequency, error", u"freq 300"_s, Mode::Fails, 1, u"not today"_s, kPromptMs);
        row("frequency, wrong types", u"freq 300"_s, Mode::WrongTypes, 1, u"found an answer of types \"s\""_s,
            kPromptMs);
        row("frequency, ends", u"freq 300"_s, Mode::Ends, 4, u"ended before it answered"_s, kPromptMs);
        row("setting, mute", u"autoscaling on"_s, Mode::Mute, 4, u"no answer in 5 s"_s, 7000 * TIME_FACTOR);
        row("reboot, answered", u"reboot upgrade"_s, Mode::Answers, 0, u"accepted: the device restarts now"_s,
            kPromptMs);
        row("reboot, went down", u"reboot upgrade"_s, Mode::GoesDown, 0, u"the device went down, as asked"_s,
            kPromptMs);
        row("reboot, ends", u"reboot upgrade"_s, Mode::Ends, 4, u"ended before it answered"_s, kPromptMs);
        row("shutdown, other event", u"shutdown"_s, Mode::GoesDown, 4, u"ended before it answered"_s, kPromptMs);
        row("window, not taken", u"sleep 23:00 06:30"_s, Mode::Answers, 1, u"did not take the window"_s, kPromptMs);
        row("window, off", u"sleep off"_s, Mode::Answers, 0, u"no sleep window"_s, kPromptMs);
        row("status, answered", u"status"_s, Mode::Answers, 0, u"Autoscaling:   off"_s, kPromptMs);
        row("status, mute", u"status"_s, Mode::Mute, 4, u"no answer"_s, kSecondMs);
        row("status, error", u"status"_s, Mode::Fails, 4, u"not today"_s, kPromptMs);
        row("status, ends", u"status"_s, Mode::Ends, 4, u"; no answer"_s, kSecondMs);
    }

    void faults()
    {
        QFETCH(QString, line);
        QFETCH(Mode, mode);
        QFETCH(int, status);
        QFETCH(QString, says);
        QFETCH(int, limit);
        const FakeDaemon daemon(sessionAddress(), mode);

        Client client(line.split(u' '));

        QCOMPARE(client.wait(), status);
        const QString text = client.output() + client.errors();
        QVERIFY2(text.contains(says), qPrintable(text));
        QVERIFY2(client.msec() < limit, qPrintable(QString::number(client.msec())));
    }

    void nobodyThere_data()
    {
        const Table<QString, QString> row("address", "says");
        row("no daemon", sessionAddress(), u"is not on the session bus"_s);
        row("no socket", u"unix:path=/nonexistent/bus"_s, u"can't connect to the session bus"_s);
        row("a bus that would be started", u"autolaunch:"_s, u"there is no session bus"_s);
    }

    void nobodyThere()
    {
        QFETCH(QString, address);
        QFETCH(QString, says);

        Client client({u"actions"_s, u"on"_s}, address);

        QCOMPARE(client.wait(), 3);
        QVERIFY2(client.errors().contains(says), qPrintable(client.errors()));
    }

    /// The bus accepts, and says nothing.
    void muteBus()
    {
        const OwnBus bus;
        ::kill(static_cast<pid_t>(bus.processId()), SIGSTOP);

        Client client({u"status"_s}, bus.address());

        QCOMPARE(client.wait(), 3);
        QVERIFY2(client.errors().contains(u"no answer from the session bus"_s), qPrintable(client.errors()));
        QVERIFY(client.msec() < qint64{4000} * TIME_FACTOR);
    }

    void busGoesAway_data()
    {
        const Table<QString> row("line");
        row("operation", u"reboot upgrade"_s);
        row("watch", u"status --watch"_s);
        row("monitor", u"monitor"_s);
        row("monitor by signals", u"monitor --signals-only"_s);
    }

    void busGoesAway()
    {
        QFETCH(QString, line);
        OwnBus bus;
        const FakeDaemon daemon(bus.address(), Mode::Mute);
        Client client(line.split(u' '), bus.address());
        QTRY_VERIFY_WITH_TIMEOUT(!daemon.calls().isEmpty() || line.startsWith(u"monitor"), kPatienceMs);
        QTest::qWait(line.startsWith(u"monitor") ? 300 * TIME_FACTOR : 1); // nothing shows that it listens

        bus.kill();

        QCOMPARE(client.wait(), 3);
        QVERIFY2(client.errors().contains(u"the session bus went away"_s), qPrintable(client.errors()));
    }

    void wrongUse_data()
    {
        const Table<QString, QString> row("line", "says");
        row("command", u"sttatus"_s, u"unknown command \"sttatus\"; did you mean \"status\"?"_s);
        row("option", u"status|--jsno"_s, u"unknown option \"--jsno\"; did you mean \"--json\"?"_s);
        row("choice", u"actions|onn"_s, u"SETTING: found \"onn\"; did you mean \"on\"?"_s);
        row("too few", u"freq"_s, u"found no MHZ"_s);
        row("too many", u"freq|300|400"_s, u"found \"400\"; expected nothing more"_s);
        row("no number", u"freq|fast"_s, u"found \"fast\"; expected a whole number of MHz"_s);
        row("off the ladder", u"freq|310"_s, u"not on the ladder; the nearest rung is 300 MHz. Nothing was sent"_s);
        row("no time", u"suspend|soon"_s, u"found \"soon\"; expected a time"_s);
        row("past", u"suspend|2020-01-01 07:30"_s, u"is in the past"_s);
        row("near", u"suspend|+10s"_s, u"the alarm may pass before the device is in standby"_s);
        row("no end", u"sleep|23:00"_s, u"found no END"_s);
        row("no start", u"sleep|25:00|06:30"_s, u"START: found \"25:00\""_s);
        row("behind off", u"sleep|off|06:30"_s, u"behind \"off\"; expected nothing more"_s);
        row("empty window", u"sleep|23:00|23:00"_s, u"would not sleep at all"_s);
        row("nearly a reason", u"reboot|upgradee"_s, u"\"upgrade\" is one that is used"_s);
        row("reason of two lines", u"reboot|a\nb"_s, u"control characters"_s);
        row("value left out", u"why|--record"_s, u"Missing value"_s);
        row("group", u"zones|xcheck"_s, u"unknown command \"zones xcheck\"; did you mean \"check\"?"_s);
    }

    /// Nothing is sent, with or without --dry-run.
    void wrongUse()
    {
        QFETCH(QString, line);
        QFETCH(QString, says);
        const FakeDaemon daemon(sessionAddress(), Mode::Answers);

        Client client(line.split(u'|'));

        QCOMPARE(client.wait(), 2);
        QVERIFY2(client.errors().contains(says), qPrintable(client.errors()));
        QCOMPARE(daemon.calls(), QStringList());
    }

    void yesSendsTheUnusual()
    {
        const FakeDaemon daemon(sessionAddress(), Mode::Answers);

        Client client({u"freq"_s, u"310"_s, u"--yes"_s});

        QCOMPARE(client.wait(), 0);
        QCOMPARE(daemon.calls(), QStringList{u"SetFreq"_s});
    }

    void dryRunSendsNothing()
    {
        const FakeDaemon daemon(sessionAddress(), Mode::Answers);
        Timeline timeline;
        const SimulatedDevice device(timeline, {u"lightmanager"_s, u"freqmanager"_s});

        Client client({u"reboot"_s, u"--dry-run"_s});

        QCOMPARE(client.wait(), 0);
        QVERIFY2(client.output().contains(u"Missing now: lightmanager, freqmanager\n"
                                          "It would be refused: freqmanager is missing.\n"
                                          "Takes:       7.5 s if every service answers at once, at most 142.5 s"_s),
                 qPrintable(client.output()));
        QCOMPARE(daemon.calls(), QStringList());

        Client withoutBus({u"reboot"_s, u"--dry-run"_s}, u"unix:path=/nowhere"_s);
        QCOMPARE(withoutBus.wait(), 0);
        QVERIFY2(withoutBus.output().contains(u"Missing now: not known: "_s) &&
                     !withoutBus.output().contains(u"refused"_s),
                 qPrintable(withoutBus.output()));
    }

    void statusOfADevice()
    {
        const FakeDaemon daemon(sessionAddress(), Mode::Answers);
        Timeline timeline;
        SimulatedDevice device(timeline, {u"micmanager"_s});
        QCOMPARE(device.run(u"charge 35\nfail soundmanager.GetStatus mute\nfail lightmanager.GetIntensity status -1"_s),
                 QString());
        writeFile(recordPath(), "2024/03/07-18:05:09|last_reboot|upgrade\n");

        Client client({u"status"_s, u"--json"_s});

        QCOMPARE(client.wait(), 0);
        QVERIFY(client.msec() < kSecondMs);
        const QJsonObject state = QJsonDocument::fromJson(client.output().toUtf8()).object();
        QCOMPARE(state[u"charge"].toInt(), 35);
        QCOMPARE(state[u"frequency"].toInt(), 200);
        QCOMPARE(state[u"lightOn"].toBool(), true);
        QVERIFY(state[u"volume"].isNull() && state[u"light"].isNull());
        QCOMPARE(state[u"daemon"][u"pid"].toInteger(), QCoreApplication::applicationPid());
        QCOMPARE(state[u"lastAction"][u"action"].toString(), u"reboot"_s);
        QStringList problems;
        const QJsonArray services = state[u"services"].toArray();
        for (const auto& service : services) {
            if (!service[u"present"].toBool() || !service[u"problem"].isNull()) {
                problems.append(service[u"name"].toString() + u' ' + service[u"problem"].toString());
            }
        }
        QCOMPARE(problems.size(), 3);
        QVERIFY(problems.contains(u"micmanager "_s) && problems.contains(u"soundmanager no answer"_s));
        QVERIFY(problems.filter(u"lightmanager status"_s).size() == 1);
    }

    void watchDrawsEachChange()
    {
        const FakeDaemon daemon(sessionAddress(), Mode::Answers);
        Timeline timeline;
        SimulatedDevice device(timeline);
        Client client({u"status"_s, u"--watch"_s, u"--json"_s});
        QTRY_VERIFY_WITH_TIMEOUT(client.output().contains(u"\"charge\":100"_s), kPatienceMs);

        QCOMPARE(device.run(u"charge 35"_s), QString());
        QTRY_VERIFY_WITH_TIMEOUT(client.output().contains(u"\"charge\":35"_s), kPatienceMs);
        QCOMPARE(device.run(u"stop freqmanager"_s), QString());
        QTRY_VERIFY_WITH_TIMEOUT(client.output().contains(u"\"frequency\":null"_s), kPatienceMs);
    }

    void monitorTellsWhoAsked()
    {
        FakeDaemon daemon(sessionAddress(), Mode::Mute);
        Timeline timeline;
        SimulatedDevice device(timeline);
        Client monitor({u"monitor"_s, u"--all"_s, u"--json"_s});
        // Nothing else shows that it listens.
        const auto hears = [&monitor, &device] {
            return device.run(u"charge 50"_s).isEmpty() && monitor.output().contains(u"SystemStatus"_s);
        };
        QTRY_VERIFY_WITH_TIMEOUT(hears(), kPatienceMs);

        Client caller({u"freq"_s, u"300"_s});
        const qint64 pid = caller.processId();
        // Of a caller that has ended before the monitor asks for it, only the number is known.
        QTRY_VERIFY_WITH_TIMEOUT(monitor.output().contains(u"\"SetFreq\""_s), kPatienceMs);
        daemon.refuse();
        QCOMPARE(caller.wait(), 1);

        QTRY_VERIFY_WITH_TIMEOUT(monitor.output().contains(u"\"answer\""_s), kPatienceMs);
        QJsonObject request;
        QJsonObject answer;
        for (const QString& line : monitor.output().split(u'\n', Qt::SkipEmptyParts)) {
            const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
            QVERIFY2(event[u"time"].isDouble() && event[u"clock"].isString(), qPrintable(line));
            request = event[u"kind"].toString() == u"request" ? event : request;
            answer = event[u"kind"].toString() == u"answer" ? event : answer;
        }
        QCOMPARE(request[u"member"].toString(), u"SetFreq"_s);
        QCOMPARE(request[u"sender"][u"pid"].toInteger(), pid);
        QCOMPARE(request[u"sender"][u"executable"].toString(), QStringLiteral(CLIENT_EXECUTABLE));
        QVERIFY(request[u"sender"][u"command"].toString().endsWith(u" freq 300"_s));
        QCOMPARE(request[u"arguments"][0],
                 QJsonValue(QJsonObject{{u"name"_s, u"freq"_s}, {u"type"_s, u"i"_s}, {u"value"_s, 300}}));
        QCOMPARE(answer[u"id"], request[u"id"]);
        QCOMPARE(answer[u"reply"][0][u"value"].toInt(), -52);
    }

    void neverStartsTheDaemon_data()
    {
        const Table<QString> row("line");
        row("status", u"status"_s);
        row("operation", u"reboot upgrade"_s);
        row("dry run", u"reboot upgrade --dry-run"_s);
    }

    void neverStartsTheDaemon()
    {
        QFETCH(QString, line);
        const QTemporaryDir folder;
        const QString started = folder.filePath(u"started"_s);
        writeFile(
            folder.filePath(u"power.service"_s),
            u"[D-BUS Service]\nName=com.quillmark.zelt.powermanager\nExec=/usr/bin/touch %1\n"_s.arg(started).toUtf8());
        writeFile(folder.filePath(u"bus.conf"_s), strictRules(folder.path()));
        const OwnBus bus(folder.filePath(u"bus.conf"_s));

        Client client(line.split(u' '), bus.address());

        QCOMPARE(client.wait(), line.contains(u"--dry-run"_s) ? 0 : 3);
        QVERIFY(!QFile::exists(started));
    }

    /// The bus lets nobody watch it.
    void monitorBySignals()
    {
        const QTemporaryDir folder;
        writeFile(folder.filePath(u"bus.conf"_s), strictRules(folder.path()));
        const OwnBus bus(folder.filePath(u"bus.conf"_s));
        Client monitor({u"monitor"_s}, bus.address());
        QTRY_VERIFY_WITH_TIMEOUT(monitor.output().contains(u"signals alone, no calls and answers (Sender is not"_s) ||
                                     monitor.output().contains(u"(Rejected send message"_s),
                                 kPatienceMs);

        const FakeDaemon daemon(bus.address(), Mode::GoesDown);
        QTRY_VERIFY_WITH_TIMEOUT(monitor.output().contains(u"process  the power daemon is up"_s), kPatienceMs);
        Client client({u"reboot"_s, u"upgrade"_s}, bus.address());

        QCOMPARE(client.wait(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(
            monitor.output().contains(u"signal   powermanager.PowerEvent(\"reboot\", \"upgrade\")"_s), kPatienceMs);
        QVERIFY(!monitor.output().contains(u"  request  "_s));
    }

    /// The other services' signals, too.
    void monitorAllBySignals()
    {
        Timeline timeline;
        SimulatedDevice device(timeline);
        Client monitor({u"monitor"_s, u"--signals-only"_s, u"--all"_s});
        QTRY_VERIFY_WITH_TIMEOUT(monitor.output().contains(u"signals alone, no calls and answers"_s), kPatienceMs);

        QCOMPARE(device.run(u"charge 50"_s), QString());

        QTRY_VERIFY_WITH_TIMEOUT(monitor.output().contains(u"signal   statusmanager.SystemStatus("_s), kPatienceMs);
    }

    void endsAtOnceBySignal_data()
    {
        const Table<QString> row("line");
        row("watch", u"status --watch"_s);
        row("monitor", u"monitor"_s);
        row("operation", u"reboot upgrade"_s);
    }

    /// On a terminal, which has its usual screen and cursor again.
    void endsAtOnceBySignal()
    {
        QFETCH(QString, line);
        const FakeDaemon daemon(sessionAddress(), Mode::Mute);
        const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        QVERIFY(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
        const QByteArray name = ::ptsname(terminal);
        QProcess client;
        client.setChildProcessModifier([name] {
            const int slave = ::open(name.constData(), O_RDWR);
            ::setsid();
            ::dup2(slave, 0);
            ::dup2(slave, 1);
            ::dup2(slave, 2);
        });
        client.start(QStringLiteral(CLIENT_PROGRAM), line.split(u' '));
        QTRY_VERIFY_WITH_TIMEOUT(!daemon.calls().isEmpty() || line == u"monitor", kPatienceMs);
        QTest::qWait(1200); // until the screen or the progress line is drawn
        QElapsedTimer clock;
        clock.start();

        ::kill(static_cast<pid_t>(client.processId()), SIGINT);

        QVERIFY(client.waitForFinished(kPatienceMs));
        const qint64 msec = clock.elapsed();
        QCOMPARE(client.exitStatus(), QProcess::CrashExit);
        QCOMPARE(client.exitCode(), SIGINT);
        QByteArray shown;
        char letter = 0;
        while (::read(terminal, &letter, 1) == 1) {
            shown.append(letter);
        }
        ::close(terminal);
        QCOMPARE(shown.contains("\x1b[?1049h"), line == u"status --watch");
        QCOMPARE(shown.endsWith("\x1b[?7h\x1b[?25h\x1b[?1049l"), line == u"status --watch");
        QVERIFY2(line != u"reboot upgrade" || shown.endsWith("\r\x1b[K"), shown.constData());
        QVERIFY2(msec <= qint64{50} * TIME_FACTOR, qPrintable(QString::number(msec)));
    }

    void why_data()
    {
        const Table<QByteArray, QString, int, QString> row("content", "events", "status", "says");
        const QString request = uR"({"kind":"request","clock":"2024-03-07T17:05:08.900Z","time":1,"member":"Reboot",)"
                                R"("id":"7","arguments":[{"name":"Reason","type":"s","value":"upgrade"}],)"
                                R"("sender":{"bus":":1.42","pid":4711,"executable":"/usr/bin/updater"}})"_s;
        const QString answer =
            uR"({"kind":"answer","clock":"2024-03-07T17:05:17.000Z","time":9,"member":"Reboot",)"
            R"("service":"powermanager","id":"7","reply":[{"name":"Status","type":"i","value":-50}]})"_s;
        const QByteArray record = "2024/03/07-18:05:09|last_reboot|upgrade\n";
        row("caller", record, request + u'\n' + answer, 0,
            u"Asked by:  updater, process 4711 (:1.42)\n"
            "Request:   Reboot(\"upgrade\") at 2024-03-07 18:05:08; "
            "refused, status -50\n"_s);
        row("no event", record, u"no event\n"_s + request, 0, u":1: found no JSON object"_s);
        row("other reason", "2024/03/07-18:05:09|last_reboot|watchdog\n", request, 0,
            u"not known: no request in the record fits"_s);
        row("other time", "2024/03/07-19:05:09|last_reboot|upgrade\n", request, 0, u"no request in the record fits"_s);
        row("low battery", "2024/03/07-18:05:09|last_shutdown|cmd_shdm\n", u""_s, 0, u"the battery was nearly empty"_s);
        row("two lines", "2024/03/07-18:05:09|last_reboot|a\x1b|b\nc\n", u""_s, 0,
            u"Reason:    a\\x1b|b\\nc: a free text"_s);
        row("no record", "", u""_s, 1, u"found \"\"; expected \"yyyy/MM/dd-hh:mm:ss|last_reboot|REASON\""_s);
        row("cut", "2024/03/07-18:05", u""_s, 1, u"found \"2024/03/07-18:05\"; expected"_s);
        row("no file", QByteArray(), u""_s, 1, u"there is no record"_s);
    }

    void why()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, events);
        QFETCH(int, status);
        QFETCH(QString, says);
        qputenv("TZ", "Europe/Rome");
        if (!content.isNull()) {
            writeFile(recordPath(), content);
        }
        writeFile(QStringLiteral(ZELT_ROOT "/day.jsonl"), events.toUtf8());

        Client client({u"why"_s, u"--record"_s, QStringLiteral(ZELT_ROOT "/day.jsonl")});

        QCOMPARE(client.wait(), status);
        const QString text = client.output() + client.errors();
        QVERIFY2(text.contains(says), qPrintable(text));
    }

    void moments_data()
    {
        const Table<QString, QString, QString> row("text", "time", "doubt");
        row("hours", u"+8h"_s, u"2026-03-07 20:00:00"_s, u""_s);
        row("hours and minutes", u"+1h30m"_s, u"2026-03-07 13:30:00"_s, u""_s);
        row("later today", u"12:30"_s, u"2026-03-07 12:30:00"_s, u""_s);
        row("now is tomorrow", u"12:00"_s, u"2026-03-08 12:00:00"_s, u""_s);
        row("date", u"2026-03-10T07:30:15"_s, u"2026-03-10 07:30:15"_s, u""_s);
        row("spring gap", u"2026-03-29 02:30"_s, u"2026-03-29 03:30:00"_s, u"The clock skips 02:30:00"_s);
        row("autumn twice", u"2026-10-25 02:30"_s, u"2026-10-25 02:30:00"_s, u"shows 02:30:00 twice"_s);
        row("past", u"2026-03-07 11:59"_s, u"2026-03-07 11:59:00"_s, u"is in the past"_s);
        row("far", u"2026-05-01 07:30"_s, u"2026-05-01 07:30:00"_s, u"is in 54 days"_s);
        row("no unit", u"+8"_s, u""_s, u""_s);
        row("no day", u"2026-02-30 07:30"_s, u""_s, u""_s);
        row("no text", u""_s, u""_s, u""_s);
    }

    void moments()
    {
        QFETCH(QString, text);
        QFETCH(QString, time);
        QFETCH(QString, doubt);
        qputenv("TZ", "Europe/Rome");
        tzset();

        const Moment moment = Moment::parse(text, QDateTime({2026, 3, 7}, {12, 0}));

        QCOMPARE(moment.fault.isEmpty() ? moment.time.toString(u"yyyy-MM-dd HH:mm:ss"_s) : QString(), time);
        const QString doubts = moment.doubts.join(u' ');
        QVERIFY2(doubt.isEmpty() ? time.isEmpty() || !doubts.contains(u"clock"_s) : doubts.contains(doubt),
                 qPrintable(doubts));
    }

    /// What comes from the socket may be cut anywhere, and may be no message at all.
    void wireMessages()
    {
        const QByteArray whole =
            WireMessage::callBus(7, u"a.b"_s, u"Do"_s, u"asu"_s, {QStringList{u"one"_s, u"two"_s}, 5U});
        WireMessage message;
        for (qsizetype size = 0; size < whole.size(); ++size) {
            QByteArray part = whole.left(size);
            QCOMPARE(WireMessage::take(part, &message), WireMessage::Result::Incomplete);
        }
        QByteArray two = whole + whole;
        QCOMPARE(WireMessage::take(two, &message), WireMessage::Result::Taken);
        QCOMPARE(two, whole);
        QCOMPARE(message.serial, 7U);
        QCOMPARE(message.member, u"Do"_s);
        QCOMPARE(message.values, (QVariantList{QVariantList{u"one"_s, u"two"_s}, 5U}));
        // Every byte set to every value: a message, an incomplete one, or a broken one, never a crash.
        for (qsizetype place = 0; place < whole.size(); ++place) {
            for (int value = 0; value < 256; ++value) {
                QByteArray bytes = whole;
                bytes[place] = static_cast<char>(value);
                (void)WireMessage::take(bytes, &message);
            }
        }
    }
};

QTEST_GUILESS_MAIN(TstZeltPower)
#include "tst_zeltpower.moc"
