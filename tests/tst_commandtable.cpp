// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandTable.h"
#include "Completions.h"
#include "HelpText.h"
#include "ManualPage.h"
#include "Table.h"

#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace {

QString readFile(const QString& path)
{
    QFile file(QStringLiteral(SOURCE_FOLDER "/") + path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : u"can't read "_s + path;
}

} // namespace

/// What is made from the table of zelt-power's commands.
class TstCommandTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void committedFilesAreTheTables_data()
    {
        const QList<CommandDescription> commands = CommandTable().descriptions();
        const Table<QString, QString> row("file", "content");
        row("bash", u"packaging/completions/zelt-power"_s, completions::bash(commands));
        row("zsh", u"packaging/completions/_zelt-power"_s, completions::zsh(commands));
        row("fish", u"packaging/completions/zelt-power.fish"_s, completions::fish(commands));
        row("manual page", u"packaging/man/zelt-power.1.scd"_s, manualPage(commands));
    }

    /// scripts/client-files renews them.
    void committedFilesAreTheTables()
    {
        QFETCH(QString, file);
        QFETCH(QString, content);

        QCOMPARE(readFile(file), content);
    }

    void helpOfEveryCommand()
    {
        for (const CommandDescription& command : CommandTable().descriptions()) {
            const QStringList lines = helptext::command(command, 80);

            QCOMPARE(lines.first(), u"Usage: "_s + command.usage());
            QVERIFY2(!command.examples.isEmpty() && !command.statuses.isEmpty(), qPrintable(command.name));
        }
    }
};

QTEST_GUILESS_MAIN(TstCommandTable)
#include "tst_commandtable.moc"
