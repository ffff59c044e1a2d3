// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandDescription.h"

using namespace Qt::Literals::StringLiterals;

QString CommandDescription::usage() const
{
    QString line = u"zelt-power "_s + name;
    if (!options.isEmpty()) {
        line += u" [OPTION...]"_s;
    }
    for (const PositionalDescription& positional : positionals) {
        const QString word = positional.name + (positional.isRepeated ? u"..."_s : QString());
        line += u' ' + (positional.isOptional ? u'[' + word + u']' : word);
    }
    return line;
}
