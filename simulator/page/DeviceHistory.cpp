// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DeviceHistory.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qsizetype kMostMoments = 10'000;

} // namespace

DeviceHistory::DeviceHistory(Session& session, QObject* parent) : QObject(parent), m_session(session)
{
    connect(&session.simulator().timeline(), &Timeline::added, this, &DeviceHistory::take);
}

void DeviceHistory::take(const Timeline::Entry& entry)
{
    if (entry.as<events::Command>() == nullptr) {
        return;
    }
    // A command is shown before it is carried out.
    Moment moment = present();
    moment.place = m_session.simulator().timeline().position() - 1;
    m_moments.append(moment);
    if (m_moments.size() > kMostMoments) {
        m_moments.removeFirst();
    }
}

DeviceHistory::Moment DeviceHistory::present() const
{
    Simulator& simulator = m_session.simulator();
    const Device& device = simulator.device();
    Moment moment;
    moment.place = simulator.timeline().position();
    moment.chargePercent = device.chargePercent;
    moment.masterVolume = device.masterVolume;
    moment.lightIntensity = device.lightIntensity;
    moment.isLightOn = device.isLightOn;
    moment.isRgbDisabled = device.isRgbDisabled;
    moment.isCameraEnabled = device.isCameraEnabled;
    moment.isAccessPoint = simulator.lines().isOn(GpioLines::kModeSelectLine);
    moment.scheduleEntries = device.scheduleEntries;
    moment.eventEntries = device.eventEntries;
    for (const InterfaceDescription& description : simulator.catalogue().services()) {
        const SimulatedService& service = *simulator.service(description.service);
        if (!service.isRunning() && !m_session.settings().without.contains(description.service)) {
            moment.down.append(description.service);
        }
        const QHash<QString, Fault>& faults = service.faults();
        for (auto fault = faults.constBegin(); fault != faults.constEnd(); ++fault) {
            if (fault->kind != Fault::Kind::None) {
                moment.faults.append(description.service + u'.' + fault.key() + u' ' + fault->toString());
            }
        }
    }
    return moment;
}

std::optional<DeviceHistory::Moment> DeviceHistory::atOrAfter(qsizetype place) const
{
    const auto found = std::lower_bound(m_moments.begin(), m_moments.end(), place,
                                        [](const Moment& moment, qsizetype wanted) { return moment.place < wanted; });
    return found == m_moments.end() ? std::nullopt : std::optional(*found);
}
