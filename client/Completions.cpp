// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Completions.h"

using namespace Qt::Literals::StringLiterals;

namespace {

/// The command's name, its first word only, or only its second.
QString firstWord(const CommandDescription& command)
{
    return command.name.section(u' ', 0, 0);
}

QString secondWord(const CommandDescription& command)
{
    return command.name.section(u' ', 1);
}

/// The commands' first words, each once.
QStringList firstWords(const QList<CommandDescription>& commands)
{
    QStringList words;
    for (const CommandDescription& command : commands) {
        words.append(firstWord(command));
    }
    words.removeDuplicates();
    return words;
}

/// The commands of a group; those of no group are a group of one, without a second word.
QList<CommandDescription> groupOf(const QList<CommandDescription>& commands, const QString& first)
{
    QList<CommandDescription> group;
    for (const CommandDescription& command : commands) {
        if (firstWord(command) == first) {
            group.append(command);
        }
    }
    return group;
}

QString groupSummary(const QList<CommandDescription>& group)
{
    if (group.size() == 1) {
        return group.constFirst().summary;
    }
    QStringList words;
    for (const CommandDescription& command : group) {
        words.append(secondWord(command));
    }
    return words.join(u", "_s);
}

/// The options as they are typed: "-y", "--yes".
QStringList typed(const OptionDescription& option)
{
    QStringList words;
    for (const QString& name : option.names) {
        words.append((name.size() == 1 ? u"-"_s : u"--"_s) + name);
    }
    return words;
}

QStringList offered(const PositionalDescription& positional)
{
    return positional.choices + positional.hints;
}

/// In single quotes, for all three shells.
QString quoted(QString text)
{
    return u'\'' + text.replace(u'\'', u"'\\''"_s) + u'\'';
}

QString header(const QString& shell)
{
    // REUSE-IgnoreStart: the header of the file that is written, not of this one
    return u"# SPDX-FileCopyrightText: The power daemon authors\n# SPDX-License-Identifier: MIT\n"
           "# Written by \"zelt-power completions %1\".\n"_s.arg(shell);
    // REUSE-IgnoreEnd
}

/// One branch of bash's case: what may stand behind the command.
QString bashBranch(const CommandDescription& command)
{
    QStringList options;
    QStringList withValue;
    for (const OptionDescription& option : command.options) {
        options += typed(option);
        if (!option.value.isEmpty()) {
            withValue += typed(option);
        }
    }
    options.append(u"--help"_s);
    QString text = u"        %1)\n            options=%2\n"_s.arg(quoted(command.name), quoted(options.join(u' ')));
    for (qsizetype place = 0; place < command.positionals.size(); ++place) {
        const PositionalDescription& positional = command.positionals.at(place);
        const QString condition = (positional.isRepeated ? u"((place >= %1))"_s : u"((place == %1))"_s).arg(place);
        if (!offered(positional).isEmpty()) {
            text += u"            %1 && candidates=%2\n"_s.arg(condition, quoted(offered(positional).join(u' ')));
        } else if (positional.isFile) {
            text += u"            %1 && files=1\n"_s.arg(condition);
        }
    }
    return text + u"            ;;\n"_s;
}

QString zshEscaped(QString text)
{
    for (const QChar character : {u'\\', u'[', u']', u':'}) {
        text.replace(character, QString(u'\\') + character);
    }
    return text;
}

/// The specifications that zsh's _arguments takes.
QString zshArguments(const CommandDescription& command)
{
    QStringList words;
    for (const OptionDescription& option : command.options) {
        const QString value =
            option.value.isEmpty() ? QString() : u":%1:%2"_s.arg(option.value, option.isFile ? u"_files"_s : u" "_s);
        for (const QString& word : typed(option)) {
            words.append(quoted(word + u'[' + zshEscaped(option.summary) + u']' + value));
        }
    }
    words.append(quoted(u"--help[explain the command]"_s));
    for (const PositionalDescription& positional : command.positionals) {
        const QString action = !offered(positional).isEmpty() ? u'(' + offered(positional).join(u' ') + u')'
                               : positional.isFile            ? u"_files"_s
                                                              : u" "_s;
        words.append(quoted((positional.isRepeated   ? u"*:"_s
                             : positional.isOptional ? u"::"_s
                                                     : u":"_s) +
                            zshEscaped(positional.name) + u':' + action));
    }
    return u"_arguments "_s + words.join(u" \\\n                "_s) + u'\n';
}

} // namespace

namespace completions {

QString bash(const QList<CommandDescription>& commands)
{
    QString text = header(u"bash"_s) + uR"(
_zelt_power() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command="" options="--help --version" candidates="" files="" place=0 word
    local -a words=("${COMP_WORDS[@]:1:COMP_CWORD-1}")
    COMPREPLY=()

    for word in "${words[@]}"; do
        [[ $word != -* ]] || continue
        if [[ -z $command ]]; then
            command=$word
)"_s;
    for (const QString& first : firstWords(commands)) {
        if (!secondWord(groupOf(commands, first).constFirst()).isEmpty()) {
            text += u"        elif [[ $command == %1 ]]; then\n            command+=\" $word\"\n"_s.arg(first);
        }
    }
    text += uR"(        else
            place=$((place + 1))
        fi
    done

    case $command in
        '')
            candidates=)"_s +
            quoted(firstWords(commands).join(u' ')) + u"\n            ;;\n"_s;
    for (const QString& first : firstWords(commands)) {
        const QList<CommandDescription> group = groupOf(commands, first);
        if (!secondWord(group.constFirst()).isEmpty()) {
            QStringList seconds;
            for (const CommandDescription& command : group) {
                seconds.append(secondWord(command));
            }
            text +=
                u"        %1)\n            candidates=%2\n            ;;\n"_s.arg(first, quoted(seconds.join(u' ')));
        }
        for (const CommandDescription& command : group) {
            text += bashBranch(command);
        }
    }
    text += u"    esac\n    case \"$command $previous\" in\n"_s;
    for (const CommandDescription& command : commands) {
        for (const OptionDescription& option : command.options) {
            for (const QString& word : option.value.isEmpty() ? QStringList() : typed(option)) {
                text += u"        %1) options=\"\" candidates=\"\" files=%2 ;;\n"_s.arg(
                    quoted(command.name + u' ' + word), option.isFile ? u"1"_s : u"\"\""_s);
            }
        }
    }
    return text + uR"(    esac

    [[ $current != -* ]] || candidates=$options
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
    if [[ -n $files && $current != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
    fi
}

complete -F _zelt_power zelt-power
)"_s;
}

QString zsh(const QList<CommandDescription>& commands)
{
    QString text = u"#compdef zelt-power\n"_s + header(u"zsh"_s) + uR"(
_zelt_power() {
    local -a candidates
    if ((CURRENT == 2)); then
        candidates=(
)"_s;
    for (const QString& first : firstWords(commands)) {
        text += u"            "_s + quoted(first + u':' + zshEscaped(groupSummary(groupOf(commands, first)))) + u'\n';
    }
    text += uR"(        )
        _describe command candidates
        _arguments '--help[explain the program]' '--version[show the version]'
        return
    fi
    shift words
    ((CURRENT -= 1))
    case $words[1] in
)"_s;
    for (const QString& first : firstWords(commands)) {
        const QList<CommandDescription> group = groupOf(commands, first);
        text += u"        %1)\n"_s.arg(first);
        if (secondWord(group.constFirst()).isEmpty()) {
            text += u"            "_s + zshArguments(group.constFirst()) + u"            ;;\n"_s;
            continue;
        }
        text += u"            if ((CURRENT == 2)); then\n                candidates=(\n"_s;
        for (const CommandDescription& command : group) {
            text +=
                u"                    "_s + quoted(secondWord(command) + u':' + zshEscaped(command.summary)) + u'\n';
        }
        text +=
            u"                )\n                _describe command candidates\n                return\n"
            "            fi\n            shift words\n            ((CURRENT -= 1))\n            case $words[1] in\n"_s;
        for (const CommandDescription& command : group) {
            text += u"                %1) "_s.arg(secondWord(command)) + zshArguments(command) +
                    u"                    ;;\n"_s;
        }
        text += u"            esac\n            ;;\n"_s;
    }
    return text + u"    esac\n}\n\n_zelt_power \"$@\"\n"_s;
}

QString fish(const QList<CommandDescription>& commands)
{
    QString text = header(u"fish"_s) + uR"(
# Whether the words so far begin with a command and have so many more, options not counted; with "any": however many.
function __zelt_power_at
    set -l place $argv[1]
    set -e argv[1]
    set -l words (string match -v -- '-*' (commandline -opc))
    set -e words[1]
    set -l size (count $argv)
    test (count $words) -ge $size; or return 1
    test $size -eq 0; or test "$words[1..$size]" = "$argv"; or return 1
    test $place = any; or test (math (count $words) - $size) -eq $place
end

complete -c zelt-power -f
complete -c zelt-power -n '__zelt_power_at 0' -l help -d 'explain the program'
complete -c zelt-power -n '__zelt_power_at 0' -l version -d 'show the version'
)"_s;
    for (const QString& first : firstWords(commands)) {
        const QList<CommandDescription> group = groupOf(commands, first);
        text +=
            u"\ncomplete -c zelt-power -n '__zelt_power_at 0' -a %1 -d %2\n"_s.arg(first, quoted(groupSummary(group)));
        for (const CommandDescription& command : group) {
            if (!secondWord(command).isEmpty()) {
                text += u"complete -c zelt-power -n '__zelt_power_at 0 %1' -a %2 -d %3\n"_s.arg(
                    first, secondWord(command), quoted(command.summary));
            }
            const QString begin = u"complete -c zelt-power -n '__zelt_power_at %1 "_s + command.name + u"' "_s;
            for (const OptionDescription& option : command.options) {
                text += begin.arg(u"any"_s);
                for (const QString& name : option.names) {
                    text += (name.size() == 1 ? u"-s "_s : u"-l "_s) + name + u' ';
                }
                text += (option.value.isEmpty() ? QString()
                         : option.isFile        ? u"-r -F "_s
                                                : u"-x "_s) +
                        u"-d "_s + quoted(option.summary) + u'\n';
            }
            text += begin.arg(u"any"_s) + u"-l help -d 'explain the command'\n"_s;
            for (qsizetype place = 0; place < command.positionals.size(); ++place) {
                const PositionalDescription& positional = command.positionals.at(place);
                const QString start = begin.arg(positional.isRepeated ? u"any"_s : QString::number(place));
                if (!offered(positional).isEmpty()) {
                    text += start + u"-a "_s + quoted(offered(positional).join(u' ')) + u'\n';
                } else if (positional.isFile) {
                    text += start + u"-F\n"_s;
                }
            }
        }
    }
    return text;
}

} // namespace completions
