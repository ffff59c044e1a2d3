// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DBusValues.h"
#include "EventJson.h"
#include "Record.h"
#include "RecordingPlatform.h"
#include "Replay.h"
#include "SimulatedDevice.h"
#include "Table.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <functional>
#include <iterator>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

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
            "for SERVICE.METHOD, or a member of soundmanager (methods: GetStatus, SetMasterVolume; signals: "
            "PlayRequested, "
            "PlayingFile, PlayingPlaylist) for SERVICE.MEMBER"_s);
        row("unknown signal", u"expect no signal PowerZone"_s,
            u"found \"PowerZone\", expected a signal of the power daemon (PowerEvent, PowerZoneChanged, "
            u"ActionsEnabled, "
            "AutoscalingEnabled, SleepEnabled) for [SERVICE.]SIGNAL"_s);
        row("unknown argument", u"expect call soundmanager.SetMasterVolume Level=5"_s,
            u"found \"Level=5\", expected NAME=VALUE with one of the names Volume"_s);
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
        timeline().clear();

        QCOMPARE(device.run(u"# a remark\n\n"_s + line), u"test:3: \"%1\": %2"_s.arg(line, error));
        QCOMPARE(timeline().size(), 0); // none of the lines was carried out
    }

    void wrongDescriptions_data()
    {
        const Table<QByteArray, QString> row("description", "error");
        row("no bus name", R"(<node name="/a"><interface name="a.B"/></node>)",
            u"b.xml: found no annotation com.quillmark.zelt.BusName, expected one with the service's bus name"_s);
        row("no interface", R"(<node name="/a"/>)", u"b.xml: found no interface element; expected one"_s);
        row("no XML", "<node>", u"b.xml: line 1: "_s);
    }

    void wrongDescriptions()
    {
        QFETCH(QByteArray, description);
        QFETCH(QString, error);
        const QString folder = QStringLiteral(ZELT_ROOT "/interfaces");
        const QString own = u"/com.quillmark.zelt.powerinterface.xml"_s;
        writeFile(folder + u"/b.xml"_s, description);
        (void)QFile::copy(u":/interfaces"_s + own, folder + own); // may be there
        QString found;

        QVERIFY(!Catalogue::read(folder, &found));

        QVERIFY2(found.startsWith(error), qPrintable(found));
        QVERIFY(QFile::remove(folder + u"/b.xml"_s));
        const std::optional<Catalogue> withoutServices = Catalogue::read(folder, &found);
        QVERIFY2(withoutServices, qPrintable(found));
        QVERIFY(Device::unknownMethods(*withoutServices).contains(u"lightmanager.Switch"_s));
        QCOMPARE(Device::unknownMethods(Catalogue()), QStringList());
    }

    void everyCommandHasAnExample()
    {
        for (const Command& command : commands()) {
            QString error;
            const auto lines = parseScenario(QString::fromUtf8(command.example), u"help"_s, 1, Catalogue(), &error);
            QCOMPARE(error, QString());
            QCOMPARE(lines->size(), 1);
            QCOMPARE(lines->constFirst().command->pattern.synopsis(), command.pattern.synopsis());
        }
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

    void sourcesAreAnsweredApart()
    {
        Session session(timeline(), {});
        QString error;
        QVERIFY2(session.start(&error), qPrintable(error));
        ScenarioRunner& first = session.addSource();
        ScenarioRunner& second = session.addSource();
        QStringList failures;
        connect(&second, &ScenarioRunner::failed, this, [&failures](const QString& reason) { failures += reason; });
        QVERIFY(second.load(u"charge 7\nwait 0.1\nexpect signal statusmanager.SystemStatus CBATT=7\nvolume 33"_s,
                            u"second"_s, 1, &error));

        QCOMPARE(first.runToEnd(u"chrage 5"_s, u"first"_s).section(u':', 0, 1), u"first:1"_s);
        QCOMPARE(first.runToEnd(u"volume 1\nexpect volume 2 within 0.02\nvolume 3"_s, u"first"_s).section(u':', 0, 1),
                 u"first:2"_s);

        QTRY_COMPARE(session.simulator().device().masterVolume, 33.0); // the second went on
        QCOMPARE(failures, QStringList());
    }

    void causeComesBeforeEffect()
    {
        const QString program = QStringLiteral(ZELT_ROOT "/caller");
        const QString done = program + u".done"_s;
        writeFile(program, "#!/bin/sh\n"
                           "echo '4 /a/b [c.cpp:1] void d(): before'\n"
                           "dbus-send --type=method_call --dest=com.quillmark.zelt.lightmanager "
                           "/com/quillmark/zelt/lightmanager/lightobj com.quillmark.zelt.lightinterface.GetIntensity\n"
                           "touch \"$0.done\"\nexec sleep 60\n");
        QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::remove(done);
        Session session(timeline(), {{}, {}, {}, program});
        QString error;
        QVERIFY2(session.start(&error), qPrintable(error));

        // Both arrive while nothing is read: the call is then the first that the event loop delivers.
        const QDeadlineTimer deadline(qint64{5000} * TIME_FACTOR);
        while (!QFile::exists(done) && !deadline.hasExpired()) {
            QThread::msleep(5);
        }
        QStringList entries;
        const auto isComplete = [&entries] {
            entries.clear();
            const QList<Timeline::Entry> all = timeline().entries();
            std::transform(all.begin(), all.end(), std::back_inserter(entries),
                           std::mem_fn(&Timeline::Entry::toString));
            return entries.contains(u"call lightmanager.GetIntensity()"_s);
        };
        QTRY_VERIFY(isComplete());

        QCOMPARE(entries.mid(2), (QStringList{u"log 4 before"_s, u"call lightmanager.GetIntensity()"_s}));
    }

    void eventsInJson_data()
    {
        const ArgumentDescription volume{u"Volume"_s, u"d"_s};
        const ArgumentDescription status{u"Status"_s, u"i"_s};
        const Table<events::Event, QByteArray> row("event", "json");
        row("command", events::Command{u"charge 5"_s}, R"({"kind":"command","text":"charge 5"})");
        row("call",
            events::Call{
                u"soundmanager"_s, u"SetMasterVolume"_s, {{80.0}, {volume}}, events::Values{{0}, {status}}, {}, {}},
            R"({"arguments":[{"name":"Volume","type":"d","value":80}],"kind":"call","member":"SetMasterVolume",)"
            R"("reply":[{"name":"Status","type":"i","value":0}],"service":"soundmanager"})");
        row("call that fails",
            events::Call{u"scheduler"_s, u"Clear"_s, {}, events::Error{u"a.B"_s, u"c"_s}, u"error"_s, {}},
            R"({"arguments":[],"error":{"message":"c","name":"a.B"},"fault":"error","kind":"call","member":"Clear",)"
            R"("service":"scheduler"})");
        row("call that is answered later", events::Call{u"freqmanager"_s, u"Suspend"_s, {}, {}, {}, u"7"_s},
            R"({"arguments":[],"id":"7","kind":"call","member":"Suspend","service":"freqmanager"})");
        row("signal", events::Signal{events::kPowerDaemon, u"PowerZoneChanged"_s, {{u"Low"_s}, {{u"Name"_s, u"s"_s}}}},
            R"({"arguments":[{"name":"Name","type":"s","value":"Low"}],"kind":"signal","member":"PowerZoneChanged",)"
            R"("service":"powermanager"})");
        row("request", events::Request{u"IsActionsEnabled"_s, {}, u"3"_s},
            R"({"arguments":[],"id":"3","kind":"request","member":"IsActionsEnabled"})");
        row("answer", events::Answer{events::kPowerDaemon, u"Reboot"_s, events::Values{{-50}, {status}}, 7.5, u"3"_s},
            R"({"id":"3","kind":"answer","member":"Reboot","reply":[{"name":"Status","type":"i","value":-50}],)"
            R"("seconds":7.5,"service":"powermanager"})");
        row("log line", *LogLine::parse(u"<6>4 /a/b [c.cpp:12] void D::e(int, char**): f: g"_s),
            R"-({"file":"c.cpp","function":"void D::e(int, char**)","kind":"log","level":4,"line":12,"message":"f: g",)-"
            R"("object":"/a/b"})");
        row("log line without a place", *LogLine::parse(u"2 /a f: g"_s),
            R"({"file":"","function":"","kind":"log","level":2,"line":0,"message":"f: g","object":"/a"})");
        row("line", events::Line{24, true}, R"({"kind":"line","level":1,"line":24})");
        row("pattern", events::Pattern{24, {500ms, 490ms}, true},
            R"({"kind":"pattern","line":24,"text":"on 0.5 off 0.49 on"})");
        row("pause", events::Pause{500ms, false}, R"({"kind":"pause","seconds":0.5})");
        row("process", events::Process{events::Process::State::Ended, u"0"_s},
            R"({"kind":"process","state":"ended","text":"0"})");
        row("output", events::Output{u"hello"_s}, R"({"kind":"output","text":"hello"})");
        row("note", events::Note{u"x"_s}, R"({"kind":"note","text":"x"})");
    }

    void eventsInJson()
    {
        QFETCH(events::Event, event);
        QFETCH(QByteArray, json);
        const QDateTime clock = QDateTime::fromString(u"2026-03-07T18:05:09.123Z"_s, Qt::ISODateWithMs);
        QJsonObject expected = QJsonDocument::fromJson(json).object();
        expected.insert(u"time"_s, 1.5);
        expected.insert(u"clock"_s, u"2026-03-07T18:05:09.123Z"_s);

        QCOMPARE(eventjson::toLine({1500, clock, event}), QJsonDocument(expected).toJson(QJsonDocument::Compact));
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
        const Table<QString, QString, QString, QString> row("fault", "toldAtOnce", "last", "error");
        const QString noReply = u"org.freedesktop.DBus.Error.NoReply"_s;
        const QString answer = u"answer freqmanager.Suspend 0"_s;
        const QString failed = u"com.quillmark.zelt.Error.Failed"_s;
        row("none", {}, {}, answer, {});
        row("late", u"late 3600"_s, {}, answer, noReply);
        row("floods", u"floods"_s, {}, u"note freqmanager.FreqChanged sent 2000 times"_s, {});
        row("error", u"error no"_s, u"error %1 no"_s.arg(failed), u"command wake"_s, failed);
        row("mute", u"mute"_s, {}, u"command wake"_s, noReply);
    }

    void standbyIsAnsweredAtItsEnd()
    {
        QFETCH(QString, fault);
        QFETCH(QString, toldAtOnce);
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
        const Timeline::Entry called = timeline().entries().constLast();
        QCOMPARE(events::toTexts(called.as<events::Call>()->outcome).join(u' '), toldAtOnce);
        QCOMPARE(called.as<events::Call>()->fault, fault.section(u' ', 0, fault.startsWith(u"error") ? 0 : -1));
        QCOMPARE(device.run(u"wake"_s), QString());
        QTEST(timeline().entries().constLast().toString(), "last");
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
        row("arguments by name",
            u"charge 40\nexpect signal statusmanager.SystemStatus VBatteryOk=true CBATT=40.0\n"
            "broadcast\nexpect signal statusmanager.SystemStatus CBATT=41 within 0"_s,
            u"test:4: \"expect signal statusmanager.SystemStatus CBATT=41 within 0\": expected signal "
            "statusmanager.SystemStatus CBATT=41 within 0 s"_s);
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
            (void)parseScenario(text, name, 1, Catalogue(), &error); // checked by its message
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
        row("no record", {u"--replay"_s, u"/nowhere"_s}, "", 2, u"/nowhere: No such file"_s);
        row("wrong speed", {u"--speed"_s, u"fast"_s}, "", 2,
            u"--speed: found \"fast\", expected a number from 0.01 to 1000"_s);
        row("json", {u"--json"_s}, "volume 5\nhelp wait\n", 0, u"\"kind\":\"command\",\"text\":\"volume 5\""_s);
        row("example", {}, "help charge\n", 0, u"for example: charge 35 over 10"_s);
        row("help", {}, "help expect log\n", 0, u"expect log TEXT [within SECONDS]"_s);
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

    void wrongRecords_data()
    {
        const Table<QByteArray, QString> row("line", "error");
        row("no JSON", "{\"time\":", u"found unterminated object at column 9, expected a JSON object"_s);
        row("no object", "[1]", u"found another JSON value, expected a JSON object"_s);
        row("no kind", R"({"time":1})", u"found kind nothing, expected a text"_s);
        row("no time", R"({"kind":"note"})", u"found time nothing, expected a number of seconds from 0"_s);
        row("negative time", R"({"kind":"note","time":-1})", u"found time -1, expected a number of seconds from 0"_s);
        row("unknown service", R"({"kind":"call","time":1,"service":"radio"})",
            u"found service \"radio\", expected one of configmanager, eventmanager"_s);
        row("unknown signal", R"({"kind":"signal","time":1,"service":"lightmanager","member":"Glow"})",
            u"found member \"Glow\", expected a signal of lightmanager"_s);
        row("no arguments", R"({"kind":"signal","time":1,"service":"lightmanager","member":"LedSwitch"})",
            u"found arguments nothing, expected an array"_s);
        const QByteArray call = R"({"kind":"call","time":1,"service":"lightmanager","member":"GetIntensity",)";
        row("unknown type", call + R"("reply":[{"type":"ai","value":1}]})",
            u"found type \"ai\" in reply, expected one of b y n q i u x t d s"_s);
        row("another type's value", call + R"("reply":[{"type":"u","value":-1}]})",
            u"found value -1 in reply, expected a positive whole number"_s);
        row("error without a name", call + R"("error":{}})", u"found error {}, expected an object with a name"_s);
        row("answer without a time", call + R"("id":"1"})" + "\n" + R"({"kind":"answer","time":1,"id":"1"})",
            u"found seconds nothing, expected a number of seconds from 0"_s);
    }

    void wrongRecords()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, error);
        const QString path = QStringLiteral(ZELT_ROOT "/wrong.jsonl");
        writeFile(path, R"({"kind":"of another program","time":0.5})"
                        "\n\n" +
                            line + '\n');
        QString found;

        QVERIFY(!Record::read(path, Catalogue(), &found));

        const QString place = path + u':' + QString::number(3 + line.count('\n')) + u": "_s;
        QVERIFY2(found.startsWith(place + error), qPrintable(found));
    }

    void recordIsPlayed()
    {
        const QString path = QStringLiteral(ZELT_ROOT "/right.jsonl");
        const QByteArray call = R"({"kind":"call","time":0,"service":"lightmanager","member":)";
        const auto reply = [&call](const char* value) -> QByteArray {
            return call + R"("GetIntensity","reply":[{"type":"i","value":0},{"type":"u","value":)" + value + "}]}\n";
        };
        writeFile(path, reply("5") + reply("7") + call +
                            R"("GetSwitch","error":{"name":"a.B","message":"dark"}})"
                            "\n" +
                            call +
                            R"("Switch","id":"x"})"
                            "\n"
                            R"({"kind":"answer","time":1,"id":"x","seconds":0.5,"reply":[{"type":"i","value":-4}]})"
                            "\n"
                            R"({"kind":"signal","time":2,"service":"lightmanager","member":"LedSwitch",)"
                            R"("arguments":[{"type":"b","value":true}],"member of another version":1})"
                            "\n"
                            R"({"kind":"signal","time":1,"service":"freqmanager","member":"FreqChanged",)"
                            R"("arguments":[{"type":"i","value":96}]})"
                            "\n");
        SimulatedDevice device(timeline());
        QString error;
        device.invoke([&path, &error](Simulator& simulator) {
            if (const auto record = Record::read(path, simulator.catalogue(), &error)) {
                (new Replay(simulator, *record, 10, &simulator))->start();
            }
        });
        QCOMPARE(error, QString());
        QElapsedTimer clock;
        clock.start();

        for (const uint intensity : {5U, 7U, 7U}) { // the last one again
            QCOMPARE(callLight(u"GetIntensity"_s).arguments(), (QVariantList{0, intensity}));
        }
        QCOMPARE(callLight(u"GetSwitch"_s).errorName(), u"a.B"_s);
        clock.restart();
        QCOMPARE(callLight(u"Switch"_s, {false}).arguments(), QVariantList{-4});
        QVERIFY(clock.elapsed() >= 45);
        QCOMPARE(device.run(u"expect signal freqmanager.FreqChanged 96\nexpect signal lightmanager.LedSwitch true\n"
                            "expect switch light on\nexpect no call freqmanager.SetFreq"_s),
                 QString());
        const auto timeOf = [](const QString& signal) {
            const QList<Timeline::Entry> entries = timeline().entries();
            const auto found = std::find_if(entries.begin(), entries.end(), [&signal](const Timeline::Entry& entry) {
                return events::memberName(entry.event) == signal;
            });
            return found == entries.end() ? -1 : found->msec;
        };
        // Recorded a second apart, in the other order.
        QVERIFY(timeOf(u"lightmanager.LedSwitch"_s) - timeOf(u"freqmanager.FreqChanged"_s) >= 90);
    }

    void programPlaysItsOwnRecord()
    {
        const QString path = QStringLiteral(ZELT_ROOT "/own.jsonl");
        const Run first = runProgram({u"--private-bus"_s, u"--json"_s}, "charge 7\nwait 0.2\ncharge 8\n");
        QCOMPARE(first.status, 0);
        writeFile(path, first.output.mid(first.output.indexOf(u'{')).toLocal8Bit());

        const Run second = runProgram({u"--private-bus"_s, u"--replay"_s, path, u"--speed"_s, u"2"_s});

        QCOMPARE(second.status, 0);
        QVERIFY2(second.output.contains(u"CBATT=8, 50 values)"), qPrintable(second.output));
        QVERIFY2(second.output.contains(u"the record has ended"), qPrintable(second.output));
    }

    void privateBusEndsWithTheProgram_data()
    {
        const Table<int, int> row("signalNumber", "status");
        row("SIGINT", SIGINT, 0);
        row("SIGTERM", SIGTERM, 0);
        row("SIGHUP", SIGHUP, 0);
        row("SIGKILL", SIGKILL, -1);
    }

    void privateBusEndsWithTheProgram()
    {
        QFETCH(int, signalNumber);
        const SimulatedDevice other(timeline()); // whose names are taken on the test's own bus
        QProcess program;
        program.start(QStringLiteral(SIMULATOR_PROGRAM), {u"--private-bus"_s});
        QVERIFY(program.waitForReadyRead(10'000 * TIME_FACTOR));
        QVERIFY(program.readLine().contains("services are on the bus"));
        QFile children(u"/proc/%1/task/%1/children"_s.arg(program.processId()));
        QVERIFY(children.open(QIODevice::ReadOnly));
        const pid_t bus = children.readAll().trimmed().toInt();
        QVERIFY(bus > 0);

        ::kill(static_cast<pid_t>(program.processId()), signalNumber);

        QVERIFY(program.waitForFinished(10'000 * TIME_FACTOR));
        QTEST(program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1, "status");
        QTRY_VERIFY(::kill(bus, 0) != 0 && errno == ESRCH);
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
