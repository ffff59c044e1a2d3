// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "AccessRules.h"
#include "CauseFinder.h"
#include "Completion.h"
#include "DaemonWatch.h"
#include "EventJson.h"
#include "PageClient.h"
#include "PageServer.h"
#include "RowLog.h"
#include "Table.h"

#include <QDBusConnection>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

#include <sys/resource.h>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int kPatienceMs = 10'000 * TIME_FACTOR;

/// The whole page: a session on the bus, and its server. Everything happens in the test's own event loop.
struct Page
{
    explicit Page(const QStringList& without = {}, const std::optional<QString>& daemon = {},
                  std::chrono::milliseconds patience = 10s)
        : session(timeline, {daemon ? QStringLiteral(DEVICE_ROOT) : folder.filePath(u"root"_s),
                             daemon ? QStringLiteral(DEVICE_GPIO_ROOT) : folder.filePath(u"gpio"_s), without, daemon}),
          server(session, {0, folder.path(), u"1.2.3"_s, patience})
    {
        QString error;
        const bool isStarted = server.start(&error) && session.start(&error);
        if (!isStarted) {
            qFatal("%s", qPrintable(error));
        }
        (void)QTest::qWaitFor([this] { return session.isReady(); }, kPatienceMs);
    }

    ~Page()
    {
        bool isEnded = false;
        QObject::connect(&session, &Session::ended, &session,
                         [&isEnded] { isEnded = true; }); // clazy:exclude=lambda-in-connect
        session.end();
        (void)QTest::qWaitFor([&isEnded] { return isEnded; }, kPatienceMs);
    }
    Q_DISABLE_COPY_MOVE(Page)

    QTemporaryDir folder; ///< of the scenarios, with the device's files in folders of its own
    Timeline timeline;
    Session session;
    PageServer server;
};

/// For what needs no service: a page that starts without them is there sooner.
QStringList allServices()
{
    return Catalogue().serviceNames();
}

/// Rows of an events frame.
QJsonArray rowsOf(const QJsonObject& frame)
{
    return frame.value(u"events"_s).toArray();
}

/// Waits for a row with that text. @return it, or an empty one
QJsonArray rowWith(PageClient& client, const QString& text)
{
    for (;;) {
        const QJsonObject frame = client.frameWith(u"events"_s);
        if (frame.isEmpty()) {
            return {};
        }
        const QJsonArray rows = rowsOf(frame);
        for (const auto& row : rows) {
            if (row.toArray().at(3).toString().contains(text)) {
                return row.toArray();
            }
        }
    }
}

/// What the page's address answers to somebody new.
int statusOfPage(const PageServer& server)
{
    PageClient client(server.address());
    return client.ask(client.get("/") + "\r\n");
}

/// Files that this process may have open from now on, as far as the system lets it.
void allowDescriptors(rlim_t count)
{
    rlimit limit = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, count));
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

LogLine logLine(const QString& message)
{
    LogLine line;
    line.level = 4;
    line.message = message;
    return line;
}

} // namespace

/// The simulator's page as its server has it: who may use it, what it streams, what it is asked for.
class TstPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
    }

    void access_data()
    {
        const Table<RequestHead, int> row("request", "status");
        const QByteArray cookie = "zelt-4000=secret";
        const QByteArray host = "127.0.0.1:4000";
        row("cookie", {"GET", "/", {}, {host}, {}, {cookie}, false}, 0);
        row("by name, from the page, among other cookies",
            {"GET", "/stream", {}, {"localhost:4000"}, {"http://localhost:4000"}, {"a=b;" + cookie + "; c=d"}, false},
            0);
        row("right token", {"GET", "/", "secret", {host}, {}, {}, false}, 303);
        row("wrong token", {"GET", "/", "secreT", {host}, {}, {cookie}, false}, 403);
        row("empty token", {"GET", "/", "", {host}, {}, {}, false}, 403);
        row("token elsewhere", {"GET", "/stream", "secret", {host}, {}, {}, false}, 403);
        row("neither", {"GET", "/", {}, {host}, {}, {}, false}, 403);
        row("cookie of another port", {"GET", "/", {}, {host}, {}, {"zelt-4001=secret"}, false}, 403);
        row("cookie cut", {"GET", "/", {}, {host}, {}, {"zelt-4000=secre"}, false}, 403);
        row("cookie's name as an ending", {"GET", "/", {}, {host}, {}, {"x" + cookie}, false}, 403);
        row("another host", {"GET", "/", {}, {"evil.example:4000"}, {}, {cookie}, false}, 403);
        row("host without port", {"GET", "/", {}, {"127.0.0.1"}, {}, {cookie}, false}, 403);
        row("host of another port", {"GET", "/", "secret", {"127.0.0.1:4001"}, {}, {}, false}, 403);
        row("no host", {"GET", "/", {}, {}, {}, {cookie}, false}, 403);
        row("two hosts", {"GET", "/", {}, {host, "evil.example"}, {}, {cookie}, false}, 403);
        row("another origin", {"GET", "/stream", {}, {host}, {"http://evil.example"}, {cookie}, false}, 403);
        row("origin of another port", {"GET", "/stream", {}, {host}, {"http://127.0.0.1:40000"}, {cookie}, false}, 403);
        row("no origin at all", {"GET", "/stream", {}, {host}, {"null"}, {cookie}, false}, 403);
        row("body", {"POST", "/", {}, {host}, {}, {cookie}, true}, 413);
        row("another method", {"DELETE", "/", {}, {host}, {}, {cookie}, false}, 405);
    }

    void access()
    {
        QFETCH(RequestHead, request);
        QFETCH(int, status);

        const std::optional<AccessRules::Refusal> refusal = AccessRules(4000, "secret").check(request);

        QCOMPARE(refusal ? refusal->status : 0, status);
        QCOMPARE(refusal && refusal->isEntry, status == 303);
    }

    void requests_data()
    {
        const Table<QByteArray, QByteArray, int> row("path", "headers", "status");
        row("page", "/", "", 200);
        row("asset", "/page.css", "", 200);
        row("timeline", "/events.jsonl", "", 200);
        row("unknown file", "/page.csss", "", 404);
        row("folder", "/page/", "", 404);
        row("out of the assets", "/page/../../zones.ini", "", 404);
        row("out of the assets, encoded", "/%2e%2e/%2e%2e/etc/passwd.js", "", 404);
        row("body", "/", "Content-Length: 5\r\n", 413);
        row("body in chunks", "/", "Transfer-Encoding: chunked\r\n", 413);
        row("long address", '/' + QByteArray(60'000, 'a'), "", 414);
        row("long header", "/", "X-Long: " + QByteArray(60'000, 'a') + "\r\n", 431);
        row("no WebSocket", "/stream", "", 400);
        row("WebSocket without a key", "/stream", "Connection: Upgrade\r\nUpgrade: websocket\r\n", 400);
        row("another version of WebSocket", "/stream",
            "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Key: a\r\nSec-WebSocket-Version: 8\r\n", 426);
    }

    void requests()
    {
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, headers);
        QFETCH(int, status);
        const Page page(allServices());
        PageClient client(page.server.address());

        QCOMPARE(client.ask(client.get(path) + headers + "\r\n"), status);
    }

    void addressGivesTheCookie()
    {
        const Page page(allServices());
        PageClient client(page.server.address());
        const QByteArray query = page.server.address().section(u'/', 3).toLatin1();
        const QByteArray host = "\r\nHost: " + page.server.address().section(u'/', 2, 2).toLatin1() + "\r\n";

        QCOMPARE(client.ask("GET /" + query + " HTTP/1.1" + host + "\r\n"), 303);
        const QByteArray cookie = client.header("Set-Cookie");
        QVERIFY2(cookie.endsWith("; HttpOnly; SameSite=Strict; Path=/"), cookie.constData());
        QCOMPARE(client.ask("GET / HTTP/1.1" + host + "Cookie: " + cookie.left(cookie.indexOf(';')) + "\r\n\r\n"), 200);
        QVERIFY(client.header("Content-Security-Policy").startsWith("default-src 'none'; script-src 'self';"));
    }

    void tooManyConnections()
    {
        const Page page(allServices());
        std::vector<std::unique_ptr<PageClient>> idle;
        for (int i = 0; i < HttpServer::kMostConnections; ++i) {
            idle.push_back(std::make_unique<PageClient>(page.server.address()));
            QTRY_COMPARE(idle.back()->socket.state(), QAbstractSocket::ConnectedState);
        }

        PageClient refused(page.server.address());
        QTRY_COMPARE(refused.socket.state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(refused.ask({}), 503);

        idle.pop_back();
        PageClient served(page.server.address());
        QCOMPARE(served.ask(served.get("/") + "\r\n"), 200);
    }

    // A thousand peers that begin a request and never end it: a byte at a time, so that none of them is idle.
    void thousandSlowConnections()
    {
        allowDescriptors(4096);
        Page page(allServices());
        PageClient tab(page.server.address());
        QVERIFY(tab.openStream());
        std::vector<std::unique_ptr<PageClient>> slow(1000);
        for (std::unique_ptr<PageClient>& client : slow) {
            client = std::make_unique<PageClient>(page.server.address());
        }
        QTimer dripping;
        connect(&dripping, &QTimer::timeout, this, [&slow] {
            for (const std::unique_ptr<PageClient>& client : slow) {
                if (client->socket.state() == QAbstractSocket::ConnectedState) {
                    client->socket.write("G");
                }
            }
        });
        dripping.start(50ms);

        const auto refused = [&slow] {
            return std::count_if(slow.begin(), slow.end(), [](const std::unique_ptr<PageClient>& client) {
                return client->socket.state() == QAbstractSocket::UnconnectedState;
            });
        };
        QTRY_VERIFY_WITH_TIMEOUT(refused() > 1000 - HttpServer::kMostConnections, kPatienceMs);
        // Those that have a place lose it to one who asks for something.
        QTRY_COMPARE_WITH_TIMEOUT(statusOfPage(page.server), 200, kPatienceMs);
        QVERIFY(refused() < 1000);
        tab.send({{u"id"_s, 1}, {u"run"_s, u"note still here"_s}});
        QCOMPARE(tab.answerTo(1).value(u"ok"_s), true);
    }

    void streamShowsWhatHappens()
    {
        Page page;
        page.timeline.note(u"before"_s);
        PageClient client(page.server.address());
        QVERIFY(client.openStream());

        const QJsonObject hello = client.frameWith(u"hello"_s).value(u"hello"_s).toObject();
        QCOMPARE(hello.value(u"version"_s), u"1.2.3"_s);
        QCOMPARE(hello.value(u"services"_s).toArray().size(), 14);
        QTRY_COMPARE(client.state(u"charge"_s), 100);
        QCOMPARE(rowWith(client, u"before"_s).at(2), u"note"_s);

        client.send({{u"id"_s, 1}, {u"run"_s, u"charge 35\ncall IsSleepEnabled"_s}});
        const QJsonArray signal = rowWith(client, u"SystemStatus"_s);
        const qint64 command = signal.at(0).toInteger() - 1;
        QCOMPARE(signal.at(4), (QJsonObject{{u"service"_s, u"statusmanager"_s}, {u"cause"_s, command}}));
        QTRY_COMPARE(client.state(u"charge"_s), 35);

        client.send({{u"event"_s, command + 1}});
        const QJsonObject whole = client.frameWith(u"whole"_s);
        QCOMPARE(whole.value(u"event"_s).toInteger(), command + 1);
        QCOMPARE(whole.value(u"whole"_s).toObject(),
                 QJsonDocument::fromJson(eventjson::toLine(page.timeline.slice(command + 1, 1).constFirst())).object());
        client.send({{u"event"_s, 1'000'000}});
        QVERIFY(client.frameWith(u"whole"_s).value(u"whole"_s).isNull());
    }

    void reconnectGoesOn()
    {
        Page page(allServices());
        PageClient client(page.server.address());
        QVERIFY(client.openStream());
        const qint64 next = client.frameWith(u"events"_s).value(u"next"_s).toInteger();
        client.socket.abort();
        page.timeline.note(u"meanwhile"_s);

        PageClient again(page.server.address());
        QVERIFY(again.openStream(next));
        const QJsonArray rows = rowsOf(again.frameWith(u"events"_s));
        QCOMPARE(rows.at(0).toArray().at(0).toInteger(), next);
        QCOMPARE(rows.at(0).toArray().at(3), u"meanwhile"_s);

        PageClient late(page.server.address()); // of a run that was longer
        QVERIFY(late.openStream(1'000'000));
        QVERIFY(late.frameWith(u"hello"_s).contains(u"hello"_s));
        page.timeline.note(u"new"_s);
        QCOMPARE(rowWith(late, u"new"_s).at(3), u"new"_s);
    }

    void wrongRequests_data()
    {
        const Table<QByteArray, QString> row("frame", "text");
        row("no JSON", "charge 5", u"found no JSON object (illegal value), expected one"_s);
        row("no object", "[1]", u"found no JSON object (another value), expected one"_s);
        row("deep", QByteArray(60'000, '['), u"found no JSON object (too deeply nested document), expected one"_s);
        row("unknown", R"({"fly": true})",
            u"found a request with the members fly, expected one of run, play, stop, complete, event, check, "
            "installZones, saveScenario, clear, from, farewell with a value of its type"_s);
        row("wrong type", R"({"run": 5})",
            u"found a request with the members run, expected one of run, play, stop, complete, event, check, "
            "installZones, saveScenario, clear, from, farewell with a value of its type"_s);
        row("too long", R"({"run": ")" + QByteArray(70'000, '#') + R"("})",
            u"found 70011 bytes, expected at most 65536"_s);
        row("wrong line", R"({"run": "charge 5\ncharge 101"})",
            u"page:2: \"charge 101\": found \"101\", expected a whole number from 0 to 100 for PERCENT"_s);
        row("a line that fails", R"({"run": "daemon start"})",
            u"page:1: \"daemon start\": found no power daemon of our own, expected the option --run"_s);
        row("an expectation that does not come true", R"({"run": "expect volume 5 within 0.01"})",
            u"page:1: \"expect volume 5 within 0.01\": expected volume 5 within 0.01 s, found 100"_s);
        row("no such scenario", R"({"play": "../tst_page.scenario"})",
            u"found \"../tst_page.scenario\", expected one of mine.scenario"_s);
        row("scenario without a name", R"({"saveScenario": {"from": 0, "to": 9}})",
            u"found the name \"\", expected 1 to 40 small letters, digits and \"-\""_s);
        row("scenario in another folder", R"({"saveScenario": {"name": "../a", "from": 0, "to": 9}})",
            u"found the name \"../a\", expected 1 to 40 small letters, digits and \"-\""_s);
        row("scenario of nothing", R"({"saveScenario": {"name": "a", "from": 0, "to": 0}})",
            u"found no command among the rows from 0 to 0, expected one"_s);
    }

    void wrongRequests()
    {
        QFETCH(QByteArray, frame);
        QFETCH(QString, text);
        Page page(allServices());
        QFile scenario(page.folder.filePath(u"mine.scenario"_s));
        QVERIFY(scenario.open(QIODevice::WriteOnly));
        PageClient client(page.server.address());
        QVERIFY(client.openStream());

        client.sendFrame(0x81, frame);
        QCOMPARE(client.frameWith(u"answer"_s),
                 (QJsonObject{{u"answer"_s, QJsonValue()}, {u"ok"_s, false}, {u"text"_s, text}}));
        QCOMPARE(page.session.simulator().device().chargePercent, 100);

        client.send({{u"id"_s, 7}, {u"run"_s, u"charge 50"_s}}); // it goes on
        QCOMPARE(client.answerTo(7).value(u"ok"_s), true);
    }

    void wrongFrames_data()
    {
        const Table<int, QByteArray, bool, int> row("firstByte", "payload", "isMasked", "status");
        row("not masked", 0x81, "{}", false, 1002);
        row("unknown kind", 0x83, "{}", true, 1002);
        row("reserved bit", 0xc1, "{}", true, 1002);
        row("rest of nothing", 0x80, "{}", true, 1002);
        row("long ping", 0x89, QByteArray(200, 'a'), true, 0); // the library closes without a status
        row("no UTF-8", 0x81, "\xc3\x28", true, 1007);
        row("binary", 0x82, "{}", true, 1003);
        row("too long", 0x81, QByteArray(qsizetype{2} * 1024 * 1024, ' '), true, 1009);
        row("close", 0x88, "\x03\xe8", true, 1000);
    }

    void wrongFrames()
    {
        QFETCH(int, firstByte);
        QFETCH(QByteArray, payload);
        QFETCH(bool, isMasked);
        QFETCH(int, status);
        const Page page(allServices());
        PageClient client(page.server.address());
        QVERIFY(client.openStream());

        client.sendFrame(static_cast<quint8>(firstByte), payload, isMasked);
        QCOMPARE(client.closeStatus(), status);

        PageClient next(page.server.address());
        QVERIFY(next.openStream());
        QVERIFY(!next.frameWith(u"hello"_s).isEmpty());
    }

    void textInPieces()
    {
        const Page page(allServices());
        PageClient client(page.server.address());
        QVERIFY(client.openStream());

        client.sendFrame(0x01, R"({"id": 3, )");
        client.sendFrame(0x89, "ping"); // in between, as the protocol allows
        client.sendFrame(0x00, R"("run": "char)");
        client.sendFrame(0x80, R"(ge 44"})");

        QCOMPARE(client.answerTo(3).value(u"ok"_s), true);
        QVERIFY(client.hasPong());
    }

    void readerThatStopsIsDropped()
    {
        Page page(allServices(), {}, 200ms);
        PageClient slow(page.server.address());
        PageClient quick(page.server.address());
        QVERIFY(slow.openStream() && quick.openStream());
        QVERIFY(!slow.frameWith(u"hello"_s).isEmpty());
        slow.socket.setReadBufferSize(1);

        // Until the kernel's buffers are full, of which each end may have several megabytes.
        const auto isDropped = [&page] {
            for (int i = 0; i < 50; ++i) {
                page.timeline.note(QString(20'000, u'x'));
            }
            return page.server.tabCount() == 1;
        };
        QTRY_VERIFY_WITH_TIMEOUT(isDropped(), kPatienceMs);

        quick.send({{u"id"_s, 1}, {u"run"_s, u"note still here"_s}});
        QCOMPARE(quick.answerTo(1).value(u"ok"_s), true);
    }

    void tabsAreIndependent()
    {
        Page page;
        PageClient first(page.server.address());
        PageClient second(page.server.address());
        QVERIFY(first.openStream() && second.openStream());

        first.send({{u"id"_s, 1}, {u"run"_s, u"wait 60"_s}});
        QTRY_COMPARE(first.state(u"source"_s).toObject().value(u"line"_s), u"wait 60"_s);
        second.send({{u"id"_s, 2}, {u"run"_s, u"charge 20"_s}});
        QCOMPARE(second.answerTo(2).value(u"ok"_s), true);
        QVERIFY(!rowWith(first, u"SystemStatus"_s).isEmpty());

        first.send({{u"id"_s, 3}, {u"run"_s, u"press seek-"_s}, {u"now"_s, true}}); // does not wait for the line
        QCOMPARE(first.answerTo(3).value(u"ok"_s), true);
        QVERIFY(!rowWith(second, u"GpEvent(seek-, true)"_s).isEmpty());
        QTRY_VERIFY(second.state(u"buttons"_s).toObject().value(u"seek-"_s).isDouble());

        first.send({{u"id"_s, 4}, {u"stop"_s, true}});
        const QJsonObject stopped = first.frameWith(u"answer"_s);
        QCOMPARE(stopped, (QJsonObject{{u"answer"_s, 1}, {u"ok"_s, false}, {u"text"_s, u"stopped"_s}}));
        QCOMPARE(first.answerTo(4).value(u"ok"_s), true);

        // What a tab has under way ends with it.
        first.send({{u"id"_s, 5}, {u"run"_s, u"wait 0.05\ncharge 90"_s}});
        first.socket.flush();
        first.socket.abort();
        second.send({{u"id"_s, 6}, {u"run"_s, u"wait 0.2"_s}});
        QCOMPARE(second.answerTo(6).value(u"ok"_s), true);
        QCOMPARE(page.session.simulator().device().chargePercent, 20);

        second.send({{u"id"_s, 7}, {u"clear"_s, true}});
        const qint64 cleared = second.frameWith(u"cleared"_s).value(u"cleared"_s).toInteger();
        PageClient third(page.server.address());
        QVERIFY(third.openStream());
        QCOMPARE(third.frameWith(u"hello"_s).value(u"hello"_s).toObject().value(u"first"_s).toInteger(), cleared);
    }

    void tabThatGoesTakesItsLeave()
    {
        Page page;
        PageClient going(page.server.address());
        PageClient other(page.server.address());
        QVERIFY(going.openStream() && other.openStream());

        going.send({{u"id"_s, 1}, {u"farewell"_s, u"release seek-"_s}});
        QCOMPARE(going.answerTo(1).value(u"ok"_s), true);
        going.send({{u"id"_s, 2}, {u"farewell"_s, u"release"_s}}); // wrong: the one before stays
        QCOMPARE(going.answerTo(2).value(u"ok"_s), false);
        going.send({{u"id"_s, 3}, {u"run"_s, u"press seek-"_s}, {u"now"_s, true}});
        QTRY_VERIFY(other.state(u"buttons"_s).toObject().value(u"seek-"_s).isDouble());
        going.socket.abort();
        QTRY_VERIFY(other.state(u"buttons"_s).toObject().value(u"seek-"_s).isNull());
    }

    void longZoneFileIsNotShown()
    {
        Page page(allServices());
        QString error;
        QVERIFY(page.session.simulator().files().writeZones("[Full]\n" + QByteArray(300'000, ';'), &error));
        PageClient client(page.server.address());
        QVERIFY(client.openStream());
        QTRY_VERIFY(client.state(u"zones"_s).isArray());
        QVERIFY(client.state(u"zones"_s).toArray().isEmpty());
        QVERIFY(client.state(u"zoneFile"_s).isNull());
    }

    void zoneFileIsCheckedAndInstalled()
    {
        Page page;
        PageClient client(page.server.address());
        QVERIFY(client.openStream());

        client.send({{u"id"_s, 1}, {u"check"_s, u"[Low]\nlow_treshold=5\nhigh_treshold=100\nvolum=80\n"_s}});
        const QJsonObject findings = client.frameWith(u"findings"_s);
        const QJsonObject misspelt = findings.value(u"list"_s).toArray().last().toObject();
        QCOMPARE(misspelt.value(u"id"_s), u"misspelt-key"_s);
        QCOMPARE(misspelt.value(u"line"_s), 4);
        QCOMPARE(findings.value(u"zones"_s).toArray().at(0).toObject(), (QJsonObject{{u"name"_s, u"Low"_s},
                                                                                     {u"lower"_s, 5},
                                                                                     {u"upper"_s, 100},
                                                                                     {u"volume"_s, QJsonValue()},
                                                                                     {u"light"_s, QJsonValue()}}));

        const QString large = u"[Mine]\nlow_treshold=0\nhigh_treshold=100\n"_s + QString(100'000, u';');
        client.send({{u"id"_s, 2}, {u"installZones"_s, large}});
        QCOMPARE(client.answerTo(2).value(u"ok"_s), true);
        QFile installed(page.session.simulator().files().zoneFile());
        QVERIFY(installed.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(installed.readAll()), large);
        QVERIFY(!rowWith(client, u"updatemanager.FilesUpdated(0, 12)"_s).isEmpty());
    }

    void realServiceIsSeen()
    {
        const QString name = u"com.quillmark.zelt.soundmanager"_s;
        Page page({u"soundmanager"_s});
        PageClient client(page.server.address());
        QVERIFY(client.openStream());
        const auto sound = [&client] { return client.state(u"services"_s).toObject().value(u"soundmanager"_s); };
        QTRY_COMPARE(sound().toObject().value(u"state"_s), u"absent"_s);

        QVERIFY(QDBusConnection::sessionBus().registerService(name));
        QTRY_COMPARE(sound().toObject().value(u"state"_s), u"real"_s);
        QVERIFY(QDBusConnection::sessionBus().unregisterService(name));
        QTRY_COMPARE(sound().toObject().value(u"state"_s), u"absent"_s);

        client.send({{u"id"_s, 1}, {u"run"_s, u"fail lightmanager.GetSwitch late 3\nstop rgbfeaturemanager"_s}});
        QCOMPARE(client.answerTo(1).value(u"ok"_s), true);
        QTRY_COMPARE(client.state(u"services"_s).toObject().value(u"rgbfeaturemanager"_s).toObject().value(u"state"_s),
                     u"down"_s);
        const QJsonObject services = client.state(u"services"_s).toObject();
        QCOMPARE(services.value(u"lightmanager"_s).toObject().value(u"faults"_s).toObject(),
                 (QJsonObject{{u"GetSwitch"_s, u"late 3"_s}}));
    }

    void savedScenarioPassesAgain()
    {
        Page page({}, QStringLiteral(POWERMANAGER_PROGRAM));
        PageClient client(page.server.address());
        QVERIFY(client.openStream());
        QVERIFY(!client.frameWith(u"events"_s).isEmpty());
        const auto run = [&client](int id, const QString& lines) {
            client.send({{u"id"_s, id}, {u"run"_s, lines}});
            return client.answerTo(id);
        };
        // An earlier state, which the scenario has to bring about.
        QVERIFY(run(1, u"charge 30\nexpect signal PowerZoneChanged\nvolume 70\nfail lightmanager.GetIntensity error"_s)
                    .value(u"ok"_s)
                    .toBool());
        const qsizetype begin = page.timeline.position();
        QVERIFY(run(2, u"charge 12\nexpect call soundmanager.SetMasterVolume\nexpect signal PowerZoneChanged Critical\n"
                       "repair all\ncall SetSleepEnabled true 25:00:00 07:00:00\nexpect answer SetSleepEnabled"_s)
                    .value(u"ok"_s)
                    .toBool());

        client.send({{u"id"_s, 3},
                     {u"saveScenario"_s, QJsonObject{{u"name"_s, u"mine"_s},
                                                     {u"from"_s, static_cast<qint64>(begin)},
                                                     {u"to"_s, static_cast<qint64>(page.timeline.position())}}}});
        QCOMPARE(client.answerTo(3).value(u"text"_s), u"mine.scenario"_s);
        QFile file(page.folder.filePath(u"mine.scenario"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        for (const QString& line :
             {u"volume 70"_s, u"fail lightmanager.GetIntensity error"_s, u"\ncharge 12\n"_s,
              u"expect signal PowerZoneChanged Critical"_s, u"expect call soundmanager.SetMasterVolume 40"_s,
              u"expect log \"Can't read current light intensity: suppose 100%\""_s,
              u"expect answer SetSleepEnabled 0"_s}) {
            QVERIFY2(text.contains(line), qPrintable(text));
        }
        QVERIFY2(!text.contains(u"DateTime") && !text.contains(u"GetFreq"), qPrintable(text));

        client.send({{u"id"_s, 4}, {u"play"_s, u"mine.scenario"_s}});
        QCOMPARE(client.answerTo(4), (QJsonObject{{u"answer"_s, 4}, {u"ok"_s, true}, {u"text"_s, QString()}}));
        client.send(
            {{u"id"_s, 5}, {u"saveScenario"_s, QJsonObject{{u"name"_s, u"mine"_s}, {u"from"_s, 0}, {u"to"_s, 99}}}});
        QVERIFY(client.answerTo(5).value(u"text"_s).toString().endsWith(u"File exists"_s)); // it is kept
    }

    void rowsAreForgotten()
    {
        Timeline timeline;
        RowLog rows(timeline, {100, 2000});
        QList<QByteArray> lines;
        connect(&timeline, &Timeline::added, this,
                [&lines](const Timeline::Entry& entry) { lines.append(eventjson::toLine(entry)); });
        for (int i = 0; i < 5000; ++i) {
            timeline.note(u"note \u00fc \n "_s + QString::number(i));
            if (rows.isDue()) {
                rows.update();
            }
        }

        rows.update();

        QVERIFY2(timeline.size() < 1000, "the timeline does not grow");
        QVERIFY(rows.first() >= 3000 && rows.first() < 3300);
        QCOMPARE(rows.next(), 5000);
        const RowLog::Part all = rows.part(17, 1'000'000);
        QCOMPARE(all.skipped, rows.first() - 17);
        const QJsonArray array = QJsonDocument::fromJson('[' + all.rows + ']').array();
        QCOMPARE(array.size(), rows.next() - rows.first());
        for (qsizetype i = 0; i < array.size(); ++i) {
            QCOMPARE(array.at(i).toArray().at(0).toInteger(), rows.first() + i);
        }
        const RowLog::Part some = rows.part(3500, 500);
        QCOMPARE(QJsonDocument::fromJson('[' + some.rows + ']').array().size(), some.next - 3500);
        for (const qsizetype place : {rows.first(), qsizetype(3333), qsizetype(4999)}) {
            QCOMPARE(rows.whole(place), lines.at(place));
        }
        QVERIFY(rows.whole(rows.first() - 1).isEmpty() && rows.whole(5000).isEmpty());
        QByteArray file;
        for (qsizetype place = 0; place < rows.next();) {
            file += rows.wholeLines(&place);
        }
        QCOMPARE(file, lines.mid(rows.first()).join('\n') + '\n');
    }

    void eventsHaveTheirCommand()
    {
        CauseFinder finder;
        qsizetype place = 0;
        const auto causeOf = [&finder, &place](qint64 msec, const events::Event& event) {
            return finder.causeOf(place++, {msec, {}, event}).value_or(-1);
        };
        const events::Call asked{u"lightmanager"_s, u"GetSwitch"_s, {}, {}, {}, {}};
        const events::Call scaled{u"freqmanager"_s, u"GetFreq"_s, {}, {}, {}, {}};

        QCOMPARE(causeOf(0, asked), -1);
        QCOMPARE(causeOf(1000, events::Command{u"call Suspend"_s}), -1); // place 1
        QCOMPARE(causeOf(1001, events::Request{u"Suspend"_s, {}, u"7"_s}), 1);
        QCOMPARE(causeOf(6500, asked), 1); // the daemon's own pause
        QCOMPARE(causeOf(11'000, scaled), 1);
        QCOMPARE(causeOf(16'000, scaled), -1); // the load goes on for ever
        QCOMPARE(causeOf(20'000, asked), -1);
        QCOMPARE(causeOf(900'000, events::Answer{events::kPowerDaemon, u"Suspend"_s, {}, 899, u"7"_s}), 1);
        QCOMPARE(causeOf(900'001, asked), 1);
        QCOMPARE(causeOf(900'002, events::Command{u"charge 5"_s}), -1); // place 9
        QCOMPARE(causeOf(900'003, asked), 9);
    }

    void daemonIsFollowed()
    {
        using State = DaemonWatch::State;
        using Process = events::Process;
        DaemonWatch watch;
        const auto take = [&watch](qint64 msec, const events::Event& event) { watch.take({msec, {}, event}); };
        QCOMPARE(watch.state(0), State::None);
        take(10, Process{Process::State::Started, {}});
        QCOMPARE(watch.state(20), State::Starting);
        take(30, Process{Process::State::Up, {}});
        QCOMPARE(watch.state(40), State::Up);

        // A request that is not answered soon, and then an action that the log announces.
        take(50, events::Request{u"Reboot"_s, {}, u"1"_s});
        QCOMPARE(watch.state(60), State::Up);
        QCOMPARE(watch.state(1000), State::Blocked);
        QCOMPARE(watch.action(1000), u"Reboot"_s);
        QCOMPARE(watch.sinceMs(1000), 50);
        take(1100, events::Answer{events::kPowerDaemon, u"Reboot"_s, {}, 1, u"1"_s});
        QCOMPARE(watch.state(1200), State::Up);
        take(1300, logLine(u"SOFT FACTORY RESET started"_s));
        take(1400, logLine(u"Reboot (restore) requested: will restart in about 7 seconds..."_s));
        QCOMPARE(watch.action(1400), u"soft factory reset"_s);
        take(1500, logLine(u"Reboot error"_s));
        QCOMPARE(watch.state(1500), State::Up);

        take(1590, logLine(u"Setting zone Normal params"_s));
        QCOMPARE(watch.zone(), u"Normal"_s);
        take(1600, events::Signal{events::kPowerDaemon, u"PowerZoneChanged"_s, {{u"Low"_s}, {}}});
        QCOMPARE(watch.zone(), u"Low"_s);
        take(1700, logLine(u"Sleep enable requested: startTime=22:00:00, endTime=06:30:00"_s));
        take(1701, logLine(u"Sleep is enabled (sleep_length=30600)"_s));
        take(1702, logLine(u"Will sleep in 60 s"_s));
        QCOMPARE(watch.sleepWindow()->start, u"22:00:00"_s);
        QCOMPARE(watch.sleepWindow()->end, u"06:30:00"_s);
        QCOMPARE(watch.sleepWindow()->lengthSeconds, 30'600);
        QCOMPARE(watch.sleepWindow()->opensMs, 61'702);

        watch.restart();
        take(1800, Process{Process::State::Down, {}});
        take(1801, Process{Process::State::Ended, u"0"_s});
        QCOMPARE(watch.state(1900), State::Restarting);
        QVERIFY(!watch.zone() && !watch.sleepWindow());
        take(2000, Process{Process::State::Up, {}});
        take(2100, Process{Process::State::Ended, u"139"_s});
        QCOMPARE(watch.state(2200), State::Down);
    }

    void completions_data()
    {
        const Table<QString, QStringList, int> row("line", "words", "from");
        row("first word", u"rep"_s, {u"repair"_s}, 0);
        row("only from a word's begin", u"epair"_s, {}, 0);
        row("service of a member", u"fail li"_s, {u"lightmanager."_s}, 5);
        row("member", u"fail lightmanager.GetS"_s, {u"lightmanager.GetSwitch"_s}, 5);
        row("only what a signal can show", u"fail lightmanager.LedSwitch "_s,
            {u"few"_s, u"many"_s, u"types"_s, u"arrays"_s}, 28);
        row("optional part", u"charge 5 "_s, {u"over"_s}, 9);
        row("behind any number of words", u"hold seek- f"_s, {u"for"_s}, 11);
        row("behind a wrong word", u"charge full "_s, {}, 12);
        row("within a text", u"note \"rep"_s, {}, 5);
        row("of the power daemon", u"expect signal PowerZ"_s, {u"PowerZoneChanged"_s}, 14);
        row("all of a choice", u"light o"_s, {u"on"_s, u"off"_s}, 6);
    }

    void completions()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, words);
        QFETCH(int, from);
        const Catalogue catalogue;

        const Completion completion = completionOf(line, catalogue);

        QCOMPARE(completion.words, words);
        QCOMPARE(completion.from, from);
    }

    void programServesThePage()
    {
        QProcess program;
        program.start(QStringLiteral(SIMULATOR_PROGRAM), {u"--page"_s, u"--json"_s});
        static const QRegularExpression kAddress(u"page: (\\S+)\n"_s);
        QString errors; // where it is announced, so that a reader of JSON gets nothing else
        const auto isAnnounced = [&program, &errors] {
            errors += QString::fromUtf8(program.readAllStandardError());
            return kAddress.match(errors).hasMatch();
        };
        QVERIFY2(QTest::qWaitFor(isAnnounced, kPatienceMs), qPrintable(errors));

        PageClient client(kAddress.match(errors).captured(1));
        QCOMPARE(client.ask(client.get("/") + "\r\n"), 200);
        ::kill(static_cast<pid_t>(program.processId()), SIGTERM);
        QVERIFY(program.waitForFinished(kPatienceMs));
        QCOMPARE(program.exitCode(), 0);

        program.start(QStringLiteral(SIMULATOR_PROGRAM), {u"--page"_s, u"--port"_s, u"70000"_s});
        QVERIFY(program.waitForFinished(kPatienceMs));
        QCOMPARE(program.exitCode(), 2);
        QCOMPARE(program.readAllStandardError().split('\n').value(0),
                 QByteArray("device-simulator: --port: found \"70000\", expected a number from 0 to 65535"));
    }
};

QTEST_GUILESS_MAIN(TstPage)
#include "tst_page.moc"
