// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Program.h"

/// The program from its arguments to its exit status.
/// @param page makes the page; empty: with the option --page, the program that has it takes this one's place
[[nodiscard]] int runProgram(int argc, char** argv, const FrontEndFactory& page);
