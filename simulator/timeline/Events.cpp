// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Events.h"

#include "DBusValues.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace events {

namespace {

QString withArguments(const QString& member, const Values& arguments)
{
    return member + u'(' + dbusvalues::toTexts(arguments.values).join(u", "_s) + u')';
}

struct ToString
{
    QString operator()(const Command& command) const
    {
        return u"command "_s + command.text;
    }
    QString operator()(const Call& call) const
    {
        return u"call "_s + withArguments(memberName(call), call.arguments);
    }
    QString operator()(const Signal& signal) const
    {
        return u"signal "_s + withArguments(memberName(signal), signal.arguments);
    }
    QString operator()(const Request& request) const
    {
        return u"request "_s + withArguments(memberName(request), request.arguments);
    }
    QString operator()(const Answer& answer) const
    {
        return (QStringList{u"answer"_s, memberName(answer)} + toTexts(answer.outcome)).join(u' ');
    }
    QString operator()(const LogLine& log) const
    {
        return u"log "_s + QString::number(log.level) + u' ' + log.message;
    }
    QString operator()(const Line& line) const
    {
        return u"line "_s + QString::number(line.number) +
               (!line.isOn   ? u" read"_s
                : *line.isOn ? u" on"_s
                             : u" off"_s);
    }
    QString operator()(const Pattern& pattern) const
    {
        return u"line "_s + QString::number(pattern.line) + u" pattern "_s + pattern.words().join(u' ');
    }
    QString operator()(const Pause& pause) const
    {
        return u"pause "_s + QString::number(std::chrono::duration<double>(pause.length).count()) + u" s"_s +
               (pause.isCutBySignals ? u" or a signal"_s : QString());
    }
    QString operator()(const Process& process) const
    {
        return u"process "_s + toString(process.state) + (process.text.isEmpty() ? QString() : u' ' + process.text);
    }
    QString operator()(const Output& output) const
    {
        return u"output "_s + output.text;
    }
    QString operator()(const Note& note) const
    {
        return u"note "_s + note.text;
    }
};

struct MemberName
{
    template <typename Member>
    QString operator()(const Member& member) const
    {
        if constexpr (std::is_same_v<Member, Request>) {
            return kPowerDaemon + u'.' + member.member;
        } else if constexpr (std::is_same_v<Member, Call> || std::is_same_v<Member, Signal> ||
                             std::is_same_v<Member, Answer>) {
            return member.service + u'.' + member.member;
        } else {
            return {};
        }
    }
};

} // namespace

std::optional<QString> Values::find(const QString& name) const
{
    const auto found = std::find_if(arguments.begin(), arguments.end(),
                                    [&name](const ArgumentDescription& argument) { return argument.name == name; });
    const qsizetype index = std::distance(arguments.begin(), found);
    return index < std::min(arguments.size(), values.size()) ? std::optional(dbusvalues::toText(values.at(index)))
                                                             : std::nullopt;
}

QStringList toTexts(const Outcome& outcome)
{
    if (const auto* error = std::get_if<Error>(&outcome)) {
        return {u"error"_s, error->name, error->message};
    }
    const auto* values = std::get_if<Values>(&outcome);
    return values != nullptr ? dbusvalues::toTexts(values->values) : QStringList();
}

QStringList Pattern::words() const
{
    QStringList words;
    for (const std::chrono::milliseconds length : lengths) {
        words.append(words.size() % 4 == 0 ? u"on"_s : u"off"_s);
        words.append(QString::number(qRound(static_cast<double>(length.count()) / 10) / 100.0));
    }
    if (staysOn) {
        words.append(u"on"_s);
    }
    return words;
}

QString memberName(const Event& event)
{
    return std::visit(MemberName(), event);
}

QString toString(const Event& event)
{
    return std::visit(ToString(), event);
}

QString toString(Process::State state)
{
    switch (state) {
    case Process::State::Started:
        return u"started"_s;
    case Process::State::Up:
        return u"up"_s;
    case Process::State::Down:
        return u"down"_s;
    case Process::State::Ended:
        break;
    }
    return u"ended"_s;
}

} // namespace events
