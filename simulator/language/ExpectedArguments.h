// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Events.h"
#include "Tokens.h"

#include <QList>
#include <QStringList>

#include <optional>

/// The arguments that an expectation names: all of a member's, in order, or some by name, NAME=VALUE; none fit any.
class ExpectedArguments
{
public:
    /// @param words     of the line
    /// @param arguments of the member
    ExpectedArguments(const QStringList& words, const QList<ArgumentDescription>& arguments);

    /// What is wrong with the words, if anything.
    [[nodiscard]] std::optional<LineError> error() const;

    [[nodiscard]] bool match(const events::Values& values) const;
    /// An error is matched by "error", its name and its message.
    [[nodiscard]] bool match(const events::Outcome& outcome) const;

private:
    QStringList m_words;
    QList<ArgumentDescription> m_arguments;
    bool m_areNamed = false;
};
