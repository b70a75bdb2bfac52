// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/FaultCommand.h"

#include <QStringList>

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

bool parseReplug(const QStringList& words, FaultCommand* command)
{
    if (words.size() == 1)
        return true;
    return words.size() == 3 && words[1] == QLatin1String("serial") &&
           parseUnsigned(words[2], UINT32_MAX, &command->number) && command->number > 0;
}

bool parseReadError(const QStringList& words, FaultCommand* command)
{
    if (words.size() < 2 || words.size() > 3 || !parseCode(words[1], &command->code))
        return false;
    command->number = 1;
    if (words.size() == 2)
        return true;
    command->on = words[2] == QLatin1String("forever");
    return command->on || parseUnsigned(words[2], INT32_MAX, &command->number);
}

bool parseFailCall(const QStringList& words, FaultCommand* command)
{
    if (words.size() < 3 || words.size() > 4 || !parseUnsigned(words[1], UINT32_MAX, &command->number) ||
        !parseCode(words[2], &command->code))
        return false;
    return words.size() == 3 ||
           parseSwitch(words[3], QLatin1String("forever"), QLatin1String("once"), &command->on);
}

bool parseRegister(const QStringList& words, FaultCommand* command)
{
    std::uint64_t value = 0;
    if (words.size() != 3 || !parseUnsigned(words[1], 0xFF, &command->number) ||
        !parseUnsigned(words[2], 0xFF, &value))
        return false;
    command->value = static_cast<std::uint8_t>(value);
    return true;
}

bool parseOnOff(const QStringList& words, FaultCommand* command)
{
    return words.size() == 2 &&
           parseSwitch(words[1], QLatin1String("on"), QLatin1String("off"), &command->on);
}

bool parseMilliseconds(const QStringList& words, FaultCommand* command)
{
    constexpr std::uint64_t OneDayMs = 86'400'000;
    return words.size() == 2 && parseUnsigned(words[1], OneDayMs, &command->number);
}

struct Rule
{
    QLatin1String word;
    Kind kind;
    bool (*parse)(const QStringList& words, FaultCommand* command);
    QLatin1String usage;
};

const Rule Rules[] = {
    {QLatin1String("unplug"), Kind::Unplug,
     [](const QStringList& words, FaultCommand*) { return words.size() == 1; }, QLatin1String("unplug")},
    {QLatin1String("replug"), Kind::Replug, parseReplug, QLatin1String("replug [serial N]")},
    {QLatin1String("read-error"), Kind::ReadError, parseReadError,
     QLatin1String("read-error CODE [COUNT|forever]")},
    {QLatin1String("stall"), Kind::Stall, parseOnOff, QLatin1String("stall on|off")},
    {QLatin1String("delay"), Kind::Delay, parseMilliseconds, QLatin1String("delay MILLISECONDS")},
    {QLatin1String("hang"), Kind::Hang, parseMilliseconds, QLatin1String("hang MILLISECONDS")},
    {QLatin1String("bus-nak"), Kind::BusNak, parseOnOff, QLatin1String("bus-nak on|off")},
    {QLatin1String("fail-call"), Kind::FailCall, parseFailCall,
     QLatin1String("fail-call N CODE [once|forever]")},
    {QLatin1String("register"), Kind::SetRegister, parseRegister, QLatin1String("register ADDRESS VALUE")},
};

} // namespace

std::optional<FaultCommand> parseFaultCommand(const QString& line, QString* error)
{
    const QString text = line.simplified();
    FaultCommand command;
    if (text.isEmpty() || text.startsWith(QLatin1Char('#')))
        return command;
    const QStringList words = text.split(QLatin1Char(' '));
    for (const Rule& rule : Rules) {
        if (words[0] != rule.word)
            continue;
        command.kind = rule.kind;
        if (rule.parse(words, &command))
            return command;
        *error = QStringLiteral("\"%1\" is not understood, expected: %2").arg(text, rule.usage);
        return std::nullopt;
    }
    *error = QStringLiteral("\"%1\" is not a fault command").arg(text);
    return std::nullopt;
}

} // namespace vt
