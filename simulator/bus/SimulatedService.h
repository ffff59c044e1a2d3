// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"
#include "Record.h"
#include "Timeline.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QHash>

struct Device;

/// A defect of one method or signal, shown on every use until it is repaired.
struct Fault
{
    /// Whether the method fails before it has done anything.
    [[nodiscard]] bool preventsEffect() const;

    /// As the command "fail" names it, e.g. "status -3"; empty for none.
    [[nodiscard]] QString toString() const;

    enum class Kind
    {
        None,
        Error,  ///< an error reply
        Status, ///< a status other than 0, values as usual
        Few,    ///< the last value is missing
        Many,   ///< a text too many
        Types,  ///< every value of another type
        Arrays, ///< every value an array
        Mute,   ///< no reply, ever
        Late,   ///< the right reply, late
        Dies,   ///< the service leaves the bus before it replies
        Floods, ///< the service sends thousands of signals before it replies
    };

    Kind kind = Kind::None;
    int status = 0;    ///< Status: the status
    int delayMs = 0;   ///< Late: the delay
    QString errorText; ///< Error: the error's message
};

/// One service of the device on the session bus, on a connection of its own, so that it can leave the bus as a process
/// does. Its interface comes from the description; what a method does and answers, from the device.
class SimulatedService : public QDBusVirtualObject
{
    Q_OBJECT

public:
    SimulatedService(const InterfaceDescription& description, Device& device, Timeline& timeline,
                     QObject* parent = nullptr);
    ~SimulatedService() override;

    /// Joins the bus. @return whether it could; *error says why not
    [[nodiscard]] bool start(QString* error);
    /// Leaves the bus at once, as a process that dies. Does nothing if it is not on the bus.
    void stop();

    [[nodiscard]] bool isRunning() const;

    /// Sets or, with Fault::Kind::None, repairs the fault of a method or signal.
    void setFault(const QString& member, const Fault& fault);
    void repairAll();
    /// By member; those that were repaired are of kind None.
    [[nodiscard]] const QHash<QString, Fault>& faults() const;

    /// Answers the calls of a method as recorded from now on, in order, and as the last time when the record is at its
    /// end. A call that was answered with status 0 does to the device what it always does, but announces nothing.
    void replay(const QString& method, const QList<Record::Reply>& replies);

    /// Sends the answers that were held back.
    void release();

    /// Sends a signal of the interface; to nobody while the service is not on the bus.
    void send(const MemberDescription& signal, const QVariantList& values);

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

Q_SIGNALS:
    /// A method was carried out and is in the timeline; its reply follows when all receivers have run.
    void called(const QString& method);

private:
    Q_DISABLE_COPY_MOVE(SimulatedService)

    /// An answer that comes later: its call, and the fault that was in force at the time of it.
    struct HeldReply
    {
        QDBusMessage call;
        QVariantList values;
        Fault fault;
        QString member;
        QString id;
        qint64 msec = 0; ///< when it came, on the timeline's clock
    };

    [[nodiscard]] QString memberName(const QString& member) const;
    /// What the caller gets.
    [[nodiscard]] events::Outcome outcome(const MemberDescription& method, const QVariantList& values,
                                          const Fault& fault) const;
    void answerAsRecorded(const QDBusMessage& message, events::Call& call);
    void answer(const QDBusMessage& call, const QVariantList& values, const Fault& fault);
    void flood();

    const InterfaceDescription& m_description;
    Device& m_device;
    Timeline& m_timeline;
    QString m_connectionName; ///< empty while not on the bus
    QHash<QString, Fault> m_faults;
    QList<HeldReply> m_heldReplies;
    QHash<QString, QList<Record::Reply>> m_recorded; ///< of each replayed method, those to come; the last one stays
};
