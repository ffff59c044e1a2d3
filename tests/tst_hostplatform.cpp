// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Configuration.h"
#include "LogInterface.h"
#include "SimulatedDevice.h"
#include "libgpio.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Standard error as a pipe that keeps writes apart: each read returns what one write wrote.
class CapturedStandardError
{
public:
    CapturedStandardError() : m_saved(dup(STDERR_FILENO))
    {
        if (pipe2(m_pipe.data(), O_DIRECT | O_NONBLOCK) != 0) {
            qFatal("no pipe");
        }
        dup2(m_pipe[1], STDERR_FILENO);
    }
    ~CapturedStandardError()
    {
        dup2(m_saved, STDERR_FILENO);
        for (const int descriptor : {m_saved, m_pipe[0], m_pipe[1]}) {
            close(descriptor);
        }
    }
    Q_DISABLE_COPY_MOVE(CapturedStandardError)

    QByteArray readOneWrite() const
    {
        std::array<char, 8192> buffer = {};
        const ssize_t length = read(m_pipe[0], buffer.data(), buffer.size());
        return {buffer.data(), std::max<qsizetype>(0, length)};
    }

private:
    int m_saved;
    std::array<int, 2> m_pipe = {};
};

QByteArray journalStream()
{
    struct stat info = {};
    fstat(STDERR_FILENO, &info);
    return QByteArray::number(qulonglong{info.st_dev}) + ':' + QByteArray::number(qulonglong{info.st_ino});
}

QString gpioFile(const QString& name)
{
    return QStringLiteral(ZELT_GPIO_ROOT "/") + name;
}

bool writeFile(const QString& name, const QByteArray& content)
{
    QFile file(gpioFile(name));
    return QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly) &&
           file.write(content) == content.size();
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
        qunsetenv("JOURNAL_STREAM");
    }

    void logLine_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("plain") << QByteArray("[main.cpp:60] int main(int, char**): Starting Power Manager...")
                               << QByteArray("4 /a/b [main.cpp:60] int main(int, char**): Starting Power Manager...\n");
        QTest::newRow("a forged line") << QByteArray("x\n1 /a/b y\r\t") << QByteArray("4 /a/b x\\n1 /a/b y\\r\\t\n");
        QTest::newRow("other controls") << QByteArray("\x1b[31m\x01\x7f") << QByteArray("4 /a/b \\x1b[31m\\x01\\x7f\n");
        QTest::newRow("other bytes") << QByteArray("\\ \" % \xc3\xa4 \xff")
                                     << QByteArray("4 /a/b \\ \" % \xc3\xa4 \xff\n");
        QTest::newRow("empty") << QByteArray("") << QByteArray("4 /a/b \n");
    }

    void logLine()
    {
        QFETCH(QByteArray, text);
        const CapturedStandardError standardError;

        LogInterface(u"/log"_s).EmitLogString(4, text.constData(), "/a/b");

        QTEST(standardError.readOneWrite(), "line");
        QCOMPARE(standardError.readOneWrite(), QByteArray());
    }

    void journalGetsThePriority()
    {
        const CapturedStandardError standardError;
        qputenv("JOURNAL_STREAM", journalStream());
        LogInterface journal(u"/log"_s);
        qputenv("JOURNAL_STREAM", "1:1"); // somebody else's
        LogInterface other(u"/log"_s);

        const std::array<std::pair<unsigned int, const char*>, 5> expected{
            {{1, "<3>1 / x\n"}, {2, "<4>2 / x\n"}, {4, "<6>4 / x\n"}, {5, "<5>5 / x\n"}, {9, "<7>9 / x\n"}}};
        for (const auto& [level, line] : expected) {
            journal.EmitLogString(level, "x", "/");
            QCOMPARE(standardError.readOneWrite(), QByteArray(line));
        }
        other.EmitLogString(1, "x", "/");
        QCOMPARE(standardError.readOneWrite(), QByteArray("1 / x\n"));
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

        QCOMPARE(store.ReadConfigValue(u"SOUND"_s, u"masterVolume"_s, 1.0, &found, true), -12.5);
        QVERIFY(found);
        for (const QString& key : {u"name"_s, u"odd"_s, u"missing"_s}) {
            QCOMPARE(store.ReadConfigValue(u"SOUND"_s, key, 1.0, &found, true), 1.0);
            QVERIFY(!found);
        }
        QCOMPARE(store.ReadConfigValue(u"SOUND"_s, u"name"_s, u"none"_s, &found, true), u"loud"_s);
        QVERIFY(found);
        QCOMPARE(store.ReadConfigValue(u"SOUND"_s, u"missing"_s, u"none"_s, &found, true), u"none"_s);
        QVERIFY(!found);

        QVERIFY(store.WriteConfigValue(u"SOUND"_s, u"name"_s, u"quiet"_s, false));
        QVERIFY(store.Save());
        QVERIFY(store.Freeze());
        QVERIFY(!store.WriteConfigValue(u"SOUND"_s, u"name"_s, u"frozen"_s, false));
        QCOMPARE(store.ReadConfigValue(u"SOUND"_s, u"name"_s, QString(), nullptr, true), u"quiet"_s);
        QCOMPARE(device.run(u"expect call configmanager.Save\nexpect call configmanager.Freeze"_s), QString());
    }

    void configurationFaults_data()
    {
        QTest::addColumn<QString>("fault");
        for (const char* fault : {"error", "status -1", "few", "types", "dies"}) {
            QTest::newRow(fault) << QString::fromLatin1(fault);
        }
    }

    void configurationFaults()
    {
        QFETCH(QString, fault);
        Timeline timeline;
        SimulatedDevice device(timeline);
        QCOMPARE(device.run(
                     u"config A b 5\nfail configmanager.GetStringValue %1\nfail configmanager.SetStringValue %1"_s.arg(
                         fault)),
                 QString());
        const Configuration store(u"/me"_s);
        bool found = true;

        QCOMPARE(store.ReadConfigValue(u"A"_s, u"b"_s, u"none"_s, &found, true), u"none"_s);
        QVERIFY(!found);
        QVERIFY(!store.WriteConfigValue(u"A"_s, u"b"_s, u"6"_s, false));
    }

    void deadConfigurationStoreHoldsForFiveSeconds()
    {
        Timeline timeline;
        SimulatedDevice device(timeline);
        QCOMPARE(device.run(u"fail configmanager.Save mute"_s), QString());
        const Configuration store(u"/me"_s);
        QElapsedTimer clock;
        clock.start();

        QVERIFY(!store.Save());

        QVERIFY2(clock.elapsed() > 4000 && clock.elapsed() < 8000, qPrintable(QString::number(clock.elapsed())));
    }

    void missingConfigurationStoreIsUnusable()
    {
        Timeline timeline;
        const SimulatedDevice device(timeline, {u"configmanager"_s});
        QVERIFY(!Configuration(u"/me"_s).isValid());
    }

    void gpioIsWrittenInPlace()
    {
        QVERIFY(writeFile(u"gpio24/value"_s, "0\n"));

        QCOMPARE(LIBGPIO_set_enabled(24, 7), 0);
        QCOMPARE(readFile(u"gpio24/value"_s), QByteArray("1\n"));
        QCOMPARE(LIBGPIO_set_enabled(24, 0), 0);
        QCOMPARE(readFile(u"gpio24/value"_s), QByteArray("0\n"));
    }

    void gpioIsRead_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("value");
        QTest::newRow("low") << QByteArray("0\n") << 0 << 0;
        QTest::newRow("high") << QByteArray("1") << 0 << 1;
        QTest::newRow("neither") << QByteArray("2\n") << 0 << 2;
        QTest::newRow("empty") << QByteArray("") << -EINVAL << 42;
        QTest::newRow("text") << QByteArray("high\n") << -EINVAL << 42;
        QTest::newRow("number and text") << QByteArray("1x\n") << -EINVAL << 42;
    }

    void gpioIsRead()
    {
        QFETCH(QByteArray, content);
        QVERIFY(writeFile(u"gpio134/value"_s, content));
        int value = 42;

        QTEST(LIBGPIO_get_enabled(134, &value), "status");
        QTEST(value, "value");
    }

    void missingGpioIsExported()
    {
        int value = 42;
        QCOMPARE(LIBGPIO_get_enabled(134, &value), -ENOENT);

        QVERIFY(writeFile(u"export"_s, ""));
        QCOMPARE(LIBGPIO_set_enabled(24, 1), -ENOENT); // nobody makes the folder here
        QCOMPARE(readFile(u"export"_s), QByteArray("24"));
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
        QCOMPARE(LIBGPIO_get_enabled(-1, &value), -EINVAL);
        QCOMPARE(LIBGPIO_set_enabled(-1, 1), -EINVAL);
        QCOMPARE(LIBGPIO_get_enabled(1, nullptr), -EINVAL);
    }
};

QTEST_GUILESS_MAIN(TstHostPlatform)
#include "tst_hostplatform.moc"
