// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ArbitraryServices.h"
#include "DeviceFiles.h"
#include "Fuzzing.h"
#include "MessageValues.h"
#include "Names.h"
#include "PowerManager.h"
#include "PowerManagerAdaptor.h"
#include "PrivateBus.h"
#include "Tokens.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QEventLoop>

#include <algorithm>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace {

/// More lines would only cost time.
constexpr qsizetype kMostLines = 24;

Catalogue* catalogue = nullptr;
ArbitraryServices* services = nullptr;

/// Something that happens as time passes.
struct Elapsed
{
    const char* name;
    const char* className;
    const char* member;
};

constexpr Elapsed kElapsed[] = {
    {"soft", "FactoryRestoreManager", "SoftResetTimer_Elapsed"},
    {"hard", "FactoryRestoreManager", "HardResetTimer_Elapsed"},
    {"sleep", "SleepManager", "onSleepTimeout"},
    {"high", "LoadMonitor", "highCpuLoad"},
    {"low", "LoadMonitor", "lowCpuLoad"},
};

/// The daemon's object, served on the bus.
class ServedManager
{
public:
    ServedManager()
    {
        fuzzing::require(m_manager.init(), "the daemon starts whatever the services answer");
        fuzzing::require(QDBusConnection::sessionBus().registerObject(QLatin1StringView(kObjectPath), &m_manager,
                                                                      QDBusConnection::ExportAdaptors),
                         "the object can be served");
    }

    ~ServedManager()
    {
        QDBusConnection::sessionBus().unregisterObject(QLatin1StringView(kObjectPath));
    }

    Q_DISABLE_COPY_MOVE(ServedManager)

    void elapse(const QString& name)
    {
        const auto* elapsed = std::find_if(std::begin(kElapsed), std::end(kElapsed),
                                           [&name](const Elapsed& row) { return name == QLatin1StringView(row.name); });
        if (elapsed == std::end(kElapsed)) {
            return;
        }
        const QObjectList children = m_manager.children();
        const auto child = std::find_if(children.begin(), children.end(),
                                        [elapsed](const QObject* each) { return each->inherits(elapsed->className); });
        fuzzing::require(child != children.end() && QMetaObject::invokeMethod(*child, elapsed->member),
                         "what time brings about has its slot");
    }

private:
    PowerManager m_manager{kObjectPath};
    PowerManagerAdaptor m_adaptor{&m_manager};
};

/// Calls the daemon and lets it work until it has answered.
void callDaemon(const QString& interface, const QString& method, const QVariantList& values)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1StringView(kServiceName), QLatin1StringView(kObjectPath),
                                                       interface, method);
    call.setArguments(values);
    const QDBusPendingCallWatcher watcher(services->connection().asyncCall(call));
    QEventLoop loop;
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    if (!watcher.isFinished()) {
        loop.exec();
    }
    const bool isLost = watcher.isError() && watcher.error().type() == QDBusError::NoReply;
    fuzzing::require(!isLost, "every call is answered");
}

void callMethod(const QStringList& words)
{
    const QString name = words.value(0);
    const InterfaceDescription& daemon = catalogue->powerDaemon();
    const MemberDescription* method = daemon.findMethod(name);
    callDaemon(method != nullptr ? daemon.interfaceName : name.section(u'.', 0, -2), name.section(u'.', -1),
               messageValues(method != nullptr ? method->in : QList<ArgumentDescription>(), words.mid(1)));
}

void sendSignal(const QStringList& words)
{
    const QString name = words.value(0);
    const InterfaceDescription* service = catalogue->findService(name.section(u'.', 0, 0));
    const MemberDescription* signal = service != nullptr ? service->findSignal(name.section(u'.', 1)) : nullptr;
    if (signal == nullptr) {
        return;
    }
    QDBusMessage message = QDBusMessage::createSignal(service->objectPath, service->interfaceName, signal->name);
    message.setArguments(messageValues(signal->out, words.mid(1)));
    (void)services->connection().send(message); // fails if a value is none of D-Bus
    // This call is answered after the signal was handled.
    callDaemon(catalogue->powerDaemon().interfaceName, u"CurrentPowerZone"_s, {});
}

} // namespace

int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzzing::silenceLog();
    new QCoreApplication(*argc, *argv);
    QString error;
    if (!(new PrivateBus)->startAsSessionBus(&error)) {
        qFatal("%s", qPrintable(error));
    }
    catalogue = new Catalogue;
    services = new ArbitraryServices(*catalogue);
    const DeviceFiles files(QStringLiteral(ZELT_ROOT));
    if (!files.prepare(&error) || !files.installScript(u"clear_data"_s, u"missing"_s, &error)) {
        qFatal("%s", qPrintable(error));
    }
    fuzzing::require(QDBusConnection::sessionBus().registerService(QLatin1StringView(kServiceName)),
                     "the daemon's name is free");
    return 0;
}

/// The input is what happens to a daemon that starts, one event a line; see messageValues() for values.
///
///     call METHOD VALUE...            a client calls one of its methods, or INTERFACE.METHOD
///     signal SERVICE.SIGNAL VALUE...  a service sends a signal
///     answer VALUE...                 the answer to the daemon's next call that has none yet
///     fail TEXT                       likewise, but an error
///     time NAME                       a countdown is over (soft, hard, sleep), the CPU load is high or low
///
/// Answers at the beginning are for the calls that the daemon makes at its start.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QStringList lines = QString::fromUtf8(fuzzing::bytes(data, size)).split(u'\n');
    std::optional<ServedManager> manager;
    for (const QString& line : lines.mid(0, kMostLines)) {
        std::optional<LineError> error;
        QStringList words;
        for (const Token& token : tokenize(line, &error)) {
            words.append(token.text);
        }
        const QString verb = words.value(0);
        words = words.mid(1);
        if (verb == u"answer" || verb == u"fail") {
            services->addAnswer({verb == u"fail", words});
            continue;
        }
        if (!manager) {
            manager.emplace();
        }
        if (verb == u"call") {
            callMethod(words);
        } else if (verb == u"signal") {
            sendSignal(words);
        } else if (verb == u"time") {
            manager->elapse(words.value(0));
        }
    }
    manager.reset();
    services->finish();
    return 0;
}
