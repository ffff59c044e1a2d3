// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Session.h"

#include <QJsonValue>
#include <QObject>
#include <QQueue>
#include <QString>

/// A source of lines of one tab: takes lines as often as they come, carries them out one after the other, and says of
/// each what came of it. Ends with its tab, as does what it has under way.
class TabSource : public QObject
{
    Q_OBJECT

public:
    /// @param session must outlive the source
    explicit TabSource(Session& session, QObject* parent = nullptr);
    ~TabSource() override;

    /// Takes lines, all of them or, if one is wrong, none.
    /// @param id     of what comes of them: see done()
    /// @param origin their name in messages
    /// @return whether all were right; *error says which is not, what was found and what was expected
    [[nodiscard]] bool load(const QJsonValue& id, const QString& lines, const QString& origin, QString* error);
    /// Forgets what has not been carried out, and ends what is under way.
    void stop();

    [[nodiscard]] bool isIdle() const;
    /// The line under way; empty: none.
    [[nodiscard]] QString line() const;
    /// Name of the lines under way; empty: none.
    [[nodiscard]] QString origin() const;

Q_SIGNALS:
    /// @param isGood whether they were carried out to their end
    /// @param text   what they printed, or else why not
    void done(const QJsonValue& id, bool isGood, const QString& text);
    /// idle, line or origin changed.
    void changed();

private:
    Q_DISABLE_COPY_MOVE(TabSource)

    struct Lines
    {
        QJsonValue id;
        QString text;
        QString origin;
    };

    void next();
    void onIdle();

    Session& m_session;
    ScenarioRunner* m_runner; ///< the session's
    QQueue<Lines> m_waiting;
    Lines m_underWay; ///< if m_isBusy
    bool m_isBusy = false;
    QString m_printed;
    QString m_failure; ///< of the lines under way; empty: none so far
};
