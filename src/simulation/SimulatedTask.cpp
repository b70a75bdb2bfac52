// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SimulatedTask.h"

#include "simulation/DigitalLines.h"
#include "simulation/DriverErrors.h"

#include <algorithm>
#include <charconv>

namespace vt {

namespace {

char lowerCase(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

/// Takes the text up to the separator off the front of rest.
std::string_view takeUntil(std::string_view& rest, char separator)
{
    const std::size_t end = rest.find(separator);
    const std::string_view head = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return head;
}

bool parseNumber(std::string_view text, int* number)
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), *number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && *number >= 0;
}

struct Range
{
    int first = 0;
    int last = 0;
};

/// "<prefix>3" or "<prefix>1:2", upwards.
bool parseRange(std::string_view text, std::string_view prefix, Range* range)
{
    if (text.size() <= prefix.size() || !sameDeviceName(text.substr(0, prefix.size()), prefix))
        return false;
    std::string_view rest = text.substr(prefix.size());
    const bool isRange = rest.find(':') != std::string_view::npos;
    if (!parseNumber(takeUntil(rest, ':'), &range->first))
        return false;
    range->last = range->first;
    return !isRange || (parseNumber(rest, &range->last) && range->last >= range->first);
}

} // namespace

bool sameDeviceName(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char left, char right) { return lowerCase(left) == lowerCase(right); });
}

std::int32_t parseAnalogChannels(std::string_view text, std::string_view device, int channelCount,
                                 std::vector<int>* channels)
{
    if (trimmed(text).empty())
        return drivererror::ChannelSyntax;
    while (!text.empty()) {
        std::string_view item = trimmed(takeUntil(text, ','));
        const std::string_view name = takeUntil(item, '/');
        Range range;
        if (!parseRange(item, "ai", &range))
            return drivererror::ChannelSyntax;
        if (!sameDeviceName(name, device))
            return drivererror::InvalidDevice;
        if (range.last >= channelCount)
            return drivererror::NoSuchPhysicalChannel;
        for (int channel = range.first; channel <= range.last; ++channel) {
            if (std::find(channels->begin(), channels->end(), channel) != channels->end())
                return drivererror::ChannelAlreadyInTask;
            channels->push_back(channel);
        }
    }
    return 0;
}

std::int32_t parseDigitalLines(std::string_view text, std::string_view device, int* port,
                               std::uint32_t* lines)
{
    if (trimmed(text).empty())
        return drivererror::ChannelSyntax;
    *lines = 0;
    while (!text.empty()) {
        std::string_view item = trimmed(takeUntil(text, ','));
        const std::string_view name = takeUntil(item, '/');
        const std::string_view portText = takeUntil(item, '/');
        Range portRange;
        Range lineRange;
        if (!parseRange(portText, "port", &portRange) || portRange.last != portRange.first ||
            !parseRange(item, "line", &lineRange))
            return drivererror::ChannelSyntax;
        if (!sameDeviceName(name, device))
            return drivererror::InvalidDevice;
        if (portRange.first >= DigitalLines::PortCount || lineRange.last >= DigitalLines::LineCount)
            return drivererror::NoSuchPhysicalChannel;
        if (*lines != 0 && portRange.first != *port)
            return drivererror::ChannelSyntax;
        *port = portRange.first;
        for (int line = lineRange.first; line <= lineRange.last; ++line)
            *lines |= 1U << line;
    }
    return 0;
}

} // namespace vt
