// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Catalogue.h"
#include "CommandPattern.h"

#include <QString>
#include <QStringList>

#include <optional>

/// A member of a service, found in the catalogue.
struct MemberReference
{
    const InterfaceDescription* service = nullptr;
    const MemberDescription* member = nullptr;

    /// "service.member"
    [[nodiscard]] QString name() const;
};

/// The values that a command takes. Each has a name, as help and errors show it; a Type, which the command's action
/// gets; and adds itself to a pattern.
namespace parameters {

/// A whole number of a range.
struct Whole
{
    using Type = int;
    const char* name;
    int least;
    int most;
    void addTo(CommandPattern& pattern) const;
};

/// A number of a range.
struct Number
{
    using Type = double;
    const char* name;
    double least;
    double most;
    void addTo(CommandPattern& pattern) const;
};

struct Text
{
    using Type = QString;
    const char* name;
    const char* usual = ""; ///< the usual ones, with "|" between them
    void addTo(CommandPattern& pattern) const;
};

/// "on" or "off".
struct Switch
{
    using Type = bool;
    const char* name;
    void addTo(CommandPattern& pattern) const;
};

/// One of a few words.
struct Choice
{
    using Type = QString;
    const char* name;
    const char* words; ///< with "|" between them
    void addTo(CommandPattern& pattern) const;
};

/// All words up to the pattern's next word.
struct Words
{
    using Type = QStringList;
    const char* name;
    void addTo(CommandPattern& pattern) const;
};

/// A service of the device by its short name.
struct Service
{
    using Type = QString;
    void addTo(CommandPattern& pattern) const;
};

/// A member of a service, "service.Member".
struct Member
{
    enum class Kind
    {
        Method,
        Signal,
        Any,
        AnySignal, ///< also of the power daemon, then without the service
        Operation, ///< a method of the power daemon, with or without the service
    };
    using Type = MemberReference;
    Kind kind;
    void addTo(CommandPattern& pattern) const;
};

/// A value that may be left out, after a word or, with null, at the line's end.
template <typename Parameter>
struct Optional
{
    using Type = std::optional<typename Parameter::Type>;
    const char* word;
    Parameter parameter;

    void addTo(CommandPattern& pattern) const
    {
        pattern.beginOptional();
        if (word != nullptr) {
            pattern.addWord(QString::fromLatin1(word));
        }
        parameter.addTo(pattern);
        pattern.endOptional();
    }
};

template <typename Parameter>
Optional<Parameter> optional(const char* word, const Parameter& parameter)
{
    return {word, parameter};
}

/// A length of time, up to a day.
[[nodiscard]] constexpr Number seconds()
{
    return {"SECONDS", 0, 86400};
}

/// How long an expectation waits if the line does not say.
constexpr double kDefaultWithinSeconds = 2;

/// [within SECONDS]: how long an expectation waits.
[[nodiscard]] inline auto within()
{
    return optional("within", seconds());
}

/// [for SECONDS]: how long nothing may come.
[[nodiscard]] inline auto forSeconds()
{
    return optional("for", seconds());
}

} // namespace parameters
