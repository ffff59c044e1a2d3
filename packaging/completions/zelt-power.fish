# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
# Written by "zelt-power completions fish".

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

complete -c zelt-power -n '__zelt_power_at 0' -a status -d 'show zone, charge, volume, light, frequency, settings, last action and services'
complete -c zelt-power -n '__zelt_power_at any status' -l json -d 'one JSON object; with --watch, one a line with every change'
complete -c zelt-power -n '__zelt_power_at any status' -l watch -d 'draw it again with every change, until Ctrl-C'
complete -c zelt-power -n '__zelt_power_at any status' -l help -d 'explain the command'

complete -c zelt-power -n '__zelt_power_at 0' -a monitor -d 'write a line for each call, answer and signal as it happens, and who asked'
complete -c zelt-power -n '__zelt_power_at any monitor' -l all -d 'also the calls to, and the signals of, the other services of the device'
complete -c zelt-power -n '__zelt_power_at any monitor' -l json -d 'one JSON object a line, as docs/events.md describes them'
complete -c zelt-power -n '__zelt_power_at any monitor' -l signals-only -d 'do not ask the bus for a monitor connection'
complete -c zelt-power -n '__zelt_power_at any monitor' -l help -d 'explain the command'

complete -c zelt-power -n '__zelt_power_at 0' -a why -d 'explain the last reboot or shutdown'
complete -c zelt-power -n '__zelt_power_at any why' -l record -r -F -d 'look for who asked in a record of "zelt-power monitor --json"; - reads standard input'
complete -c zelt-power -n '__zelt_power_at any why' -l since -x -d 'show the daemon'\''s lines about it in the journal, from a time on, e.g. today'
complete -c zelt-power -n '__zelt_power_at any why' -l json -d 'one JSON object'
complete -c zelt-power -n '__zelt_power_at any why' -l help -d 'explain the command'

complete -c zelt-power -n '__zelt_power_at 0' -a reboot -d 'restart the device'
complete -c zelt-power -n '__zelt_power_at any reboot' -s n -l dry-run -d 'explain what would happen, step by step; send nothing'
complete -c zelt-power -n '__zelt_power_at any reboot' -s y -l yes -d 'send it without a question, whatever is unusual about it'
complete -c zelt-power -n '__zelt_power_at any reboot' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 reboot' -a 'restore user_btn user_gui user_sms upgrade watchdog sleep user_cli cmd_shdm'

complete -c zelt-power -n '__zelt_power_at 0' -a shutdown -d 'power the device off'
complete -c zelt-power -n '__zelt_power_at any shutdown' -s n -l dry-run -d 'explain what would happen, step by step; send nothing'
complete -c zelt-power -n '__zelt_power_at any shutdown' -s y -l yes -d 'send it without a question, whatever is unusual about it'
complete -c zelt-power -n '__zelt_power_at any shutdown' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 shutdown' -a 'restore user_btn user_gui user_sms upgrade watchdog sleep user_cli cmd_shdm'

complete -c zelt-power -n '__zelt_power_at 0' -a suspend -d 'put the device to standby until a time'
complete -c zelt-power -n '__zelt_power_at any suspend' -s n -l dry-run -d 'explain what would happen, step by step; send nothing'
complete -c zelt-power -n '__zelt_power_at any suspend' -s y -l yes -d 'send it without a question, whatever is unusual about it'
complete -c zelt-power -n '__zelt_power_at any suspend' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 suspend' -a '+30m +1h +8h'

complete -c zelt-power -n '__zelt_power_at 0' -a freq -d 'set the CPU frequency'
complete -c zelt-power -n '__zelt_power_at any freq' -s n -l dry-run -d 'explain what would happen, step by step; send nothing'
complete -c zelt-power -n '__zelt_power_at any freq' -s y -l yes -d 'send it without a question, whatever is unusual about it'
complete -c zelt-power -n '__zelt_power_at any freq' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 freq' -a '96 200 300 372 408 456'

complete -c zelt-power -n '__zelt_power_at 0' -a autoscaling -d 'switch on or off that the CPU frequency follows the load'
complete -c zelt-power -n '__zelt_power_at any autoscaling' -s n -l dry-run -d 'explain what would happen, step by step; send nothing'
complete -c zelt-power -n '__zelt_power_at any autoscaling' -s y -l yes -d 'send it without a question, whatever is unusual about it'
complete -c zelt-power -n '__zelt_power_at any autoscaling' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 autoscaling' -a 'on off'

complete -c zelt-power -n '__zelt_power_at 0' -a actions -d 'switch the power zones on or off'
complete -c zelt-power -n '__zelt_power_at any actions' -s n -l dry-run -d 'explain what would happen, step by step; send nothing'
complete -c zelt-power -n '__zelt_power_at any actions' -s y -l yes -d 'send it without a question, whatever is unusual about it'
complete -c zelt-power -n '__zelt_power_at any actions' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 actions' -a 'on off'

complete -c zelt-power -n '__zelt_power_at 0' -a sleep -d 'set or clear the sleep window'
complete -c zelt-power -n '__zelt_power_at any sleep' -s n -l dry-run -d 'explain what would happen, step by step; send nothing'
complete -c zelt-power -n '__zelt_power_at any sleep' -s y -l yes -d 'send it without a question, whatever is unusual about it'
complete -c zelt-power -n '__zelt_power_at any sleep' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 sleep' -a 'off 23:00'
complete -c zelt-power -n '__zelt_power_at 1 sleep' -a '06:30'

complete -c zelt-power -n '__zelt_power_at 0' -a zones -d 'check, show, explain, replay'
complete -c zelt-power -n '__zelt_power_at 0 zones' -a check -d 'find what is wrong with zone files'
complete -c zelt-power -n '__zelt_power_at any zones check' -l json -d 'print one JSON object with all findings'
complete -c zelt-power -n '__zelt_power_at any zones check' -l strict -d 'let notes count as findings'
complete -c zelt-power -n '__zelt_power_at any zones check' -l noise -x -d 'by how many percent the charge fluctuates (2)'
complete -c zelt-power -n '__zelt_power_at any zones check' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at any zones check' -F
complete -c zelt-power -n '__zelt_power_at 0 zones' -a show -d 'show which zone has which charges'
complete -c zelt-power -n '__zelt_power_at any zones show' -l json -d 'print one JSON object with the zones and the bands'
complete -c zelt-power -n '__zelt_power_at any zones show' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 zones show' -F
complete -c zelt-power -n '__zelt_power_at 0 zones' -a explain -d 'explain which zone a charge selects'
complete -c zelt-power -n '__zelt_power_at any zones explain' -l json -d 'print one JSON object'
complete -c zelt-power -n '__zelt_power_at any zones explain' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 1 zones explain' -F
complete -c zelt-power -n '__zelt_power_at 0 zones' -a replay -d 'play recorded charges against a zone file'
complete -c zelt-power -n '__zelt_power_at any zones replay' -l svg -r -F -d 'also write the picture to this file'
complete -c zelt-power -n '__zelt_power_at any zones replay' -l json -d 'print one JSON object in place of the text'
complete -c zelt-power -n '__zelt_power_at any zones replay' -l help -d 'explain the command'
complete -c zelt-power -n '__zelt_power_at 0 zones replay' -F
complete -c zelt-power -n '__zelt_power_at 1 zones replay' -F
