// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/crashreport/ReportLines.h"

#include "platform/ModuleSymbols.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string_view>

namespace vt::crash {

namespace {

constexpr std::string_view FrameBegin = "Frame ";
constexpr std::string_view ExceptionBegin = "Uncaught exception: ";

template <typename Number>
bool readNumber(std::string_view text, Number& number, int base)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size();
}

/// "Uncaught exception: St13runtime_error "text"" -> "Uncaught exception: std::runtime_error "text""
std::string withTypeSpelledOut(const std::string& line)
{
    const std::size_t begin = ExceptionBegin.size();
    const std::size_t end = std::min(line.find(' ', begin), line.size());
    return line.substr(0, begin) + ModuleSymbols::spelledOut(line.substr(begin, end - begin)) +
           line.substr(end);
}

} // namespace

std::optional<FrameLine> parseFrameLine(const std::string& line)
{
    constexpr std::string_view offsetMark = "] + 0x";
    const std::string_view text = line;
    const std::size_t colon = text.find(':');
    const std::size_t open = text.find('[');
    const std::size_t close = text.rfind(offsetMark);
    if (!text.starts_with(FrameBegin) || colon == text.npos || open == text.npos || close == text.npos ||
        close < open)
        return std::nullopt;
    FrameLine frame;
    frame.module = text.substr(open + 1, close - open - 1);
    if (!readNumber(text.substr(FrameBegin.size(), colon - FrameBegin.size()), frame.number, 10) ||
        !readNumber(text.substr(close + offsetMark.size()), frame.offset, 16))
        return std::nullopt;
    return frame;
}

std::string annotated(const std::string& report, const PlaceName& placeName)
{
    std::istringstream in(report);
    std::string out;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(ExceptionBegin))
            line = withTypeSpelledOut(line);
        if (const auto frame = parseFrameLine(line))
            if (const std::string place = placeName(*frame); !place.empty())
                line += ' ' + place;
        out += line + '\n';
    }
    return out;
}

} // namespace vt::crash
