// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace vt::crash {

/// A line "Frame 3: 0x7F00A1 [/usr/lib/libx.so] + 0x40A1" taken apart.
struct FrameLine
{
    int number = 0;
    std::string module;
    std::uint64_t offset = 0;
};
[[nodiscard]] std::optional<FrameLine> parseFrameLine(const std::string& line);

/// Names the place: "function (file:line)", or nothing.
using PlaceName = std::function<std::string(const FrameLine&)>;

/// The report with a place behind every frame that has one, and the type of an escaped exception spelled out.
[[nodiscard]] std::string annotated(const std::string& report, const PlaceName& placeName);

} // namespace vt::crash
