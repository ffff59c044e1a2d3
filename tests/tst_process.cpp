// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Catalogue.h"
#include "ChildProcess.h"
#include "LogLine.h"
#include "Names.h"
#include "PowerManagerAdaptor.h"
#include "PrivateBus.h"
#include "RecordingPlatform.h"
#include "SimulatedDevice.h"
#include "Table.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QFile>
#include <QMetaMethod>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QLatin1StringView kInterface("com.quillmark.zelt.powerinterface");
const QLatin1StringView kService(kServiceName);
const QLatin1StringView kPath(kObjectPath);

/// How long a process may take to start or to end.
constexpr int kPatienceMs = 5000 * TIME_FACTOR;
const QString kDaemonUp = u"expect daemon up within %1"_s.arg(kPatienceMs / 1000);

/// The real executable, started, with all that it printed.
class Daemon : public ChildProcess
{
public:
    /// @param busAddress of a session bus other than the test's own
    explicit Daemon(const QString& busAddress = {})
    {
        if (!busAddress.isEmpty()) {
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, busAddress);
            setProcessEnvironment(environment);
        }
        setProcessChannelMode(QProcess::MergedChannels);
        connect(this, &QProcess::readyRead, this, [this] { m_output += readAll(); });
        start(QStringLiteral(POWERMANAGER_PROGRAM), {});
    }
    /// Whether the process runs, or how it ended.
    QString fate() const
    {
        return state() != NotRunning        ? u"running"_s
               : exitStatus() != NormalExit ? u"crashed"_s
                                            : u"exit "_s + QString::number(exitCode());
    }

    QStringList lines() const
    {
        return QString::fromLocal8Bit(m_output).split(u'\n', Qt::SkipEmptyParts);
    }

    /// The last line's level, last part of the object path, and message.
    QString lastLine() const
    {
        const std::optional<LogLine> log = LogLine::parse(lines().constLast());
        return log ? QString::number(log->level) + u' ' + log->object.section(u'/', -1) + u' ' + log->message
                   : u"no log line"_s;
    }

    bool hasLine(const QString& text) const
    {
        return m_output.contains(text.toLocal8Bit());
    }

private:
    QByteArray m_output;
};

/// Answers no call.
class MuteObject : public QDBusVirtualObject
{
public:
    QString introspect(const QString&) const override
    {
        return {};
    }

    bool handleMessage(const QDBusMessage&, const QDBusConnection&) override
    {
        return true;
    }
};

/// A member and its arguments on one line, as "method SetFreq(i freq) -> i Status".
QString memberLine(const QString& kind, const QString& name, const QStringList& in, const QStringList& out)
{
    return kind + u' ' + name + u'(' + in.join(u", "_s) + u") -> "_s + out.join(u", "_s);
}

/// The members of the published description, sorted: the adaptor lists them by name.
QStringList describedMembers()
{
    const auto texts = [](const QList<ArgumentDescription>& arguments) {
        QStringList list;
        for (const ArgumentDescription& argument : arguments) {
            list.append(argument.type + u' ' + argument.name);
        }
        return list;
    };
    const Catalogue catalogue;
    QStringList lines;
    for (const MemberDescription& signal : catalogue.powerDaemon().signalList) {
        lines.append(memberLine(u"signal"_s, signal.name, texts(signal.out), {}));
    }
    for (const MemberDescription& method : catalogue.powerDaemon().methodList) {
        lines.append(memberLine(u"method"_s, method.name, texts(method.in), texts(method.out)));
    }
    lines.sort();
    return lines;
}

/// The members that the adaptor serves, sorted: what it returns is the status, and its references are further
/// out-arguments.
QStringList servedMembers()
{
    const QMetaObject& adaptor = PowerManagerAdaptor::staticMetaObject;
    QStringList lines;
    for (int index = adaptor.methodOffset(); index < adaptor.methodCount(); ++index) {
        const QMetaMethod member = adaptor.method(index);
        const bool isSignal = member.methodType() == QMetaMethod::Signal;
        QStringList in;
        QStringList out;
        if (!isSignal) {
            out.append(QString::fromLatin1(QDBusMetaType::typeToSignature(member.returnMetaType())) + u" Status"_s);
        }
        for (int i = 0; i < member.parameterCount(); ++i) {
            const QByteArray type = member.parameterTypes().at(i);
            const bool isOut = type.endsWith('&');
            const QMetaType metaType = QMetaType::fromName(isOut ? type.chopped(1) : type);
            (isOut ? out : in)
                .append(QString::fromLatin1(QDBusMetaType::typeToSignature(metaType)) + u' ' +
                        QString::fromLatin1(member.parameterNames().at(i)));
        }
        lines.append(memberLine(isSignal ? u"signal"_s : u"method"_s, QString::fromLatin1(member.name()), in, out));
    }
    lines.sort();
    return lines;
}

bool isOnBus(const QDBusConnection& bus = QDBusConnection::sessionBus())
{
    return bus.interface()->isServiceRegistered(kService);
}

QDBusMessage call(const QString& interface, const QString& method, const QVariantList& arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

} // namespace

/// What only a process can show.
class TstProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        timeline().clear();
    }

    void terminates_data()
    {
        const Table<int> row("signalNumber");
        row("SIGTERM", SIGTERM);
        row("SIGINT", SIGINT);
    }

    void terminates()
    {
        QFETCH(int, signalNumber);
        Daemon daemon;
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(), kPatienceMs);

        ::kill(static_cast<pid_t>(daemon.processId()), signalNumber);

        QTRY_COMPARE_WITH_TIMEOUT(daemon.fate(), u"exit 0"_s, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!isOnBus(), kPatienceMs); // the bus may notice later
        const QStringList lines = daemon.lines();
        const QString form =
            u"^4 /com/quillmark/zelt/powermanager/%1 \\[main\\.cpp:\\d+\\] int main\\(int, char ?\\*\\*\\): %2$"_s;
        const QRegularExpression first(form.arg(u"logobj"_s, u"Starting Power Manager\\.\\.\\."_s));
        const QRegularExpression last(form.arg(u"powerobj"_s, u"Succesfully terminated"_s));
        QVERIFY2(first.match(lines.first()).hasMatch(), qPrintable(lines.first()));
        QVERIFY2(last.match(lines.last()).hasMatch(), qPrintable(lines.last()));
        QCOMPARE(lines.filter(u"logobj"_s).size(), 1);
    }

    void signalDuringStartUpIsNotLost()
    {
        SimulatedDevice device(timeline());
        QCOMPARE(device.run(u"fail statusmanager.GetStatus mute"_s), QString());
        Daemon daemon;
        QTRY_VERIFY_WITH_TIMEOUT(daemon.hasLine(u"PowerActions: 1"_s), kPatienceMs);
        QVERIFY(!isOnBus());

        daemon.terminate();

        QCOMPARE(device.run(u"stop statusmanager"_s), QString()); // ends the unanswered call
        QTRY_COMPARE_WITH_TIMEOUT(daemon.fate(), u"exit 0"_s, kPatienceMs);
        QCOMPARE(daemon.lastLine(), u"4 powerobj Succesfully terminated"_s);
    }

    void signalDuringAPauseCutsNothing()
    {
        SimulatedDevice device(timeline());
        Daemon daemon;
        QCOMPARE(device.run(kDaemonUp), QString());
        QCOMPARE(device.run(u"call Shutdown x\nexpect signal PowerEvent shutdown x"_s), QString());
        QElapsedTimer clock;
        clock.start();

        daemon.terminate();

        QCOMPARE(device.run(u"expect call freqmanager.Shutdown within 6\nexpect answer Shutdown 0"_s), QString());
        QVERIFY2(clock.elapsed() > 3000, qPrintable(QString::number(clock.elapsed())));
        QTRY_COMPARE_WITH_TIMEOUT(daemon.fate(), u"exit 0"_s, kPatienceMs);
    }

    void secondInstanceEnds()
    {
        Daemon daemon;
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(), kPatienceMs);

        Daemon second;

        QTRY_COMPARE_WITH_TIMEOUT(second.fate(), u"exit 255"_s, kPatienceMs);
        QVERIFY(second.hasLine(u"PowerManager config loaded"_s)); // init() has run
        QCOMPARE(second.lastLine(), u"1 powerobj DBUS: Can't register service on session bus [%1]"_s.arg(kService));
        QCOMPARE(call(kInterface, u"IsActionsEnabled"_s).arguments(), (QVariantList{0, true}));
    }

    void withoutBusItEnds()
    {
        Daemon daemon(u"unix:path=/nowhere"_s);

        QTRY_COMPARE_WITH_TIMEOUT(daemon.fate(), u"exit 255"_s, kPatienceMs);
        QCOMPARE(daemon.lines().size(), 2);
        QCOMPARE(daemon.lastLine(), u"1 powerobj DBUS: Can't connect to dbus session. Exiting... "_s);
    }

    void readerOfTheLogMayGo()
    {
        QProcess shell;
        shell.start(u"sh"_s, {u"-c"_s, u"\"$0\" 2>&1 | head -n 1"_s, QStringLiteral(POWERMANAGER_PROGRAM)});

        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(), kPatienceMs);
        QCOMPARE(call(kInterface, u"SetAutoscalingEnabled"_s, {true}).arguments(), QVariantList{0});
        QCOMPARE(call(kInterface, u"IsAutoscalingEnabled"_s).arguments(), (QVariantList{0, true}));

        ::kill(static_cast<pid_t>(QDBusConnection::sessionBus().interface()->servicePid(kService)), SIGTERM);
        QVERIFY(shell.waitForFinished(kPatienceMs));
    }

    void readerOfTheLogMayStopReading()
    {
        const QTemporaryDir folder;
        const QString pipe = folder.filePath(u"log"_s);
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QFile reader(pipe);
        QVERIFY(reader.open(QIODevice::ReadWrite | QIODevice::Unbuffered)); // never read
        QProcess daemon;
        daemon.setStandardErrorFile(pipe);
        daemon.start(QStringLiteral(POWERMANAGER_PROGRAM), {});
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(), kPatienceMs);

        for (int i = 0; i < 1000; ++i) { // twice what fits into the pipe
            QCOMPARE(call(kInterface, u"SetAutoscalingEnabled"_s, {true}).arguments(), QVariantList{0});
        }

        daemon.terminate();
        QVERIFY(daemon.waitForFinished(kPatienceMs));
        QCOMPARE(daemon.exitCode(), 0);
    }

    void lostBusEndsIt_data()
    {
        const Table<bool, QString> row("isWaiting", "lastLine");
        row("idle", false, u"4 powerobj Succesfully terminated"_s);
        row("during a call of its start", true,
            u"1 powerobj DBUS: Can't register service on session bus [%1]"_s.arg(kService));
    }

    void lostBusEndsIt()
    {
        QFETCH(bool, isWaiting);
        QFETCH(QString, lastLine);
        PrivateBus bus;
        QString error;
        QVERIFY2(bus.start(&error), qPrintable(error));
        QDBusConnection connection = QDBusConnection::connectToBus(bus.address(), u"lost"_s);
        MuteObject mute;
        QVERIFY(connection.registerVirtualObject(u"/com"_s, &mute, QDBusConnection::SubPath));
        QVERIFY(!isWaiting || connection.registerService(kStatusService.busName));
        Daemon daemon(bus.address());
        QTRY_VERIFY_WITH_TIMEOUT(isWaiting ? daemon.hasLine(u"PowerActions: 1"_s) : isOnBus(connection), kPatienceMs);

        bus.kill();

        QTRY_COMPARE_WITH_TIMEOUT(daemon.fate(), u"exit 255"_s, kPatienceMs);
        QCOMPARE(daemon.lines().filter(QRegularExpression(u"^1 "_s)).size(), 1);
        QCOMPARE(daemon.lastLine(), lastLine);
        QDBusConnection::disconnectFromBus(u"lost"_s);
    }

    void thePublishedInterfaceIsServed()
    {
        QCOMPARE(servedMembers(), describedMembers());
    }

    void onlyThePublishedInterfaceIsServed()
    {
        QFile file(QStringLiteral(SOURCE_FOLDER "/powermanager/com.quillmark.zelt.powerinterface.xml"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString published = QString::fromUtf8(file.readAll());
        const qsizetype begin = published.indexOf(u"<interface ");
        const QLatin1StringView end("</interface>");
        Daemon daemon;
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(), kPatienceMs);

        const QDBusMessage reply = call(u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);

        const QString served = reply.arguments().value(0).toString();
        QVERIFY2(served.contains(published.mid(begin, published.indexOf(end) + end.size() - begin)),
                 qPrintable(served));
        // Nothing else is exported, neither another interface nor another method.
        static const QRegularExpression kInterfaceName(u"<interface name=\"([^\"]*)\""_s);
        QStringList names;
        for (auto matches = kInterfaceName.globalMatch(served); matches.hasNext();) {
            names.append(matches.next().captured(1));
        }
        QCOMPARE(names, (QStringList{kInterface, u"org.freedesktop.DBus.Properties"_s,
                                     u"org.freedesktop.DBus.Introspectable"_s, u"org.freedesktop.DBus.Peer"_s}));
        for (const auto& [method, arguments] :
             {std::pair{u"loadActions"_s, QVariantList{0, 12}},
              std::pair{u"SetActionsEnabled"_s, QVariantList{u"yes"_s}}, std::pair{u"Reboot"_s, QVariantList()}}) {
            QCOMPARE(call(kInterface, method, arguments).errorName(), u"org.freedesktop.DBus.Error.UnknownMethod"_s);
        }
        QCOMPARE(call(kInterface, u"IsActionsEnabled"_s).arguments(), (QVariantList{0, true}));
    }

    void methodsAndSignalsOverTheBus()
    {
        SimulatedDevice device(timeline());
        Daemon daemon;
        QCOMPARE(device.run(kDaemonUp), QString());

        QCOMPARE(call(kInterface, u"IsAutoscalingEnabled"_s).arguments(), (QVariantList{0, false}));
        QCOMPARE(call(kInterface, u"CurrentPowerZone"_s).signature(), u"is"_s);
        QCOMPARE(device.run(u"call SetAutoscalingEnabled true\nexpect answer SetAutoscalingEnabled 0\n"
                            "expect signal AutoscalingEnabled true\n"
                            "call IsAutoscalingEnabled\nexpect answer IsAutoscalingEnabled 0 true\n"
                            "call SetActionsEnabled false\nexpect answer SetActionsEnabled 0\n"
                            "expect signal ActionsEnabled false\nexpect no signal ActionsEnabled\n"
                            "call IsActionsEnabled\nexpect answer IsActionsEnabled 0 false\n"
                            "call SetFreq 123\nexpect call freqmanager.SetFreq 123\nexpect answer SetFreq -52\n"
                            "call SetSleepEnabled true 01:00:00 02:00:00\nexpect answer SetSleepEnabled 0\n"
                            "expect signal SleepEnabled true\n"
                            "call IsSleepEnabled\nexpect answer IsSleepEnabled 0 true 01:00:00 02:00:00\n"
                            "fail freqmanager.SetWakeup status 1\ncall Suspend now\nexpect answer Suspend -52"_s),
                 QString());
    }
};

QTEST_GUILESS_MAIN(TstProcess)
#include "tst_process.moc"
