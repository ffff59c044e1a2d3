// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Terminal.h"

#include "ExitStatus.h"

#include <QByteArray>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kDefaultWidth = 80;
constexpr int kDefaultHeight = 24;

constexpr char kEraseLine[] = "\r\x1b[K";
/// The other screen of the terminal, without a cursor, its lines cut at the edge; and back.
constexpr char kEnterScreen[] = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr char kLeaveScreen[] = "\x1b[?7h\x1b[?25h\x1b[?1049l";

// What a signal has to write, and where to. Set before the terminal is changed, cleared after it is restored.
volatile sig_atomic_t restoreDescriptor = -1;
const char* volatile restoreText = nullptr;
volatile sig_atomic_t restoreLength = 0;

/// Puts the terminal in order and ends as the signal ends a program.
void restoreAndEnd(int signalNumber)
{
    if (restoreDescriptor >= 0) {
        (void)!::write(restoreDescriptor, restoreText, static_cast<size_t>(restoreLength));
    }
    (void)::raise(signalNumber); // the handler is gone: SA_RESETHAND
}

template <size_t Size>
void restoreBy(int descriptor, const char (&text)[Size])
{
    restoreText = text;
    restoreLength = Size - 1;
    restoreDescriptor = descriptor;
}

int dimension(int descriptor, bool isWidth, int fallback)
{
    winsize size = {};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0) {
        return fallback;
    }
    const int value = isWidth ? size.ws_col : size.ws_row;
    return value > 0 ? value : fallback;
}

} // namespace

Terminal::Terminal(int output, int errors)
    : m_output(output),
      m_errors(errors),
      m_isTerminal(::isatty(output) == 1),
      m_hasColours(m_isTerminal && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb")
{
    struct sigaction action = {};
    action.sa_handler = &restoreAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        ::sigaction(number, &action, nullptr);
    }
}

Terminal::~Terminal()
{
    clearProgress();
    leaveScreen();
}

bool Terminal::isTerminal() const
{
    return m_isTerminal;
}

bool Terminal::hasColours() const
{
    return m_hasColours;
}

int Terminal::width() const
{
    return dimension(m_output, true, kDefaultWidth);
}

int Terminal::height() const
{
    return dimension(m_output, false, kDefaultHeight);
}

QString Terminal::styled(const QString& text, Style style) const
{
    if (!m_hasColours || style == Style::Plain || text.isEmpty()) {
        return text;
    }
    const QLatin1StringView code = style == Style::Strong   ? "1"_L1
                                   : style == Style::Dim    ? "2"_L1
                                   : style == Style::Good   ? "32"_L1
                                   : style == Style::Notice ? "33"_L1
                                                            : "31"_L1;
    return u"\x1b["_s + code + u'm' + text + u"\x1b[0m"_s;
}

void Terminal::print(const QString& line)
{
    clearProgress();
    writeAll(m_output, line.toUtf8() + '\n');
}

void Terminal::write(const QByteArray& text)
{
    clearProgress();
    writeAll(m_output, text);
}

void Terminal::complain(const QString& text)
{
    clearProgress();
    writeAll(m_errors, "zelt-power: " + text.toUtf8() + '\n');
}

void Terminal::showProgress(const QString& time, const QString& what)
{
    const QString text = time + u": "_s + what;
    if (::isatty(m_errors) == 1) {
        restoreBy(m_errors, kEraseLine);
        m_hasProgress = true;
        const int columns = dimension(m_errors, true, kDefaultWidth);
        writeAll(m_errors, kEraseLine + text.left(columns - 1).toUtf8());
    } else if (what != m_shownProgress) {
        writeAll(m_errors, text.toUtf8() + '\n');
    }
    m_shownProgress = what;
}

void Terminal::clearProgress()
{
    if (m_hasProgress) {
        writeAll(m_errors, kEraseLine);
        m_hasProgress = false;
        restoreDescriptor = -1;
    }
}

std::optional<bool> Terminal::ask(const QString& question)
{
    if (::isatty(STDIN_FILENO) != 1 || ::isatty(m_errors) != 1) {
        return std::nullopt;
    }
    clearProgress();
    writeAll(m_errors, question.toUtf8() + " [y/N] ");
    QByteArray answer;
    char letter = 0;
    while (::read(STDIN_FILENO, &letter, 1) == 1 && letter != '\n') {
        answer += letter;
    }
    const QByteArray word = answer.trimmed().toLower();
    return word == "y" || word == "yes";
}

void Terminal::drawScreen(const QStringList& lines)
{
    if (!m_isTerminal) {
        writeAll(m_output, lines.join(u'\n').toUtf8() + "\n\n");
        return;
    }
    QByteArray screen;
    if (!m_isDrawing) {
        restoreBy(m_output, kLeaveScreen);
        m_isDrawing = true;
        screen += kEnterScreen;
    }
    // What does not fit is left out: a screen that scrolls flickers.
    m_screen = lines.mid(0, height()).join(u"\x1b[K\r\n"_s).toUtf8() + "\x1b[K";
    writeAll(m_output, screen + "\x1b[H" + m_screen + "\x1b[J");
}

void Terminal::leaveScreen()
{
    if (m_isDrawing) {
        m_isDrawing = false;
        writeAll(m_output, kLeaveScreen + m_screen + '\n');
        restoreDescriptor = -1;
    }
}

void Terminal::writeAll(int descriptor, const QByteArray& bytes)
{
    const char* next = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(descriptor, next, static_cast<size_t>(left));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            if (errno == EPIPE) {
                // The bus library ignores this signal for the whole process.
                ::signal(SIGPIPE, SIG_DFL);
                (void)::raise(SIGPIPE);
            }
            const QByteArray reason = QByteArray("zelt-power: can't write the output: ") + std::strerror(errno) + '\n';
            (void)!::write(m_errors, reason.constData(), static_cast<size_t>(reason.size()));
            std::_Exit(static_cast<int>(ExitStatus::Refused));
        }
        next += written;
        left -= written;
    }
}

QString printable(const QString& text)
{
    QString safe;
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (code < 0x20 || (code >= 0x7f && code < 0xa0)) {
            safe += code == '\n' ? u"\\n"_s : u"\\x%1"_s.arg(code, 2, 16, QLatin1Char('0'));
        } else {
            safe += character;
        }
    }
    return safe;
}
