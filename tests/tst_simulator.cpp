// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DBusValues.h"
#include "RecordingPlatform.h"
#include "SimulatedDevice.h"
#include "Table.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>

#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace {

/// A call of a method of the light or of the frequency service.
QDBusMessage callTo(const QString& part, const QString& method, const QVariantList& arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(u"com.quillmark.zelt.%1manager"_s.arg(part),
                                                          u"/com/quillmark/zelt/%1manager/%1obj"_s.arg(part),
                                                          u"com.quillmark.zelt.%1interface"_s.arg(part), method);
    message.setArguments(arguments);
    return message;
}

QDBusMessage callLight(const QString& method, const QVariantList& arguments = {}, int timeoutMs = -1)
{
    return QDBusConnection::sessionBus().call(callTo(u"light"_s, method, arguments), QDBus::Block, timeoutMs);
}

/// A run of the program.
struct Run
{
    int status = 0; ///< -1: crashed, -2: did not end
    QString output; ///< both channels
};

Run runProgram(const QStringList& arguments, const QByteArray& input = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(SIMULATOR_PROGRAM), arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool isFinished = process.waitForFinished(10'000 * TIME_FACTOR);
    const int status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return {isFinished ? status : -2, QString::fromLocal8Bit(process.readAll())};
}

} // namespace

/// The simulated device: its language, its faults, its program.
class TstSimulator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        timeline().clear();
    }

    void wrongLines_data()
    {
        const Table<QString, QString> row("line", "error");
        row("unknown command", u"chrage 35"_s, u"found \"chrage\", expected a command (\"help\" lists them)"_s);
        row("no number", u"charge full"_s, u"found \"full\", expected a whole number from 0 to 100 for PERCENT"_s);
        row("out of range", u"charge 101"_s, u"found \"101\", expected a whole number from 0 to 100 for PERCENT"_s);
        row("missing value", u"wait"_s, u"found the end of the line, expected a number from 0 to 86400 for SECONDS"_s);
        row("too much", u"repair all now"_s, u"found \"now\", expected the end of the line"_s);
        row("not a number's name", u"wait nan"_s, u"found \"nan\", expected a number from 0 to 86400 for SECONDS"_s);
        row("unknown method", u"fail soundmanager.Sing error"_s,
            u"found \"soundmanager.Sing\", expected a method of soundmanager (methods: GetStatus, SetMasterVolume) "
            "for MEMBER, or a member of soundmanager (methods: GetStatus, SetMasterVolume; signals: PlayRequested, "
            "PlayingFile, PlayingPlaylist) for MEMBER"_s);
        row("signals are not answered", u"fail lightmanager.LedSwitch mute"_s,
            u"found \"mute\", expected \"few\", or \"many\", or \"types\", or \"arrays\""_s);
        row("no such value", u"send gpeventmanager.GpEvent seek- perhaps"_s,
            u"found \"perhaps\", expected true or false for Value"_s);
        row("value that is cut", u"call SetFreq 3000000000"_s,
            u"found \"3000000000\", expected a whole number for freq"_s);
        row("value too few", u"send lightmanager.LedSwitch"_s,
            u"found nothing, expected true or false for argument 1"_s);
        row("value too many", u"call IsSleepEnabled 5"_s, u"found \"5\", expected no more than 0 arguments"_s);
        row("pattern that begins with off", u"expect pattern off 0.5"_s,
            u"found \"off 0.5\", expected a pattern such as on 0.5 off 0.5 on 2, "
            "without the last time for a line that stays on"_s);
        row("no button", u"hold for 5"_s, u"found the end of the line, expected \"for\""_s);
        row("open quotation", u"note \"half"_s, u"found the end of the line, expected a closing quotation mark"_s);
        row("keyword in quotation marks", u"charge 5 \"over\" 3"_s, u"found \"over\", expected the end of the line"_s);
    }

    void wrongLines()
    {
        QFETCH(QString, line);
        QFETCH(QString, error);
        SimulatedDevice device(timeline());

        QCOMPARE(device.run(u"# a remark\n\n"_s + line), u"test:3: \"%1\": %2"_s.arg(line, error));
        QCOMPARE(timeline().size(), 0); // none of the lines was carried out
    }

    void expectationsTakeEachEntryOnce()
    {
        SimulatedDevice device(timeline());
        QCOMPARE(device.run(u"event seek- on\nexpect signal gpeventmanager.GpEvent seek- true\n"
                            "expect no signal gpeventmanager.GpEvent"_s),
                 QString());
        QCOMPARE(device.run(u"event seek- on\nexpect signal gpeventmanager.GpEvent\n"
                            "expect signal gpeventmanager.GpEvent within 0.05\nevent never on"_s),
                 u"test:3: \"expect signal gpeventmanager.GpEvent within 0.05\": expected signal "
                 "gpeventmanager.GpEvent within 0.05 s"_s);
        QCOMPARE(device.run(u"expect no signal gpeventmanager.GpEvent"_s), QString()); // taken; "never" was dropped
        QCOMPARE(device.run(u"event seek- on\nwait 0\nexpect no signal gpeventmanager.GpEvent"_s),
                 u"test:3: \"expect no signal gpeventmanager.GpEvent\": expected no signal gpeventmanager.GpEvent, but "
                 "there was signal gpeventmanager.GpEvent(seek-, true)"_s);
    }

    void faultsOnTheBus_data()
    {
        const Table<QString, QString, QString> row("fault", "signature", "error");
        const QString noReply = u"org.freedesktop.DBus.Error.NoReply"_s;
        row("none", u"repair all"_s, u"iu"_s, {});
        row("error", u"fail lightmanager.GetIntensity error"_s, u"s"_s, u"com.quillmark.zelt.Error.Failed"_s);
        row("few", u"fail lightmanager.GetIntensity few"_s, u"i"_s, {});
        row("many", u"fail lightmanager.GetIntensity many"_s, u"ius"_s, {});
        row("types", u"fail lightmanager.GetIntensity types"_s, u"ss"_s, {});
        row("late", u"fail lightmanager.GetIntensity late 0.05"_s, u"iu"_s, {});
        row("mute", u"fail lightmanager.GetIntensity mute"_s, u"s"_s, noReply);
        row("dies", u"fail lightmanager.GetIntensity dies"_s, u"s"_s, noReply);
        row("stopped", u"stop lightmanager"_s, u"s"_s, u"org.freedesktop.DBus.Error.ServiceUnknown"_s);
        row("restarted", u"restart lightmanager"_s, u"iu"_s, {});
    }

    void faultsOnTheBus()
    {
        QFETCH(QString, fault);
        SimulatedDevice device(timeline());
        QCOMPARE(device.run(fault), QString());

        const QDBusMessage reply = callLight(u"GetIntensity"_s, {}, fault.endsWith(u"mute") ? 200 : -1);

        QTEST(reply.errorName(), "error");
        QTEST(reply.signature(), "signature");
        QCOMPARE(device.run(u"repair all\nstart lightmanager"_s), QString());
        QCOMPARE(callLight(u"GetIntensity"_s).arguments(), (QVariantList{0, 100U}));
    }

    void standbyIsAnsweredAtItsEnd_data()
    {
        const Table<QString, QString, QString, QString> row("fault", "told", "last", "error");
        const QString noReply = u"org.freedesktop.DBus.Error.NoReply"_s;
        row("none", {}, u"..."_s, u"wake"_s, {});
        row("late", u"late 3600"_s, u"..."_s, u"wake"_s, noReply);
        row("floods", u"floods"_s, u"..."_s, u"freqmanager.FreqChanged sent 2000 times"_s, {});
        row("error", u"error no"_s, u"error no"_s, u"wake"_s, u"com.quillmark.zelt.Error.Failed"_s);
        row("mute", u"mute"_s, u"no answer"_s, u"wake"_s, noReply);
    }

    void standbyIsAnsweredAtItsEnd()
    {
        QFETCH(QString, fault);
        QFETCH(QString, told);
        QFETCH(QString, error);
        SimulatedDevice device(timeline());
        QDBusConnection bus = QDBusConnection::sessionBus();
        // Further away than a timer can count.
        const QString end = QDateTime::currentDateTimeUtc().addDays(30).toString(u"yyyy-MM-dd HH:mm:ss"_s);
        const QVariantList wakeUp{QVariant::fromValue<uchar>(2), end};
        QCOMPARE(bus.call(callTo(u"freq"_s, u"SetWakeup"_s, wakeUp)).arguments(), QVariantList{0});
        QCOMPARE(device.run(fault.isEmpty() ? fault : u"fail freqmanager.Suspend "_s + fault), QString());
        timeline().clear();

        QDBusPendingCall suspend =
            bus.asyncCall(callTo(u"freq"_s, u"Suspend"_s), error.endsWith(u"NoReply") ? 200 : 20'000);

        QCOMPARE(device.run(u"expect call freqmanager.Suspend\nwait 0.02"_s), QString());
        QVERIFY(!suspend.isValid()); // not answered yet
        QCOMPARE(timeline().entries().constLast().result, told);
        QCOMPARE(device.run(u"wake"_s), QString());
        QTEST(timeline().entries().constLast().name, "last");
        suspend.waitForFinished();
        QCOMPARE(suspend.reply().errorName(), error);
    }

    void servicesRefuseWhatIsNotDescribed()
    {
        SimulatedDevice device(timeline());
        QCOMPARE(callLight(u"SetIntensity"_s, {5}).errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
        QCOMPARE(callLight(u"Glow"_s).errorName(), u"org.freedesktop.DBus.Error.UnknownMethod"_s);
        QCOMPARE(callLight(u"SetIntensity"_s, {5U}).arguments(), QVariantList{0});
        QCOMPARE(device.run(u"expect light 5"_s), QString());
    }

    void valuesThatAreNoNumbers()
    {
        QVERIFY(std::isnan(dbusvalues::convert(u"nan"_s, u"d"_s).toDouble()));
        QVERIFY(!dbusvalues::convert(u"1e999"_s, u"d"_s).isValid());
    }

    void linesDoWhatTheySay_data()
    {
        const Table<QString, QString> row("lines", "error");
        row("frequency is told once",
            u"freq 250\nexpect signal freqmanager.FreqChanged 250\nexpect freq 250\n"
            "freq 250\nexpect no signal freqmanager.FreqChanged"_s,
            {});
        row("buttons are held",
            u"hold reset_factory seek- for 0.02\nexpect signal gpeventmanager.GpEvent seek- true\n"
            "expect signal gpeventmanager.GpEvent reset_factory false"_s,
            {});
        row("key is forgotten", u"config A b \"\"\nexpect config A b \"\"\nforget A b\nexpect no config A b"_s, {});
        row("what was found", u"events 4\nexpect events 3 within 0"_s,
            u"test:2: \"expect events 3 within 0\": expected events 3 within 0 s, found 4"_s);
    }

    void linesDoWhatTheySay()
    {
        QFETCH(QString, lines);
        SimulatedDevice device(timeline());
        QTEST(device.run(lines), "error");
    }

    void filesAndLinesOfADevice()
    {
        const QString root = QStringLiteral(ZELT_ROOT "/with a blank");
        QDir(root).removeRecursively();
        QVERIFY(QDir().mkpath(root + u"/data/config"_s));
        QFile config(root + u"/data/config/config.ini"_s);
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write("[GENERAL]\nNickname=\"a, b\"\n[SIP]\nuser=\n");
        config.close();
        SimulatedDevice device(timeline(), {}, root);

        QCOMPARE(device.run(u"expect config GENERAL Nickname \"a, b\"\nexpect config SIP user \"\""_s), QString());
        QCOMPARE(
            device.run(u"mode access-point\nexpect line 134 on\nuserdata .b\nuserdata \"c d\"\nexpect userdata 2"_s),
            QString());
        QCOMPARE(QProcess::execute(root + u"/bin/clear_data.sh"_s), 0);
        QCOMPARE(device.run(u"expect userdata 0\nscript clear_data fails"_s), QString());
        QCOMPARE(QProcess::execute(root + u"/bin/clear_data.sh"_s), 1);

        QFile indicator(root + u"/gpio/gpio24/value"_s);
        QVERIFY(indicator.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        indicator.write("1");
        QCOMPARE(device.run(u"expect line 24 on"_s), QString());
        timeline().clear();
        indicator.seek(0);
        indicator.write("0");
        QTRY_COMPARE(timeline().size(), 2); // off, and what the line showed before it came to rest
        QVERIFY(timeline().entries().constLast().toString().startsWith(u"line 24 pattern on "));
    }

    void shippedScenariosAreRight()
    {
        SimulatedDevice device(timeline());
        const QDir folder(QStringLiteral(SOURCE_FOLDER "/simulator/scenarios"));
        const QStringList names = folder.entryList({u"*.scenario"_s}) + QStringList{u"../../docs/simulator.md"_s};
        QVERIFY(names.contains(u"battery-day.scenario"_s));
        for (const QString& name : names) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QString text = QString::fromUtf8(file.readAll());
            if (name.endsWith(u".md")) { // its example
                text = text.mid(text.indexOf(u"\ncharge 40 ")).section(u"```"_s, 0, 0);
            }
            QString error;
            device.invoke([&text, &error, &name](Simulator& simulator) {
                ScenarioRunner runner(simulator, nullptr);
                (void)runner.load(text, name, 1, &error); // checked by its message
            });
            QCOMPARE(error, QString());
        }
    }

    void program_data()
    {
        const QString crashing = QStringLiteral(ZELT_ROOT "/crashing");
        writeFile(crashing, "#!/bin/sh\ntrap 'exit 3' TERM\n"
                            "dbus-send --print-reply --dest=com.quillmark.zelt.freqmanager "
                            "/com/quillmark/zelt/freqmanager/freqobj com.quillmark.zelt.freqinterface.Reboot\n");
        QFile::setPermissions(crashing, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const Table<QStringList, QByteArray, int, QString> row("arguments", "input", "status", "output");
        row("done", {}, "charge 5\nexpect signal statusmanager.SystemStatus", 0, u">        charge 5"_s);
        row("expectation fails", {}, "expect volume 7 within 0.01\ncharge 5\n", 1,
            u"standard input:1: \"expect volume 7 within 0.01\": expected volume 7"_s);
        row("wrong line", {}, "charge 5\nchrage 5\n", 2, u"standard input:2: \"chrage 5\": found \"chrage\""_s);
        row("no such file", {u"/nowhere.scenario"_s}, "", 2, u"/nowhere.scenario: No such file"_s);
        row("wrong option", {u"--quick"_s}, "", 2, u"--help"_s);
        row("wrong service", {u"--without"_s, u"radio"_s}, "", 2,
            u"found \"radio\", expected one of configmanager, eventmanager"_s);
        row("wrong level", {u"--level"_s, u"high"_s}, "", 2, u"found \"high\", expected a log level"_s);
        row("no table", {u"--csv"_s, u"/nowhere/table"_s}, "", 2, u"--csv: /nowhere/table: No such file"_s);
        row("table", {u"--csv"_s, u"/dev/stdout"_s}, "freq 96\nplay \"a \\\"b\"", 0,
            u",96,\"play \"\"a \\\"\"b\"\"\"\n"_s);
        row("load ends with the program", {}, "load 100 for 600", 0, u"load 100"_s);
        row("no such daemon", {u"--run"_s, u"/nowhere"_s}, "", 3, u"can't start /nowhere"_s);
        row("daemon without a name", {u"--run"_s, QString()}, "", 3, u"can't start "_s);
        row("daemon ends on its own", {u"--run"_s, u"/bin/false"_s}, "", 1, u"ended on its own, with status 1"_s);
        row("daemon crashes at a restart", {u"--run"_s, crashing}, "", 1,
            u"was asked to end, and ended with status 3"_s);
        row("help", {}, "help expect log\n", 0, u"expect log TEXT [within WITHIN]"_s);
    }

    void program()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(QString, output);

        const Run run = runProgram(arguments, input);

        QVERIFY2(run.output.contains(output), qPrintable(run.output));
        QTEST(run.status, "status");
    }

    void programSaysThatANameIsTaken()
    {
        const SimulatedDevice device(timeline());

        const Run run = runProgram({});

        QCOMPARE(run.status, 3);
        QVERIFY2(run.output.contains(u"is another configmanager on this bus?"), qPrintable(run.output));
    }
};

QTEST_GUILESS_MAIN(TstSimulator)
#include "tst_simulator.moc"
