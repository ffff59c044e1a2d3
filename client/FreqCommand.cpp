// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FreqCommand.h"

#include "FrequencyLadder.h"
#include "Terminal.h"

using namespace Qt::Literals::StringLiterals;

namespace {

QStringList ladderTexts()
{
    QStringList texts;
    for (const int frequency : kFrequenciesMHz) {
        texts.append(QString::number(frequency));
    }
    return texts;
}

} // namespace

CommandDescription FreqCommand::describeOperation() const
{
    return {
        u"freq"_s,
        u"set the CPU frequency"_s,
        u"Sets the CPU frequency, whether autoscaling is on or off; while it is on, the next load or media event may "
        "move it again. The frequency service decides what it accepts."_s,
        {{u"MHZ"_s,
          u"the frequency in MHz, usually a rung of the ladder: "_s + ladderTexts().join(u", "_s),
          false,
          false,
          false,
          {},
          ladderTexts()}},
        {},
        {{u"freq 300"_s, u"a rung in the middle"_s}},
        {}};
}

Operation FreqCommand::prepare(const CommandArguments& arguments) const
{
    Operation operation;
    const QString text = arguments.positional(0);
    bool isNumber = false;
    const int frequency = text.toInt(&isNumber);
    if (!isNumber || frequency <= 0) {
        operation.fault = u"found \"%1\"; expected a whole number of MHz, such as %2"_s.arg(
            printable(text), ladderTexts().join(u", "_s));
        return operation;
    }
    operation.member = u"SetFreq"_s;
    operation.arguments = {frequency};
    operation.steps = sequence::setFreq();
    operation.intent = u"set the CPU frequency to %1 MHz"_s.arg(frequency);
    operation.done = u"CPU frequency set to %1 MHz"_s.arg(frequency);
    if (!ladderTexts().contains(QString::number(frequency))) {
        const QList<int> ladder(std::begin(kFrequenciesMHz), std::end(kFrequenciesMHz));
        const int below = rungBelow(ladder, frequency);
        const int above = rungAbove(ladder, frequency);
        operation.doubts.append(u"%1 MHz is not on the ladder; the nearest rung is %2 MHz."_s.arg(frequency).arg(
            qAbs(frequency - below) <= qAbs(above - frequency) ? below : above));
    }
    return operation;
}
