// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "AccessRules.h"
#include "Fuzzing.h"
#include "PageRequests.h"

#include <QCoreApplication>
#include <QJsonDocument>

#include <memory>

namespace {

Session* session = nullptr;
RowLog* rows = nullptr;
DeviceHistory* history = nullptr;

/// The head of a request: a line with method and path, then its headers.
RequestHead headOf(const QList<QByteArray>& lines)
{
    RequestHead head;
    head.method = lines.value(0).split(' ').value(0);
    head.path = lines.value(0).split(' ').value(1);
    const qsizetype token = head.path.indexOf("?token=");
    if (token >= 0) {
        head.token = head.path.mid(token + 7);
        head.path.truncate(token);
    }
    for (const QByteArray& line : lines) {
        const QByteArray value = line.mid(line.indexOf(':') + 1).trimmed();
        if (line.startsWith("Host:")) {
            head.hosts.append(value);
        } else if (line.startsWith("Origin:")) {
            head.origins.append(value);
        } else if (line.startsWith("Cookie:")) {
            head.cookies.append(value);
        }
        head.hasBody = head.hasBody || line.startsWith("Content-Length:");
    }
    return head;
}

} // namespace

int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzzing::silenceLog();
    new QCoreApplication(*argc, *argv);
    auto* timeline = new Timeline;
    // Never started: its lines are checked and wait.
    session = new Session(*timeline, {{}, {}, {}, {}});
    rows = new RowLog(*timeline);
    history = new DeviceHistory(*session);
    timeline->note(QStringLiteral("a row"));
    return 0;
}

/// The input is the head of a request and, behind an empty line, the frames that a tab sends, a line each.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray input = fuzzing::bytes(data, size);
    const qsizetype end = input.indexOf("\n\n");
    const QByteArray head = input.left(end < 0 ? input.size() : end);

    const auto refusal = AccessRules(4000, "9f86d081").check(headOf(head.split('\n')));
    fuzzing::require(refusal || head.contains("zelt-4000=9f86d081"), "nobody gets in without the token");
    fuzzing::require(!refusal || !refusal->isEntry || head.contains("?token=9f86d081"), "nor gets the cookie");

    const ScenarioFolder scenarios{QString()};
    PageRequests requests({*session, *rows, *history, scenarios});
    qsizetype answers = 0;
    QObject::connect(&requests, &PageRequests::answered, &requests, [&answers](const QByteArray& frame) {
        fuzzing::require(QJsonDocument::fromJson(frame).isObject(), "each answer is an object");
        ++answers;
    });
    const QList<QByteArray> frames = end < 0 ? QList<QByteArray>() : input.mid(end + 2).split('\n');
    for (const QByteArray& frame : frames) {
        const qsizetype before = answers;
        requests.take(frame);
        const QJsonObject request = QJsonDocument::fromJson(frame).object();
        // Good lines are answered when they have been carried out.
        const bool isLater = request.value(u"run").isString() || request.value(u"from").isDouble();
        fuzzing::require(answers > before || isLater, "each frame is answered");
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}
