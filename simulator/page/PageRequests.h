// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "DeviceHistory.h"
#include "RowLog.h"
#include "ScenarioFolder.h"
#include "Session.h"
#include "TabSource.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>

/// What one tab asks for, frame by frame (docs/page.md), and the answers. Whatever comes, it is answered, and the
/// session goes on.
class PageRequests : public QObject
{
    Q_OBJECT

public:
    /// What all tabs share. All of it must outlive the requests.
    struct Common
    {
        Session& session;
        RowLog& rows;
        const DeviceHistory& history;
        const ScenarioFolder& scenarios;
    };

    explicit PageRequests(const Common& common, QObject* parent = nullptr);

    void take(const QByteArray& frame);

    /// What the tab's own lines are doing, as its state shows it.
    [[nodiscard]] QJsonObject source() const;

    /// Lines to carry out when the tab goes away, such as the release of a button that it holds; empty: none.
    [[nodiscard]] QString farewell() const;

    /// No frame may be longer; those without a zone file are shorter than kMostBytes.
    static constexpr qsizetype kMostBytesWithFile = qsizetype{1024} * 1024;
    static constexpr qsizetype kMostBytes = qsizetype{64} * 1024;

Q_SIGNALS:
    void answered(const QByteArray& frame);
    /// The tab wants the rows from there on.
    void positioned(qint64 from);
    void clearRequested();
    /// source() changed.
    void sourceChanged();

private:
    Q_DISABLE_COPY_MOVE(PageRequests)

    struct Kind; ///< a row of the table of requests

    void answer(const QJsonValue& id, bool isGood, const QString& text);
    void run(const QJsonObject& request);
    void play(const QJsonObject& request);
    void stop(const QJsonObject& request);
    void complete(const QJsonObject& request);
    void showEvent(const QJsonObject& request);
    void check(const QJsonObject& request);
    void installZones(const QJsonObject& request);
    void saveScenario(const QJsonObject& request);
    void clear(const QJsonObject& request);
    void position(const QJsonObject& request);
    void setFarewell(const QJsonObject& request);

    Session& m_session;
    RowLog& m_rows;
    const DeviceHistory& m_history;
    const ScenarioFolder& m_scenarios;
    TabSource m_lines;    ///< the command line's
    TabSource m_controls; ///< what does not wait for the lines: buttons, sliders
    TabSource m_scenario; ///< the scenario that is played
    QString m_farewell;
};
