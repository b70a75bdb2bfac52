// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/FaultCommand.h"

#include <QStringList>
#include <algorithm>
#include <initializer_list>

namespace vt {

namespace {

using Kind = FaultCommand::Kind;

bool parseUnsigned(const QString& word, std::uint64_t maximum, std::uint64_t* value)
{
    bool ok = false;
    *value = word.toULongLong(&ok, 0);
    return ok && *value <= maximum;
}

bool parseCode(const QString& word, std::int32_t* code)
{
    bool ok = false;
    *code = word.toInt(&ok, 0);
    return ok;
}

bool parseSwitch(const QString& word, QLatin1String onWord, QLatin1String offWord, bool* on)
{
    *on = word == onWord;
    return *on || word == offWord;
}

bool parseChoice(const QString& word, std::initializer_list<QLatin1String> choices, std::uint8_t* index)
{
    const auto* const found = std::find(choices.begin(), choices.end(), word);
    *index = static_cast<std::uint8_t>(found - choices.begin());
    return found != choices.end();
}

// The words after the command's own; false: not understood.

bool parseNothing(const QStringList& words, FaultCommand*)
{
    return words.isEmpty();
}

bool parseReplug(const QStringList& words, FaultCommand* command)
{
    return words.isEmpty() || (words.size() == 2 && words[0] == QLatin1String("serial") &&
                               parseUnsigned(words[1], UINT32_MAX, &command->number) && command->number > 0);
}

bool parseReadError(const QStringList& words, FaultCommand* command)
{
    if (words.isEmpty() || words.size() > 2 || !parseCode(words[0], &command->code))
        return false;
    command->number = 1;
    if (words.size() == 1)
        return true;
    command->on = words[1] == QLatin1String("forever");
    return command->on || parseUnsigned(words[1], INT32_MAX, &command->number);
}

bool parseFailCall(const QStringList& words, FaultCommand* command)
{
    if (words.size() < 2 || words.size() > 3 || !parseUnsigned(words[0], UINT32_MAX, &command->number) ||
        !parseCode(words[1], &command->code))
        return false;
    return words.size() == 2 ||
           parseSwitch(words[2], QLatin1String("forever"), QLatin1String("once"), &command->on);
}

bool parseRegister(const QStringList& words, FaultCommand* command)
{
    std::uint64_t value = 0;
    if (words.size() != 2 || !parseUnsigned(words[0], 0xFF, &command->number) ||
        !parseUnsigned(words[1], 0xFF, &value))
        return false;
    command->value = static_cast<std::uint8_t>(value);
    return true;
}

bool parseOnOff(const QStringList& words, FaultCommand* command)
{
    return words.size() == 1 &&
           parseSwitch(words[0], QLatin1String("on"), QLatin1String("off"), &command->on);
}

bool parsePresence(const QStringList& words, FaultCommand* command)
{
    return words.size() == 1 &&
           parseSwitch(words[0], QLatin1String("present"), QLatin1String("absent"), &command->on);
}

template <std::uint64_t Maximum>
bool parseNumber(const QStringList& words, FaultCommand* command)
{
    return words.size() == 1 && parseUnsigned(words[0], Maximum, &command->number);
}

template <std::uint64_t Maximum>
bool parseCage(const QString& word, FaultCommand* command)
{
    return parseUnsigned(word, Maximum, &command->number) && command->number > 0;
}

bool parseSpeaker(const QStringList& words, FaultCommand* command)
{
    return words.size() == 2 && parseCage<8>(words[0], command) &&
           parseChoice(words[1],
                       {QLatin1String("ok"), QLatin1String("open"), QLatin1String("short"),
                        QLatin1String("shortgnd")},
                       &command->value);
}

bool parseInput(const QStringList& words, FaultCommand* command)
{
    return words.size() == 2 && parseCage<16>(words[0], command) &&
           parseSwitch(words[1], QLatin1String("high"), QLatin1String("low"), &command->on);
}

bool parseBus(const QStringList& words, FaultCommand* command)
{
    return words.size() == 2 &&
           parseChoice(words[0], {QLatin1String("mcu"), QLatin1String("vexio"), QLatin1String("dio")},
                       &command->value) &&
           parseUnsigned(words[1], INT32_MAX, &command->number);
}

constexpr std::uint64_t OneDayMs = 86'400'000;

struct Rule
{
    QLatin1String command; ///< one word, or two
    Kind kind;
    bool (*parse)(const QStringList& words, FaultCommand* command);
    QLatin1String arguments;
};

/// A command of two words stands before the one that its first word begins.
const Rule Rules[] = {
    {QLatin1String("unplug"), Kind::Unplug, parseNothing, QLatin1String("")},
    {QLatin1String("replug"), Kind::Replug, parseReplug, QLatin1String(" [serial N]")},
    {QLatin1String("read-error"), Kind::ReadError, parseReadError, QLatin1String(" CODE [COUNT|forever]")},
    {QLatin1String("stall"), Kind::Stall, parseOnOff, QLatin1String(" on|off")},
    {QLatin1String("delay"), Kind::Delay, parseNumber<OneDayMs>, QLatin1String(" MILLISECONDS")},
    {QLatin1String("hang"), Kind::Hang, parseNumber<OneDayMs>, QLatin1String(" MILLISECONDS")},
    {QLatin1String("slow"), Kind::SlowLines, parseNumber<1000>, QLatin1String(" MILLISECONDS")},
    {QLatin1String("bus-nak"), Kind::BusNak, parseOnOff, QLatin1String(" on|off")},
    {QLatin1String("fail-call"), Kind::FailCall, parseFailCall, QLatin1String(" N CODE [once|forever]")},
    {QLatin1String("register"), Kind::SetRegister, parseRegister, QLatin1String(" ADDRESS VALUE")},
    {QLatin1String("button"), Kind::Button, parseNothing, QLatin1String("")},
    {QLatin1String("sensors"), Kind::Sensors, parseNumber<16>, QLatin1String(" N")},
    {QLatin1String("shorted"), Kind::Shorted, parseNumber<0xFFFF>, QLatin1String(" MASK")},
    {QLatin1String("vexio 12v"), Kind::VexioSupply, parseOnOff, QLatin1String(" on|off")},
    {QLatin1String("vexio overtemp"), Kind::VexioOverTemperature, parseOnOff, QLatin1String(" on|off")},
    {QLatin1String("vexio speaker"), Kind::VexioSpeaker, parseSpeaker,
     QLatin1String(" CAGE ok|open|short|shortgnd")},
    {QLatin1String("vexio brownout"), Kind::VexioBrownOut, parseNothing, QLatin1String("")},
    {QLatin1String("vexio"), Kind::VexioPresence, parsePresence,
     QLatin1String(" absent|present|12v|overtemp|speaker|brownout")},
    {QLatin1String("dio input"), Kind::DioInput, parseInput, QLatin1String(" CAGE high|low")},
    {QLatin1String("dio"), Kind::DioPresence, parsePresence, QLatin1String(" absent|present|input")},
    {QLatin1String("nak"), Kind::NakByte, parseBus, QLatin1String(" mcu|vexio|dio BYTE")},
    {QLatin1String("hold"), Kind::HoldSda, parseBus, QLatin1String(" mcu|vexio|dio CLOCKS")},
};

/// Do the words begin with the rule's own? *rest are those after it.
bool isFor(const Rule& rule, const QStringList& words, QStringList* rest)
{
    const QStringList own = QString(rule.command).split(QLatin1Char(' '));
    *rest = words.mid(own.size());
    return words.mid(0, own.size()) == own;
}

} // namespace

std::optional<FaultCommand> parseFaultCommand(const QString& line, QString* error)
{
    const QString text = line.simplified();
    FaultCommand command;
    if (text.isEmpty() || text.startsWith(QLatin1Char('#')))
        return command;
    const QStringList words = text.split(QLatin1Char(' '));
    for (const Rule& rule : Rules) {
        QStringList rest;
        if (!isFor(rule, words, &rest))
            continue;
        command.kind = rule.kind;
        if (rule.parse(rest, &command))
            return command;
        *error = QStringLiteral("\"%1\" is not understood, expected: %2%3")
                     .arg(text, rule.command, rule.arguments);
        return std::nullopt;
    }
    *error = QStringLiteral("\"%1\" is not a fault command").arg(text);
    return std::nullopt;
}

} // namespace vt
