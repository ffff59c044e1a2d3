// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Commands.h"
#include "Parameters.h"

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

/// A command's form with the types of its values. acts() or looks() make it a command; an action that takes other
/// values does not compile.
template <typename Values>
class CommandForm;

template <typename... Types>
class CommandForm<std::tuple<Types...>>
{
public:
    explicit CommandForm(const CommandPattern& pattern)
    {
        m_command.pattern = pattern;
    }

    /// Checks of a line's values what their own types can't; returns what is wrong, if anything.
    template <typename Check>
    CommandForm checked(Check check) const
    {
        static_assert(std::is_invocable_r_v<std::optional<LineError>, Check, const Types&...>,
                      "the check takes the form's values, in their order and of their types");
        CommandForm form = *this;
        form.m_command.check = [check](const CommandValues& values) { return call(check, values, kIndices); };
        return form;
    }

    /// A command that does something to the device: it is shown, and expectations begin anew with it.
    /// @param action takes the runner and the form's values
    template <typename Action>
    Command acts(const char* help, const char* example, Action action) const
    {
        return make(true, help, example, action);
    }

    /// A command that only looks.
    template <typename Action>
    Command looks(const char* help, const char* example, Action action) const
    {
        return make(false, help, example, action);
    }

private:
    static constexpr std::index_sequence_for<Types...> kIndices{};

    /// A value out of a matched line, whose pattern has made it of that type; nothing if the line leaves it out.
    template <typename Type>
    struct Reader
    {
        static const Type& read(const std::any& value)
        {
            return *std::any_cast<Type>(&value);
        }
    };
    template <typename Type>
    struct Reader<std::optional<Type>>
    {
        static std::optional<Type> read(const std::any& value)
        {
            return value.has_value() ? std::optional(*std::any_cast<Type>(&value)) : std::nullopt;
        }
    };

    template <typename Function, std::size_t... I, typename... Before>
    static auto call(const Function& function, const CommandValues& values, std::index_sequence<I...>,
                     Before&... before)
    {
        return function(before..., Reader<Types>::read(values[I])...);
    }

    template <typename Action>
    Command make(bool isAction, const char* help, const char* example, Action action) const
    {
        static_assert(std::is_invocable_v<Action, ScenarioRunner&, const Types&...>,
                      "the action takes the runner and the form's values, in their order and of their types");
        Command command = m_command;
        command.isAction = isAction;
        command.help = help;
        command.example = example;
        command.run = [action](ScenarioRunner& runner, const CommandValues& values) {
            call(action, values, kIndices, runner);
        };
        return command;
    }

    Command m_command;
};

namespace commandform {

inline void add(CommandPattern& pattern, const char* word)
{
    pattern.addWord(QString::fromLatin1(word));
}

template <typename Parameter>
void add(CommandPattern& pattern, const Parameter& parameter)
{
    parameter.addTo(pattern);
}

template <typename Parameter>
struct TypeOf
{
    using Type = std::tuple<typename Parameter::Type>;
};
template <>
struct TypeOf<const char*>
{
    using Type = std::tuple<>;
};

} // namespace commandform

/// The form of a command: words as they are, and parameters. For example
///
///     form("charge", Whole{"PERCENT", 0, 100}, optional("over", seconds())).acts(help, example, &charge)
///
/// whose action is void charge(ScenarioRunner& runner, int percent, std::optional<double> seconds).
template <typename... Parts>
auto form(Parts... parts)
{
    CommandPattern pattern;
    (commandform::add(pattern, parts), ...);
    return CommandForm<decltype(std::tuple_cat(std::declval<typename commandform::TypeOf<Parts>::Type>()...))>(pattern);
}
