// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PageServer.h"

#include "Commands.h"
#include "Tab.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Frames of a tab follow each other at least that much later.
constexpr std::chrono::milliseconds kFrameTime = 50ms;

constexpr QLatin1StringView kAssets(":/page-assets");

constexpr std::pair<QLatin1StringView, const char*> kContentTypes[] = {
    {QLatin1StringView("html"), "text/html; charset=utf-8"},
    {QLatin1StringView("css"), "text/css; charset=utf-8"},
    {QLatin1StringView("js"), "text/javascript; charset=utf-8"},
    {QLatin1StringView("svg"), "image/svg+xml"},
    {QLatin1StringView("png"), "image/png"},
};

HttpReply textReply(int status, const QByteArray& text)
{
    HttpReply reply;
    reply.status = status;
    reply.contentType = "text/plain; charset=utf-8";
    reply.body = text + '\n';
    return reply;
}

QJsonArray membersOf(const InterfaceDescription& service)
{
    QJsonArray members;
    for (const MemberDescription& method : service.methodList) {
        members.append(QJsonObject{{u"name"_s, method.name}, {u"kind"_s, u"method"_s}});
    }
    for (const MemberDescription& signal : service.signalList) {
        members.append(QJsonObject{{u"name"_s, signal.name}, {u"kind"_s, u"signal"_s}});
    }
    return members;
}

} // namespace

PageServer::PageServer(Session& session, const Settings& settings, QObject* parent)
    : QObject(parent),
      m_session(session),
      m_settings(settings),
      m_token(AccessRules::newToken()),
      m_http([this](const HttpRequest& request) { return handle(request); }),
      m_rows(session.simulator().timeline()),
      m_device(session),
      m_history(session),
      m_scenarios(settings.scenarioFolder),
      m_begin(QDateTime::currentDateTimeUtc().addMSecs(-session.simulator().timeline().elapsedMs())),
      m_farewells(session),
      m_showTimer(this),
      m_secondTimer(this)
{
    m_showTimer.setSingleShot(true);
    connect(&m_showTimer, &QTimer::timeout, this, &PageServer::show);
    m_secondTimer.setInterval(1s);
    connect(&m_secondTimer, &QTimer::timeout, this, &PageServer::onSecond);
    connect(&session.simulator().timeline(), &Timeline::added, this, &PageServer::onEntryAdded);
}

PageServer::~PageServer()
{
    // Before the server that has their connections.
    for (Tab* tab : std::as_const(m_tabs)) {
        tab->disconnect(this);
        tab->close("the simulator ends");
    }
    qDeleteAll(m_tabs);
}

bool PageServer::start(QString* error)
{
    if (!m_http.listen(m_settings.port, error)) {
        return false;
    }
    m_rules = std::make_unique<AccessRules>(m_http.port(), m_token);
    return true;
}

QString PageServer::address() const
{
    return u"http://127.0.0.1:"_s + QString::number(m_http.port()) + u"/?token="_s + QString::fromLatin1(m_token);
}

qsizetype PageServer::tabCount() const
{
    return m_tabs.size();
}

HttpReply PageServer::handle(const HttpRequest& request)
{
    if (const std::optional<AccessRules::Refusal> refusal = m_rules->check(request.head)) {
        HttpReply reply = textReply(refusal->status, refusal->reason);
        if (refusal->isEntry) {
            reply.headers = {{"Location", "/"}, {"Set-Cookie", m_rules->cookie()}};
        } else if (refusal->status == 405) {
            reply.headers = {{"Allow", "GET"}};
        }
        return reply;
    }
    if (request.head.path == "/stream") {
        return stream(request);
    }
    return request.head.path == "/events.jsonl" ? timelineFile() : asset(request.head.path);
}

HttpReply PageServer::asset(const QByteArray& path) const
{
    const QString name = path == "/" ? u"/index.html"_s : QString::fromUtf8(path);
    // Only what is built in has such a name; there is no file system behind it.
    QFile file(kAssets + name);
    const QString ending = QFileInfo(name).suffix();
    for (const auto& [known, contentType] : kContentTypes) {
        if (ending == known && !name.contains(u".."_s) && file.open(QIODevice::ReadOnly)) {
            HttpReply reply;
            reply.contentType = contentType;
            reply.body = file.readAll();
            return reply;
        }
    }
    return textReply(404, "There is no such file.");
}

HttpReply PageServer::timelineFile()
{
    m_rows.update();
    HttpReply reply;
    reply.contentType = "application/jsonl; charset=utf-8";
    reply.headers = {{"Content-Disposition", "attachment; filename=\"events.jsonl\""}};
    // Up to where it is now: more may come faster than it is taken.
    reply.producer = [this, place = m_rows.first(), end = m_rows.next()]() mutable {
        return place < end ? m_rows.wholeLines(&place) : QByteArray();
    };
    return reply;
}

HttpReply PageServer::stream(const HttpRequest& request)
{
    if (request.webSocketKey.isEmpty()) {
        return textReply(400, "Found a plain request, expected one for a WebSocket.");
    }
    if (request.webSocketVersion != "13") {
        HttpReply reply = textReply(426, "Found another version of WebSocket, expected 13.");
        reply.headers = {{"Sec-WebSocket-Version", "13"}};
        return reply;
    }
    HttpReply reply;
    reply.status = 101;
    reply.headers = {{"Upgrade", "websocket"}, {"Sec-WebSocket-Accept", WebSocket::acceptOf(request.webSocketKey)}};
    reply.upgrade = [this](UpgradedConnection connection) { addTab(std::move(connection)); };
    return reply;
}

void PageServer::addTab(UpgradedConnection connection)
{
    auto* tab = new Tab(std::move(connection), {m_session, m_rows, m_history, m_scenarios}, this);
    connect(tab, &Tab::due, this, &PageServer::showSoon);
    connect(tab, &Tab::arrived, this, [this] { m_showTimer.start(0ms); });
    connect(tab, &Tab::clearRequested, this, &PageServer::clear);
    connect(tab, &Tab::closed, this, [this, tab] { removeTab(tab); });
    m_tabs.append(tab);
    if (m_tabs.size() == 1) {
        m_device.refresh();
        m_scenarioNames = QJsonArray::fromStringList(m_scenarios.names());
        m_secondTimer.start();
    }
}

void PageServer::removeTab(Tab* tab)
{
    m_tabs.removeOne(tab);
    tab->deleteLater();
    QString error;
    if (!tab->farewell().isEmpty()) {
        (void)m_farewells.load({}, tab->farewell(), u"page"_s, &error); // checked when it came
    }
    if (m_tabs.isEmpty()) {
        m_showTimer.stop();
        m_secondTimer.stop();
    }
}

void PageServer::onEntryAdded()
{
    if (!m_tabs.isEmpty()) {
        showSoon();
    } else if (m_rows.isDue()) {
        m_rows.update();
    }
}

void PageServer::showSoon()
{
    if (!m_showTimer.isActive()) {
        m_showTimer.start(kFrameTime);
    }
}

void PageServer::show()
{
    m_rows.update();
    dropStalled();
    QJsonObject state = m_device.state();
    state.insert(u"scenarios"_s, m_scenarioNames);
    bool isMoreToCome = false;
    for (Tab* tab : std::as_const(m_tabs)) {
        tab->show({m_rows, state}, tab->isGreeted() ? QByteArray() : hello());
        isMoreToCome |= tab->isBehind(m_rows);
    }
    if (isMoreToCome) {
        showSoon();
    }
}

void PageServer::onSecond()
{
    m_device.refresh();
    m_scenarioNames = QJsonArray::fromStringList(m_scenarios.names());
    showSoon();
}

void PageServer::dropStalled()
{
    for (Tab* tab : std::as_const(m_tabs)) {
        tab->dropIfStalled(m_settings.patience.count()); // closed() comes later
    }
}

void PageServer::clear()
{
    m_rows.clear();
    for (Tab* tab : std::as_const(m_tabs)) {
        tab->send("{\"cleared\":" + QByteArray::number(m_rows.next()) + '}');
    }
    showSoon();
}

QByteArray PageServer::hello() const
{
    QJsonArray services;
    for (const InterfaceDescription& service : m_session.simulator().catalogue().services()) {
        services.append(QJsonObject{{u"name"_s, service.service},
                                    {u"isLeftOut"_s, m_session.settings().without.contains(service.service)},
                                    {u"members"_s, membersOf(service)}});
    }
    QJsonArray commandArray;
    QJsonArray faults;
    for (const Command& command : commands()) {
        if (command.pattern.startsWith({u"fail"_s})) {
            faults.append(command.pattern.synopsis().section(u' ', 2)); // behind the member
        }
        commandArray.append(QJsonObject{{u"pattern"_s, command.pattern.synopsis()},
                                        {u"subject"_s, QString::fromUtf8(command.subject)},
                                        {u"summary"_s, QString::fromUtf8(command.help)},
                                        {u"example"_s, QString::fromUtf8(command.example)}});
    }
    QJsonArray ladder;
    for (const int mhz : Device::frequenciesMHz()) {
        ladder.append(mhz);
    }
    const std::optional<QString> program = m_session.settings().daemon;
    const QJsonObject greeting{{u"version"_s, m_settings.version},
                               {u"program"_s, program ? QJsonValue(*program) : QJsonValue()},
                               {u"services"_s, services},
                               {u"faults"_s, faults},
                               {u"ladder"_s, ladder},
                               {u"scenarios"_s, QJsonArray::fromStringList(m_scenarios.names())},
                               {u"commands"_s, commandArray},
                               {u"clock"_s, m_begin.toString(Qt::ISODateWithMs)},
                               {u"first"_s, static_cast<qint64>(m_rows.first())},
                               {u"next"_s, static_cast<qint64>(m_rows.next())}};
    return QJsonDocument(QJsonObject{{u"hello"_s, greeting}}).toJson(QJsonDocument::Compact);
}
