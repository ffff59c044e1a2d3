// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Configuration.h"
#include "LogInterface.h"
#include "SimulatedDevice.h"
#include "Table.h"
#include "libgpio.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <array>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Has another descriptor for standard error while it lives; -1: none.
class StandardErrorReplacement
{
public:
    explicit StandardErrorReplacement(int descriptor) : m_saved(dup(STDERR_FILENO))
    {
        close(STDERR_FILENO);
        if (descriptor >= 0) {
            dup2(descriptor, STDERR_FILENO);
        }
    }
    ~StandardErrorReplacement()
    {
        dup2(m_saved, STDERR_FILENO);
        close(m_saved);
    }

private:
    Q_DISABLE_COPY_MOVE(StandardErrorReplacement)

    int m_saved;
};

/// What a log line, written twice, comes to on standard error: one entry for each write.
/// @param isJournal whether standard error is the journal's stream
QList<QByteArray> writesOf(unsigned int level, const QByteArray& text, bool isJournal)
{
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_DIRECT | O_NONBLOCK) != 0) { // keeps writes apart: each read returns what one write wrote
        qFatal("no pipe");
    }
    {
        const StandardErrorReplacement replacement(ends[1]);
        struct stat info = {};
        fstat(STDERR_FILENO, &info);
        const QByteArray own =
            QByteArray::number(qulonglong{info.st_dev}) + ':' + QByteArray::number(qulonglong{info.st_ino});
        qputenv("JOURNAL_STREAM", isJournal ? own : "1:1"); // that is somebody else's
        LogInterface log(u"/log"_s);
        log.EmitLogString(level, text.constData(), "/a/b");
        log.EmitLogString(level, text.constData(), "/a/b");
    }

    QList<QByteArray> writes;
    std::array<char, 8192> buffer = {};
    for (ssize_t length = 0; (length = read(ends[0], buffer.data(), buffer.size())) > 0;) {
        writes.append(QByteArray(buffer.data(), length));
    }
    for (const int descriptor : ends) {
        close(descriptor);
    }
    return writes;
}

/// Both ends of something that standard error may be.
struct Channel
{
    int in = -1;  ///< for the daemon's side; -1: a closed descriptor
    int out = -1; ///< for the reader's; -1: nothing can be read there
};

Channel openChannel(const QByteArray& kind, const QString& folder)
{
    std::array<int, 2> ends = {-1, -1};
    if (kind == "pipe" && pipe2(ends.data(), O_CLOEXEC) == 0) {
        return {ends[1], ends[0]};
    }
    if (kind == "socket" && socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0) {
        return {ends[1], ends[0]};
    }
    if (kind == "terminal") {
        const int out = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (out >= 0 && grantpt(out) == 0 && unlockpt(out) == 0) {
            const int in = open(ptsname(out), O_RDWR | O_NOCTTY | O_CLOEXEC);
            termios raw = {};
            cfmakeraw(&raw);
            tcsetattr(in, TCSANOW, &raw);
            return {in, out};
        }
    }
    const QByteArray file = QFile::encodeName(folder + u"/log"_s);
    return kind == "file" ? Channel{open(file.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600),
                                    open(file.constData(), O_RDONLY | O_CLOEXEC)}
                          : Channel{open(kind.constData(), O_WRONLY | O_CLOEXEC), -1};
}

/// All that can be read there by now.
QByteArray readAll(int descriptor)
{
    QByteArray all;
    std::array<char, 8192> buffer = {};
    for (pollfd ready = {descriptor, POLLIN, 0}; poll(&ready, 1, 100) == 1;) { // a terminal hands on a little later
        const ssize_t length = read(descriptor, buffer.data(), buffer.size());
        if (length <= 0) {
            break;
        }
        all.append(buffer.data(), length);
    }
    return all;
}

QString gpioFile(const QString& name)
{
    return QStringLiteral(ZELT_GPIO_ROOT "/") + name;
}

QByteArray readFile(const QString& name)
{
    QFile file(gpioFile(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "unreadable";
}

} // namespace

/// The platform's libraries as they are on an ordinary machine.
class TstHostPlatform : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        QDir(QStringLiteral(ZELT_GPIO_ROOT)).removeRecursively();
        QVERIFY(QDir().mkpath(QStringLiteral(ZELT_GPIO_ROOT)));
    }

    void logLine_data()
    {
        const Table<unsigned int, QByteArray, bool, QByteArray> row("level", "text", "isJournal", "line");
        row("plain", 4, "[main.cpp:60] int main(int, char**): Starting Power Manager...", false,
            "4 /a/b [main.cpp:60] int main(int, char**): Starting Power Manager...\n");
        row("a forged line", 4, "x\n1 /a/b y\r\t", false, "4 /a/b x\\n1 /a/b y\\r\\t\n");
        row("other controls", 4, "\x1b[31m\x01\x7f", false, "4 /a/b \\x1b[31m\\x01\\x7f\n");
        row("other bytes", 4, "\\ \" % \xc3\xa4 \xff", false, "4 /a/b \\ \" % \xc3\xa4 \xff\n");
        row("empty", 4, "", false, "4 /a/b \n");
        row("error in the journal", 1, "x", true, "<3>1 /a/b x\n");
        row("warning in the journal", 2, "x", true, "<4>2 /a/b x\n");
        row("information in the journal", 4, "x", true, "<6>4 /a/b x\n");
        row("actuation in the journal", 5, "x", true, "<5>5 /a/b x\n");
        row("detail in the journal", 9, "x", true, "<7>9 /a/b x\n");
    }

    void logLine()
    {
        QFETCH(unsigned int, level);
        QFETCH(QByteArray, text);
        QFETCH(bool, isJournal);
        QFETCH(QByteArray, line);
        QCOMPARE(writesOf(level, text, isJournal), (QList<QByteArray>{line, line}));
    }

    void readerOfTheLogIsNeverWaitedFor_data()
    {
        const Table<QByteArray, bool> row("kind", "isLossy"); // of what can be read at all
        row("pipe", "pipe", true);
        row("pipe that waits only later", "pipe", true);
        row("pipe of another user", "pipe", true);
        row("socket, as the journal's", "socket", true);
        row("terminal", "terminal", true);
        row("file", "file", false);
        row("device that takes nothing", "/dev/full", false);
        row("closed", "", false);
        row("closed, and standard input, too", "", false);
    }

    void readerOfTheLogIsNeverWaitedFor()
    {
        QFETCH(QByteArray, kind);
        QFETCH(bool, isLossy);
        const QTemporaryDir folder;
        const Channel channel = openChannel(kind, folder.path());
        QVERIFY(kind.isEmpty() || channel.in >= 0);
        constexpr int kLines = 4000;
        QList<QByteArray> lines;
        {
            const StandardErrorReplacement replacement(channel.in);
            const QByteArrayView tag(QTest::currentDataTag());
            const int standardInput = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            if (tag.endsWith("too")) {
                close(STDIN_FILENO);
            }
            // Such a pipe can't be opened anew; the superuser can open all.
            const uid_t user = geteuid();
            QVERIFY(user != 0 || !tag.endsWith("user") || seteuid(65534) == 0);
            const int flags = fcntl(STDERR_FILENO, F_GETFL);
            // Who shares the open file may set its flags at any time.
            const bool isLater = tag.endsWith("later");
            if (isLater) {
                fcntl(STDERR_FILENO, F_SETFL, flags | O_NONBLOCK);
            }
            LogInterface log(u"/log"_s);
            if (isLater) {
                fcntl(STDERR_FILENO, F_SETFL, flags);
            }
            QVERIFY(user != 0 || seteuid(user) == 0);
            QTemporaryFile other; // must not get the number of a closed standard error
            QVERIFY(other.open());

            for (int i = 0; i < kLines; ++i) {
                log.EmitLogString(4, QByteArray::number(i).rightJustified(100, '.').constData(), "/a/b");
            }
            QByteArray received = readAll(channel.out);
            log.EmitLogString(5, "last", "/a/c");
            received += readAll(channel.out);

            QVERIFY(kind.isEmpty() || fcntl(STDERR_FILENO, F_GETFL) == flags);
            QCOMPARE(other.size(), 0);
            if (kind == "socket") {
                (void)shutdown(channel.out, SHUT_RDWR);
                log.EmitLogString(4, "to a reader that has gone", "/a/b"); // must not end the process
            }
            dup2(standardInput, STDIN_FILENO);
            close(standardInput);
            lines = received.split('\n');
        }
        close(channel.in);
        close(channel.out);

        QCOMPARE(lines.takeLast(), QByteArray()); // no line in part
        if (channel.out < 0) {
            QCOMPARE(lines, QList<QByteArray>());
            return;
        }
        QCOMPARE(lines.takeLast(), QByteArray("5 /a/c last"));
        QCOMPARE(lines.size() > kLines / 100 && lines.size() < kLines, isLossy);
        // A terminal may make room in between, so that there is a note for each gap.
        static const QRegularExpression kNote(
            u"^2 /a/[bc] \\[LogInterface\\.cpp:\\d+\\] void LogInterface::EmitLogString\\(.*\\): Log lines lost: (\\d+)$"_s);
        int next = 0;
        for (const QByteArray& line : std::as_const(lines)) {
            const QRegularExpressionMatch note = kNote.match(QString::fromLatin1(line));
            if (note.hasMatch()) {
                next += note.captured(1).toInt();
            } else {
                QCOMPARE(line, "4 /a/b " + QByteArray::number(next++).rightJustified(100, '.'));
            }
        }
        QCOMPARE(next, kLines);
    }

    void configuration()
    {
        Timeline timeline;
        SimulatedDevice device(timeline);
        QCOMPARE(device.run(u"config SOUND masterVolume -12.5\nconfig SOUND name loud\nconfig SOUND odd nan"_s),
                 QString());
        const Configuration store(u"/me"_s);
        QVERIFY(store.isValid());
        bool found = false;

        for (const auto& [key, number] : {std::pair{u"masterVolume"_s, -12.5}, std::pair{u"name"_s, 1.0},
                                          std::pair{u"odd"_s, 1.0}, std::pair{u"missing"_s, 1.0}}) {
            QCOMPARE(store.ReadConfigValue(u"SOUND"_s, key, 1.0, &found, true), number);
            QCOMPARE(found, number < 0);
        }
        QCOMPARE(store.ReadConfigValue(u"SOUND"_s, u"name"_s, u"none"_s, &found, true), u"loud"_s);
        QVERIFY(found);
        QCOMPARE(store.ReadConfigValue(u"SOUND"_s, u"missing"_s, u"none"_s, &found, true), u"none"_s);
        QVERIFY(!found);

        QVERIFY(store.WriteConfigValue(u"SOUND"_s, u"name"_s, u"quiet"_s, false));
        QVERIFY(store.Save() && store.Freeze());
        QVERIFY(!store.WriteConfigValue(u"SOUND"_s, u"name"_s, u"frozen"_s, false));
        QCOMPARE(store.ReadConfigValue(u"SOUND"_s, u"name"_s, QString(), nullptr, true), u"quiet"_s);
        QCOMPARE(device.run(u"fail configmanager.Save error\nfail configmanager.Freeze error"_s), QString());
        QVERIFY(!store.Save() && !store.Freeze());
    }

    void unreadableStoreIsNotWritten_data()
    {
        const Table<QString> row("fault");
        row("error", u"error"_s);
        row("no text", u"few"_s);
        row("wrong types", u"types"_s);
    }

    void unreadableStoreIsNotWritten()
    {
        QFETCH(QString, fault);
        Timeline timeline;
        SimulatedDevice device(timeline);
        QCOMPARE(device.run(u"config G k v\nfail configmanager.GetStringValue "_s + fault), QString());
        const Configuration store(u"/me"_s);
        bool found = true;

        QCOMPARE(store.ReadConfigValue(u"G"_s, u"k"_s, u"none"_s, &found, true), u"none"_s);

        QVERIFY(!found);
        QCOMPARE(device.run(u"repair all"_s), QString());
        QVERIFY(!store.WriteConfigValue(u"G"_s, u"k"_s, u"lost"_s, false) && !store.Save());
        QVERIFY(store.Freeze());
        QCOMPARE(device.run(u"expect no call configmanager.SetStringValue\nexpect config G k v"_s), QString());
    }

    void gpioIsWrittenInPlace()
    {
        writeFile(gpioFile(u"gpio24/value"_s), "0\n");

        QCOMPARE(LIBGPIO_set_enabled(24, 7), 0);
        QCOMPARE(readFile(u"gpio24/value"_s), QByteArray("1\n"));
        QCOMPARE(LIBGPIO_set_enabled(24, 0), 0);
        QCOMPARE(readFile(u"gpio24/value"_s), QByteArray("0\n"));
    }

    void gpioIsRead_data()
    {
        const Table<QByteArray, int, int> row("content", "status", "value");
        row("low", "0\n", 0, 0);
        row("high", "1", 0, 1);
        row("neither", "2\n", 0, 2);
        row("empty", "", -EINVAL, 42);
        row("text", "high\n", -EINVAL, 42);
        row("number and text", "1x\n", -EINVAL, 42);
    }

    void gpioIsRead()
    {
        QFETCH(QByteArray, content);
        writeFile(gpioFile(u"gpio134/value"_s), content);
        int value = 42;

        QTEST(LIBGPIO_get_enabled(134, &value), "status");
        QTEST(value, "value");
    }

    void missingGpioIsExported()
    {
        int value = 42;
        QCOMPARE(LIBGPIO_get_enabled(134, &value), -ENOENT);

        writeFile(gpioFile(u"export"_s), "");
        QCOMPARE(LIBGPIO_set_enabled(24, 1), -ENOENT); // nobody makes the folder here
        QCOMPARE(readFile(u"export"_s), QByteArray("24"));
        writeFile(gpioFile(u"export"_s), "");
        int level = 0;
        QCOMPARE(LIBGPIO_get_enabled(25, &level), -ENOENT);
        QCOMPARE(readFile(u"export"_s), QByteArray("25"));
        QCOMPARE(value, 42);
    }

    void oddGpioFilesNeitherBlockNorThrow()
    {
        int value = 0;
        QVERIFY(QDir().mkpath(gpioFile(u"gpio1/value"_s)));
        QCOMPARE(LIBGPIO_get_enabled(1, &value), -EISDIR);
        QVERIFY(QDir().mkpath(gpioFile(u"gpio2"_s)));
        QCOMPARE(mkfifo(qPrintable(gpioFile(u"gpio2/value"_s)), 0600), 0);
        QCOMPARE(LIBGPIO_set_enabled(2, 1), -ENXIO);
        QVERIFY(QDir().mkpath(gpioFile(u"gpio3"_s)));
        QVERIFY(QFile::link(u"/dev/full"_s, gpioFile(u"gpio3/value"_s)));
        QCOMPARE(LIBGPIO_set_enabled(3, 1), -ENOSPC);
        QCOMPARE(LIBGPIO_get_enabled(-1, &value), -EINVAL);
        QCOMPARE(LIBGPIO_set_enabled(-1, 1), -EINVAL);
        QCOMPARE(LIBGPIO_get_enabled(1, nullptr), -EINVAL);
    }
};

QTEST_GUILESS_MAIN(TstHostPlatform)
#include "tst_hostplatform.moc"
