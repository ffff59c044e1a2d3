// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "InputFile.h"

#include "ShownText.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

std::optional<QByteArray> readInputFile(const QString& path, QString* fault)
{
    constexpr qint64 kMaxSize = 64LL * 1024 * 1024; // as the daemon has it for zone files
    QFile file(path);
    const QFileInfo info(path);
    if (info.exists() && !info.isFile()) {
        *fault = u"%1: found something else than a file; expected a file"_s.arg(shown(path));
    } else if (info.size() > kMaxSize) {
        *fault = u"%1: found %2 bytes; expected at most %3"_s.arg(shown(path), QString::number(info.size()),
                                                                  QString::number(kMaxSize));
    } else if (!file.open(QIODevice::ReadOnly)) {
        *fault = u"%1: %2"_s.arg(shown(path), file.errorString());
    } else {
        return file.read(kMaxSize);
    }
    return std::nullopt;
}
