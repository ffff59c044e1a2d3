// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionManager.h"
#include "ArbitraryServices.h"
#include "DeviceFiles.h"
#include "EventMonitor.h"
#include "FactoryRestoreManager.h"
#include "Fuzzing.h"
#include "MessageValues.h"
#include "Names.h"
#include "PowerManager.h"
#include "PowerManagerAdaptor.h"
#include "PrivateBus.h"
#include "Tokens.h"

#include <QCoreApplication>
#include <QDBusAbstractInterface>
#include <QDBusConnection>
#include <QMetaMethod>
#include <QVarLengthArray>

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

/// Emits a client's signal, with values of exactly its types.
void emitSignal(QObject* client, const QMetaMethod& signal, QVariantList& values)
{
    QVarLengthArray<void*, 64> arguments{nullptr}; // no result
    for (int i = 0; i < signal.parameterCount(); ++i) {
        if (values.value(i).metaType() != signal.parameterMetaType(i)) {
            return; // Qt drops such a message before the client sees it
        }
        arguments.append(values[i].data());
    }
    client->qt_metacall(QMetaObject::InvokeMetaMethod, signal.methodIndex(), arguments.data());
}

/// The daemon's object, served on the bus. There is one for all inputs: its clients' watches on the bus take far longer
/// to set up than an input takes. What it keeps from one input to the next is only the state of light and RGB LEDs that
/// it saved, and the times of the sleep window.
class ServedManager
{
public:
    ServedManager()
    {
        fuzzing::require(m_manager.init(), "the daemon starts whatever the services answer");
        fuzzing::require(QDBusConnection::sessionBus().registerObject(QLatin1StringView(kObjectPath), &m_manager,
                                                                      QDBusConnection::ExportAdaptors),
                         "the object can be served");
        m_adaptor.blockSignals(true); // nobody listens: the bus would only discard them
    }

    Q_DISABLE_COPY_MOVE(ServedManager)

    /// Makes the calls of a start, in a state as after one.
    void restart()
    {
        delete m_manager.findChild<FactoryRestoreManager*>(); // after a hard reset, it waits for the end of the process
        auto* resets = new FactoryRestoreManager(&m_manager);
        QObject::connect(m_manager.findChild<EventMonitor*>(), &EventMonitor::event, resets,
                         &FactoryRestoreManager::OnEvent);
        QObject::connect(resets, &FactoryRestoreManager::ResetCompleted, &m_manager, &PowerManager::PostRestoreReboot);
        m_manager.SetAutoscalingEnabled(false);
        m_manager.SetSleepEnabled(false, {}, {});
        m_manager.SetActionsEnabled(false);
        m_manager.findChild<ActionManager*>()->reload();
        m_manager.SetActionsEnabled(true);
        updateFiles();
    }

    /// What Qt does with a service's signal that arrives for the daemon's clients.
    void receive(const InterfaceDescription& service, const MemberDescription& signal, QVariantList values)
    {
        const auto clients = m_manager.findChildren<QDBusAbstractInterface*>();
        for (QDBusAbstractInterface* client : clients) {
            const QMetaObject* type = client->metaObject();
            for (int i = type->methodOffset(); client->service() == service.busName && i < type->methodCount(); ++i) {
                if (type->method(i).methodType() == QMetaMethod::Signal &&
                    type->method(i).name() == signal.name.toLatin1()) {
                    emitSignal(client, type->method(i), values);
                }
            }
        }
    }

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
    /// Of the update service: the daemon reads its zones again.
    void updateFiles()
    {
        receive(*catalogue->findService(u"updatemanager"_s),
                *catalogue->findService(u"updatemanager"_s)->findSignal(u"FilesUpdated"_s), {0, 12});
    }

    PowerManager m_manager{kObjectPath};
    PowerManagerAdaptor m_adaptor{&m_manager};
};

ServedManager* manager = nullptr;

/// Calls the daemon as a client does.
void callDaemon(const QString& interface, const QString& method, const QVariantList& values)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1StringView(kServiceName), QLatin1StringView(kObjectPath),
                                                       interface, method);
    call.setArguments(values);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    fuzzing::require(reply.type() == QDBusMessage::ReplyMessage || reply.type() == QDBusMessage::ErrorMessage,
                     "every call is answered");
}

void callMethod(const QStringList& words)
{
    static const QList<ArgumentDescription> kNone;
    const QString name = words.value(0);
    const InterfaceDescription& daemon = catalogue->powerDaemon();
    const MemberDescription* method = daemon.findMethod(name);
    callDaemon(method != nullptr ? daemon.interfaceName : name.section(u'.', 0, -2), name.section(u'.', -1),
               messageValues(method != nullptr ? method->in : kNone, words.mid(1)));
}

void sendSignal(const QStringList& words)
{
    const QString name = words.value(0);
    const InterfaceDescription* service = catalogue->findService(name.section(u'.', 0, 0));
    const MemberDescription* signal = service != nullptr ? service->findSignal(name.section(u'.', 1)) : nullptr;
    if (signal != nullptr) {
        manager->receive(*service, *signal, messageValues(signal->out, words.mid(1)));
    }
}

} // namespace

int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzzing::silenceLog();
    qputenv("QT_NO_GLIB", "1");
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
    manager = new ServedManager;
    return 0;
}

/// The input is what happens to a daemon that has just started, one event a line; see messageValues() for values.
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
    const QStringList lines = QString::fromUtf8(fuzzing::bytes(data, size)).remove(QChar(0)).split(u'\n');
    bool isStarted = false;
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
        if (!isStarted) {
            isStarted = true;
            manager->restart();
        }
        if (verb == u"call") {
            callMethod(words);
        } else if (verb == u"signal") {
            sendSignal(words);
        } else if (verb == u"time") {
            manager->elapse(words.value(0));
        }
    }
    services->dropAnswers();
    QCoreApplication::sendPostedEvents(); // but no timers, whose time is not part of the input
    return 0;
}
