// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Program.h"
#include "Terminal.h"

#include <QCoreApplication>

#include <cstdlib>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    ExitStatus status = ExitStatus::Done;
    {
        Terminal terminal;
        status = Program(terminal).run(QCoreApplication::arguments().mid(1));
    }
    // At once: the end of the D-Bus binding would wait for a bus that hangs. Nothing is left to be written.
    std::_Exit(static_cast<int>(status));
}
