// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "EventMonitor.h"
#include "FactoryRestoreManager.h"
#include "Log.h"
#include "PowerManager.h"
#include "PowerManagerAdaptor.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QXmlStreamReader>

#include <cstdio>
#include <cstdlib>

#include <malloc.h>
#include <unistd.h>

namespace {

/// What the program has allocated and not freed, in bytes, in the memory of all threads, with what the C library keeps
/// at hand for each of them. Negative if it can't be told.
qint64 allocatedBytes()
{
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_memstream(&text, &size);
    if (stream == nullptr) {
        return -1;
    }
    const bool isMade = malloc_info(0, stream) == 0;
    const bool isWritten = std::fclose(stream) == 0 && isMade;
    const QByteArray report(text, isWritten ? static_cast<qsizetype>(size) : 0);
    std::free(text);
    if (report.isEmpty()) {
        return -1;
    }
    qint64 bytes = 0;
    QXmlStreamReader reader(report);
    reader.readNextStartElement(); // malloc
    while (reader.readNextStartElement()) {
        const auto type = reader.attributes().value(QLatin1String("type"));
        const qint64 number = reader.attributes().value(QLatin1String("size")).toLongLong();
        const bool isHeld = reader.name() == QLatin1String("system") && type == QLatin1String("current");
        if (isHeld || type == QLatin1String("mmap")) {
            bytes += number;
        } else if (type == QLatin1String("fast") || type == QLatin1String("rest")) {
            bytes -= number;
        }
        reader.skipCurrentElement(); // also the memory of each thread, of which the others are the sums
    }
    return reader.hasError() ? -1 : bytes;
}

} // namespace

/// Starts factory resets, whose countdowns take 5 s of real time, as if the countdown were over; tells what is in use.
class Endurance : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillmark.zelt.endure")

public:
    explicit Endurance(PowerManager& manager) : m_manager(manager) {}

public Q_SLOTS:
    void soft()
    {
        QMetaObject::invokeMethod(m_manager.findChild<FactoryRestoreManager*>(), "SoftResetTimer_Elapsed");
    }

    /// By an object of its own: after a hard reset, the daemon's refuses all others until the process ends.
    void hard()
    {
        FactoryRestoreManager resets(nullptr);
        connect(&resets, &FactoryRestoreManager::ResetCompleted, &m_manager, &PowerManager::PostRestoreReboot);
        QMetaObject::invokeMethod(&resets, "HardResetTimer_Elapsed");
    }

    /// Negative if it can't be told.
    qlonglong allocated()
    {
        return allocatedBytes();
    }

private:
    Q_DISABLE_COPY_MOVE(Endurance)

    PowerManager& m_manager;
};

// In place of the C library's, for the whole program: the daemon's pauses do not wait.

unsigned int sleep(unsigned int)
{
    return 0;
}

int usleep(useconds_t)
{
    return 0;
}

/// The power daemon's classes and the host platform in a process of their own, with pauses that do not wait.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    _logInterface = new LogInterface(QString()); // for the rest of the process
    QDBusConnection bus = QDBusConnection::sessionBus();
    QCoreApplication::sendPostedEvents();
    PowerManager manager(kObjectPath);
    Endurance endurance(manager);
    if (!manager.init()) {
        return 1;
    }
    new PowerManagerAdaptor(&manager); // a child
    const bool isServed =
        bus.registerObject(QString::fromLatin1(kObjectPath), &manager, QDBusConnection::ExportAdaptors) &&
        bus.registerObject(QStringLiteral("/endure"), &endurance, QDBusConnection::ExportAllSlots) &&
        bus.registerService(QString::fromLatin1(kServiceName));
    return isServed ? QCoreApplication::exec() : 1;
}

#include "endured.moc"
