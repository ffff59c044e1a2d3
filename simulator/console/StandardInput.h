// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

/// The lines of standard input, as they come.
class StandardInput : public QObject
{
    Q_OBJECT

public:
    explicit StandardInput(QObject* parent = nullptr);

    /// Nothing more is read.
    void stop();
    /// Whether there may be more to read.
    [[nodiscard]] bool isOpen() const;
    /// Whether a person types.
    [[nodiscard]] static bool isTerminal();

Q_SIGNALS:
    /// @param number of the line, from 1
    void line(const QString& text, int number);
    void ended();

private:
    Q_DISABLE_COPY_MOVE(StandardInput)

    void read();
    void take(const QByteArray& bytes);

    QSocketNotifier m_notifier;
    QByteArray m_partialLine;
    int m_number = 0;
};
