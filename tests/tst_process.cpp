// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Names.h"
#include "RecordingPlatform.h"
#include "SimulatedDevice.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

using namespace Qt::Literals::StringLiterals;

namespace {

const QLatin1StringView kInterface("com.quillmark.zelt.powerinterface");
const QLatin1StringView kService(kServiceName);
const QLatin1StringView kPath(kObjectPath);

/// The real executable, with all that it printed.
class Daemon : public QProcess
{
public:
    Daemon()
    {
        setProgram(QStringLiteral(POWERMANAGER_PROGRAM));
        setProcessChannelMode(QProcess::MergedChannels);
        connect(this, &QProcess::readyRead, this, [this] { m_output += readAll(); });
    }
    ~Daemon() override
    {
        kill();
        waitForFinished();
    }

    QStringList lines() const
    {
        return QString::fromLocal8Bit(m_output).split(u'\n', Qt::SkipEmptyParts);
    }

    bool hasLine(const QString& text) const
    {
        return m_output.contains(text.toLocal8Bit());
    }

private:
    QByteArray m_output;
};

bool isOnBus()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(kService);
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
        QTest::addColumn<int>("signalNumber");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
    }

    void terminates()
    {
        QFETCH(int, signalNumber);
        Daemon daemon;
        daemon.start();
        QTRY_VERIFY(isOnBus());

        ::kill(static_cast<pid_t>(daemon.processId()), signalNumber);

        QTRY_COMPARE(daemon.state(), QProcess::NotRunning);
        QCOMPARE(daemon.exitStatus(), QProcess::NormalExit);
        QCOMPARE(daemon.exitCode(), 0);
        QVERIFY(!isOnBus());
        const QStringList lines = daemon.lines();
        static const QRegularExpression kFirst(
            u"^4 /com/quillmark/zelt/powermanager/logobj \\[main\\.cpp:\\d+\\] int main\\(int, char\\*\\*\\): "
            "Starting Power Manager\\.\\.\\.$"_s);
        static const QRegularExpression kLast(
            u"^4 /com/quillmark/zelt/powermanager/powerobj \\[main\\.cpp:\\d+\\] int main\\(int, char\\*\\*\\): "
            "Succesfully terminated$"_s);
        QVERIFY2(kFirst.match(lines.first()).hasMatch(), qPrintable(lines.first()));
        QVERIFY2(kLast.match(lines.last()).hasMatch(), qPrintable(lines.last()));
        QCOMPARE(lines.filter(u"logobj"_s).size(), 1);
    }

    void signalDuringStartUpIsNotLost()
    {
        SimulatedDevice device(timeline());
        QCOMPARE(device.run(u"fail statusmanager.GetStatus late 0.3"_s), QString());
        Daemon daemon;
        daemon.start();
        QTRY_VERIFY(daemon.hasLine(u"PowerActions: 1"_s));
        QVERIFY(!isOnBus());

        daemon.terminate();

        QTRY_COMPARE(daemon.state(), QProcess::NotRunning);
        QCOMPARE(daemon.exitStatus(), QProcess::NormalExit);
        QCOMPARE(daemon.exitCode(), 0);
        QVERIFY(daemon.lines().constLast().endsWith(u"Succesfully terminated"));
    }

    void signalDuringAPauseCutsNothing()
    {
        SimulatedDevice device(timeline());
        Daemon daemon;
        daemon.start();
        QCOMPARE(device.run(u"expect daemon up within 5\ncall Shutdown x\nexpect signal PowerEvent shutdown x"_s),
                 QString());
        QElapsedTimer clock;
        clock.start();

        daemon.terminate();

        QCOMPARE(device.run(u"note waiting\nexpect call freqmanager.Shutdown within 6\nexpect answer Shutdown 0"_s),
                 QString());
        QVERIFY2(clock.elapsed() > 4800, qPrintable(QString::number(clock.elapsed())));
        QTRY_COMPARE(daemon.state(), QProcess::NotRunning);
        QCOMPARE(daemon.exitStatus(), QProcess::NormalExit);
        QCOMPARE(daemon.exitCode(), 0);
    }

    void secondInstanceEnds()
    {
        Daemon daemon;
        daemon.start();
        QTRY_VERIFY(isOnBus());
        Daemon second;

        second.start();

        QTRY_COMPARE(second.state(), QProcess::NotRunning);
        QCOMPARE(second.exitCode(), 255);
        QVERIFY(second.hasLine(u"PowerManager config loaded"_s)); // init() has run
        QVERIFY(second.lines().constLast().startsWith(u"1 /com/quillmark/zelt/powermanager/powerobj "));
        QVERIFY(second.lines().constLast().endsWith(
            u"DBUS: Can't register service on session bus [com.quillmark.zelt.powermanager]"));
        QCOMPARE(call(kInterface, u"IsActionsEnabled"_s).arguments(), (QVariantList{0, true}));
    }

    void withoutBusItEnds()
    {
        Daemon daemon;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s);
        daemon.setProcessEnvironment(environment);

        daemon.start();

        QTRY_COMPARE(daemon.state(), QProcess::NotRunning);
        QCOMPARE(daemon.exitCode(), 255);
        QCOMPARE(daemon.lines().size(), 2);
        QVERIFY(daemon.lines().constLast().startsWith(u"1 /com/quillmark/zelt/powermanager/powerobj "));
        QVERIFY(daemon.lines().constLast().endsWith(u"DBUS: Can't connect to dbus session. Exiting... "));
    }

    void lostBusEndsIt()
    {
        QProcess bus;
        bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
        QVERIFY(bus.waitForReadyRead());
        Daemon daemon;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromLatin1(bus.readAllStandardOutput().trimmed()));
        daemon.setProcessEnvironment(environment);
        daemon.start();
        QTRY_VERIFY(daemon.hasLine(u"PowerManager config loaded"_s));

        bus.kill();

        QTRY_COMPARE(daemon.state(), QProcess::NotRunning);
        QCOMPARE(daemon.exitStatus(), QProcess::NormalExit);
        QCOMPARE(daemon.exitCode(), 255);
        QCOMPARE(daemon.lines().filter(QRegularExpression(u"^1 "_s)).size(), 1);
        QVERIFY(daemon.lines().constLast().endsWith(u"Succesfully terminated"));
        bus.waitForFinished();
    }

    void introspectionIsThePublishedFile()
    {
        QFile file(QStringLiteral(SOURCE_FOLDER "/powermanager/com.quillmark.zelt.powerinterface.xml"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString published = QString::fromUtf8(file.readAll());
        const qsizetype begin = published.indexOf(u"<interface ");
        const QLatin1StringView end("</interface>");
        Daemon daemon;
        daemon.start();
        QTRY_VERIFY(isOnBus());

        const QDBusMessage reply = call(u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);

        const QString served = reply.arguments().value(0).toString();
        QVERIFY2(served.contains(published.mid(begin, published.indexOf(end) + end.size() - begin)),
                 qPrintable(served));
        // Nothing else of the object is exported.
        static const QRegularExpression kInterfaceName(u"<interface name=\"([^\"]*)\""_s);
        QStringList names;
        for (auto matches = kInterfaceName.globalMatch(served); matches.hasNext();) {
            names.append(matches.next().captured(1));
        }
        QCOMPARE(names, (QStringList{kInterface, u"org.freedesktop.DBus.Properties"_s,
                                     u"org.freedesktop.DBus.Introspectable"_s, u"org.freedesktop.DBus.Peer"_s}));
    }

    void onlyTheInterfaceIsServed_data()
    {
        QTest::addColumn<QString>("interface");
        QTest::addColumn<QString>("method");
        QTest::addColumn<QVariantList>("arguments");
        QTest::addColumn<QString>("error");
        const QString unknownMethod = u"org.freedesktop.DBus.Error.UnknownMethod"_s;
        const QString unknownInterface = u"org.freedesktop.DBus.Error.UnknownInterface"_s;
        QTest::newRow("own slot") << QString(kInterface) << u"loadActions"_s << QVariantList{0, 12} << unknownMethod;
        QTest::newRow("own public slot, Qt's name")
            << u"local.powermanager.PowerManager"_s << u"IsActionsEnabled"_s << QVariantList() << unknownInterface;
        QTest::newRow("not there") << QString(kInterface) << u"Explode"_s << QVariantList() << unknownMethod;
        QTest::newRow("wrong types") << QString(kInterface) << u"SetActionsEnabled"_s << QVariantList{u"yes"_s}
                                     << unknownMethod;
        QTest::newRow("missing arguments") << QString(kInterface) << u"Reboot"_s << QVariantList() << unknownMethod;
    }

    void onlyTheInterfaceIsServed()
    {
        QFETCH(QString, interface);
        QFETCH(QString, method);
        QFETCH(QVariantList, arguments);
        Daemon daemon;
        daemon.start();
        QTRY_VERIFY(isOnBus());

        QTEST(call(interface, method, arguments).errorName(), "error");
        QCOMPARE(call(kInterface, u"IsActionsEnabled"_s).arguments(), (QVariantList{0, true}));
    }

    void flagsAndSignalsOverTheBus()
    {
        SimulatedDevice device(timeline());
        Daemon daemon;
        daemon.start();
        QCOMPARE(device.run(u"expect daemon up within 5"_s), QString());

        QCOMPARE(call(kInterface, u"IsAutoscalingEnabled"_s).arguments(), (QVariantList{0, false}));
        QCOMPARE(call(kInterface, u"CurrentPowerZone"_s).signature(), u"is"_s);
        QCOMPARE(device.run(u"call SetAutoscalingEnabled true\nexpect answer SetAutoscalingEnabled 0\n"
                            "expect signal AutoscalingEnabled true\n"
                            "call IsAutoscalingEnabled\nexpect answer IsAutoscalingEnabled 0 true\n"
                            "call SetActionsEnabled false\nexpect answer SetActionsEnabled 0\n"
                            "expect signal ActionsEnabled false\nexpect no signal ActionsEnabled\n"
                            "call IsActionsEnabled\nexpect answer IsActionsEnabled 0 false"_s),
                 QString());
    }
};

QTEST_GUILESS_MAIN(TstProcess)
#include "tst_process.moc"
