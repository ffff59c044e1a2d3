// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "AccessRules.h"
#include "DeviceHistory.h"
#include "DeviceView.h"
#include "HttpServer.h"
#include "RowLog.h"
#include "ScenarioFolder.h"
#include "Session.h"
#include "TabSource.h"

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QList>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <memory>

class Tab;

/// The page: a front end of a session that is looked at and operated in a browser (docs/page.md). Serves the assets
/// that are built in, the timeline as a file, and a stream to each open tab.
///
/// While no tab is open, no timer runs and nothing is computed but what the timeline alone tells.
class PageServer : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        quint16 port = 0;                           ///< 0: any that is free
        QString scenarioFolder;                     ///< empty: none
        QString version;                            ///< of the program
        std::chrono::milliseconds patience{10'000}; ///< with a tab that takes nothing
    };

    /// @param session must outlive the page
    PageServer(Session& session, const Settings& settings, QObject* parent = nullptr);
    ~PageServer() override;

    /// @return whether it listens; *error says why not
    [[nodiscard]] bool start(QString* error);

    /// The address that opens it, with its token.
    [[nodiscard]] QString address() const;
    /// Open tabs.
    [[nodiscard]] qsizetype tabCount() const;

private:
    Q_DISABLE_COPY_MOVE(PageServer)

    [[nodiscard]] HttpReply handle(const HttpRequest& request);
    [[nodiscard]] HttpReply asset(const QByteArray& path) const;
    [[nodiscard]] HttpReply timelineFile();
    [[nodiscard]] HttpReply stream(const HttpRequest& request);
    void addTab(UpgradedConnection connection);
    void removeTab(Tab* tab);
    void onEntryAdded();
    /// The next frames are sent in time.
    void showSoon();
    void show();
    void onSecond();
    void dropStalled();
    void clear();
    [[nodiscard]] QByteArray hello() const;

    Session& m_session;
    Settings m_settings;
    QByteArray m_token;
    std::unique_ptr<AccessRules> m_rules; ///< once the port is known
    HttpServer m_http;
    RowLog m_rows;
    DeviceView m_device;
    DeviceHistory m_history;
    ScenarioFolder m_scenarios;
    QJsonArray m_scenarioNames; ///< at the last second
    QDateTime m_begin;          ///< time 0 of the timeline, UTC
    QList<Tab*> m_tabs;         ///< children
    TabSource m_farewells;      ///< of tabs that have gone
    QTimer m_showTimer;
    QTimer m_secondTimer; ///< runs while a tab is open
};
