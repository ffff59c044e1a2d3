// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

/// What the program ends with; the same for every command.
enum class ExitStatus
{
    Done = 0,     ///< what was asked for is done
    Refused = 1,  ///< the power daemon or the service behind it answered with a status other than 0
    WrongUse = 2, ///< a wrong argument, or a question answered with no; nothing was sent
    NoDaemon = 3, ///< no power daemon, or no session bus
    NoAnswer = 4, ///< no answer in the time that the operation may take
    Findings = 5, ///< a file that was checked has findings
};
