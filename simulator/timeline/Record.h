// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Catalogue.h"
#include "Events.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QVariantList>

#include <chrono>
#include <optional>

/// What a record of events (docs/events.md) says about the device's services: the signals that they sent, and how they
/// answered.
struct Record
{
    struct Emission
    {
        std::chrono::milliseconds time; ///< since the record began
        QString signal;                 ///< "service.Signal"
        QVariantList values;
    };

    struct Reply
    {
        events::Outcome outcome; ///< monostate: never answered
        std::chrono::milliseconds delay{0};
    };

    QList<Emission> emissions;            ///< in the order of their times
    QHash<QString, QList<Reply>> replies; ///< of each "service.Method" that was called, in order
    std::chrono::milliseconds length{0};  ///< the time of the last event

    /// Reads a file. Kinds of events that it does not know are passed over.
    /// @return nothing if the file can't be read or a line is wrong: *error says which, what was found and what was
    /// expected
    [[nodiscard]] static std::optional<Record> read(const QString& path, const Catalogue& catalogue, QString* error);
};
