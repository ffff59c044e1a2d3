// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

#include <QByteArray>

/// Entries of the timeline in JSON, as docs/events.md describes them.
namespace eventjson {

/// The entry as one line, without its end.
[[nodiscard]] QByteArray toLine(const Timeline::Entry& entry);

/// Its kind, e.g. "signal".
[[nodiscard]] QLatin1StringView kindOf(const events::Event& event);

} // namespace eventjson
