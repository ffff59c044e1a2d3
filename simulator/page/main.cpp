// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PageServer.h"
#include "ProgramMain.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>

using namespace Qt::Literals::StringLiterals;

namespace {

QString scenarioFolder(const QCommandLineParser& options)
{
    const QString installed = QCoreApplication::applicationDirPath() + QStringLiteral("/" SCENARIO_FOLDER);
    if (options.isSet(u"scenarios"_s)) {
        return options.value(u"scenarios"_s);
    }
    return QDir(installed).exists() ? QDir(installed).canonicalPath() : QString();
}

std::unique_ptr<QObject> makePage(Session& session, const QCommandLineParser& options, QString* announcement,
                                  QString* error)
{
    PageServer::Settings settings;
    settings.port = options.value(u"port"_s).toUShort();
    settings.scenarioFolder = scenarioFolder(options);
    settings.version = QCoreApplication::applicationVersion();
    auto page = std::make_unique<PageServer>(session, settings);
    if (!page->start(error)) {
        return nullptr;
    }
    *announcement = u"page: "_s + page->address();
    return page;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(argc, argv, &makePage);
}
