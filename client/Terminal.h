// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/// Standard output and standard error, as a person at a terminal or a program behind a pipe wants them: every line is
/// written at once, colours only on a terminal that wants them (NO_COLOR, TERM=dumb), no pager.
///
/// A signal that ends the program first puts the terminal back in order, at whatever moment it comes. One object at a
/// time.
class Terminal
{
public:
    enum class Style
    {
        Plain,
        Strong, ///< headings, what matters most
        Dim,    ///< times, remarks
        Good,
        Notice, ///< deserves a look
        Bad,
    };

    /// @param output descriptor of the output, and of the complaints and the progress
    explicit Terminal(int output = 1, int errors = 2);
    ~Terminal();
    Q_DISABLE_COPY_MOVE(Terminal)

    /// Whether the output goes to a terminal.
    [[nodiscard]] bool isTerminal() const;
    [[nodiscard]] bool hasColours() const;
    /// Columns of the terminal; 80 if there is none.
    [[nodiscard]] int width() const;
    [[nodiscard]] int height() const;

    /// The text with the style's escape sequences, or as it is where colours are not wanted.
    [[nodiscard]] QString styled(const QString& text, Style style) const;

    /// Writes a line, at once. Ends the program if nobody reads it any more.
    void print(const QString& line = {});
    /// Writes text as it is, without an end of line, in one piece.
    void write(const QByteArray& text);
    /// Writes "zelt-power: TEXT" to standard error.
    void complain(const QString& text);

    /// Shows what goes on, in a line of standard error that the next one replaces. Behind a pipe, writes a line if
    /// something else goes on. The next print() or complain() takes it away.
    /// @param time how long it goes on already
    void showProgress(const QString& time, const QString& what);
    void clearProgress();

    /// Asks a question that is answered by yes or no, "no" by default. Nothing if there is nobody to ask.
    [[nodiscard]] std::optional<bool> ask(const QString& question);

    /// Draws a whole screen of lines in place of the one before; behind a pipe, writes them and an empty line.
    void drawScreen(const QStringList& lines);
    /// Back from the drawn screen, whose last state is left on the usual one.
    void leaveScreen();

private:
    void writeAll(int descriptor, const QByteArray& bytes);

    int m_output;
    int m_errors;
    bool m_isTerminal;
    bool m_hasColours;
    bool m_hasProgress = false;
    QString m_shownProgress; ///< what went on last
    bool m_isDrawing = false;
    QByteArray m_screen; ///< as drawn last
};

/// A text from outside without control characters, which could rewrite the screen: each becomes a visible escape.
[[nodiscard]] QString printable(const QString& text);
