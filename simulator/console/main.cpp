// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ProgramMain.h"

int main(int argc, char** argv)
{
    return runProgram(argc, argv, {});
}
