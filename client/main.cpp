// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Program.h"
#include "Terminal.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    Terminal terminal;
    Program program(terminal);
    return static_cast<int>(program.run(QCoreApplication::arguments().mid(1)));
}
