// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

#include <QSet>

#include <functional>
#include <optional>

/// Whether an entry of the timeline is the one that is looked for.
using EntryTest = std::function<bool(const Timeline::Entry&)>;

/// What the timeline has gathered since the last command that did something: what expectations are judged by, in any
/// order. Each entry fulfils one of them at most.
class Evidence
{
public:
    /// @param timeline must outlive it
    explicit Evidence(const Timeline& timeline);

    /// Forgets what has come so far.
    void beginAnew();

    /// Where the first entry stands.
    [[nodiscard]] qsizetype begin() const;

    /// The first entry from *from on that passes the test and has fulfilled no expectation yet; moves *from to the
    /// timeline's end, so that the next search goes on there.
    [[nodiscard]] std::optional<qsizetype> find(const EntryTest& test, qsizetype* from) const;

    /// An entry that was found fulfils an expectation.
    void use(qsizetype position);

private:
    const Timeline& m_timeline;
    qsizetype m_begin = 0;
    QSet<qsizetype> m_used;
};
