// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ManualPage.h"

#include "HelpText.h"

using namespace Qt::Literals::StringLiterals;

namespace {

/// The text with everything escaped that scdoc would take for markup.
QString escaped(const QString& text)
{
    QString safe;
    for (const QChar character : text) {
        if (QStringView(u"\\*_`#<>").contains(character)) {
            safe += u'\\';
        }
        safe += character;
    }
    return safe;
}

/// A word or an option, and the paragraph about it.
QString item(const QString& term, const QString& text)
{
    return u"*"_s + escaped(term) + u"*\n\t"_s + escaped(text) + u"\n\n"_s;
}

QString commandSection(const CommandDescription& command)
{
    QString text = u"## "_s + command.usage().mid(QStringView(u"zelt-power ").size()) + u"\n\n"_s +
                   escaped(command.details) + u"\n\n"_s;
    for (const PositionalDescription& positional : command.positionals) {
        text += item(positional.name, positional.summary);
    }
    for (const OptionDescription& option : command.options) {
        text += item(helptext::optionSyntax(option), option.summary);
    }
    for (const ExampleDescription& example : command.examples) {
        text += u"Example: *zelt-power "_s + escaped(example.line) + u"*: "_s + escaped(example.summary) + u"\n\n"_s;
    }
    return text;
}

} // namespace

QString manualPage(const QList<CommandDescription>& commands)
{
    QString text = uR"(zelt-power(1)

; SPDX-FileCopyrightText: The power daemon authors
; SPDX-License-Identifier: MIT
; Written by "zelt-power manual".

# NAME

zelt-power - look at the power daemon and operate it

# SYNOPSIS

*zelt-power* _COMMAND_ [_OPTION_...] [_ARGUMENT_...]

# DESCRIPTION

Shows the state of the device's power, watches what happens, explains the last
action, carries out every operation of the power daemon over the session bus,
and checks zone files. It never starts the daemon or a service by asking.

*zelt-power* _COMMAND_ *--help* explains a command, *zelt-power --help* lists
them, *zelt-power --version* shows the version.

# COMMANDS

)"_s;
    for (const CommandDescription& command : commands) {
        text += commandSection(command);
    }
    return text + uR"(# EXIT STATUS

*0*
	done

*1*
	refused: the answer's status is not 0

*2*
	wrong use; nothing was sent

*3*
	no power daemon, or no session bus

*4*
	no answer in the time that the operation may take

*5*
	a file that was checked has findings

# ENVIRONMENT

*DBUS\_SESSION\_BUS\_ADDRESS*, *XDG\_RUNTIME\_DIR*
	where the session bus is

*NO\_COLOR*, *TERM*
	without colours if the first is set, or the second is "dumb"; there are
	none behind a pipe

# SEE ALSO

*busctl*(1), *journalctl*(1)
)"_s;
}
