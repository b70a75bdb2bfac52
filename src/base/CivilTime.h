// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string_view>

namespace vt {

/// Milliseconds since 1970-01-01 UTC of the machine's clock, for stamps on text. What waits takes a
/// TimeSource.
[[nodiscard]] inline std::int64_t wallClockMs() noexcept
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

/// A moment as a calendar shows it. Plain arithmetic: no zone table, no lock, no allocation.
struct CivilTime
{
    int year = 1970;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;

    /// The moment utcMs as seen where clocks are utcOffsetSeconds ahead of UTC.
    [[nodiscard]] static constexpr CivilTime from(std::int64_t utcMs, int utcOffsetSeconds) noexcept
    {
        using namespace std::chrono;
        const sys_time<milliseconds> local{milliseconds(utcMs) + seconds(utcOffsetSeconds)};
        const auto midnight = floor<days>(local);
        const year_month_day date{midnight};
        const hh_mm_ss<milliseconds> time{local - midnight};
        return {static_cast<int>(date.year()),
                static_cast<int>(static_cast<unsigned>(date.month())),
                static_cast<int>(static_cast<unsigned>(date.day())),
                static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()),
                static_cast<int>(time.subseconds().count())};
    }
};

/// Text in a fixed buffer, for lines that are put together where nothing may be allocated. What does not fit
/// is left out.
template <std::size_t Capacity>
class FixedText
{
public:
    constexpr FixedText& add(std::string_view text) noexcept
    {
        for (const char letter : text)
            add(letter);
        return *this;
    }
    constexpr FixedText& add(char letter) noexcept
    {
        if (m_size < Capacity)
            m_text[m_size++] = letter;
        return *this;
    }
    /// In the given base, at least minimumDigits long. Letters are upper case.
    constexpr FixedText& addNumber(std::uint64_t value, int minimumDigits = 1, unsigned base = 10) noexcept
    {
        std::array<char, 64> digits{};
        std::size_t count = 0;
        for (; value != 0 || static_cast<int>(count) < minimumDigits; value /= base)
            digits[count++] = "0123456789ABCDEF"[value % base];
        while (count > 0)
            add(digits[--count]);
        return *this;
    }
    constexpr FixedText& addHex(std::uint64_t value, int minimumDigits = 1) noexcept
    {
        return addNumber(value, minimumDigits, 16);
    }
    /// "+0100"
    constexpr FixedText& addUtcOffset(int offsetSeconds) noexcept
    {
        const int minutes = (offsetSeconds < 0 ? -offsetSeconds : offsetSeconds) / 60;
        const int digits = minutes / 60 * 100 + minutes % 60;
        add(offsetSeconds < 0 ? '-' : '+');
        return addDigits(digits, 4);
    }
    /// "2026/03/09 7:05:01"
    constexpr FixedText& addTime(const CivilTime& time) noexcept
    {
        addDigits(time.year, 4).add('/').addDigits(time.month, 2).add('/').addDigits(time.day, 2).add(' ');
        return addDigits(time.hour, 1).add(':').addDigits(time.minute, 2).add(':').addDigits(time.second, 2);
    }
    /// "20260309_070501"
    constexpr FixedText& addTimeForName(const CivilTime& time) noexcept
    {
        addDigits(time.year, 4).addDigits(time.month, 2).addDigits(time.day, 2).add('_');
        return addDigits(time.hour, 2).addDigits(time.minute, 2).addDigits(time.second, 2);
    }
    constexpr FixedText& addDigits(int value, int minimumDigits) noexcept
    {
        return addNumber(static_cast<std::uint64_t>(value < 0 ? 0 : value), minimumDigits);
    }
    constexpr void clear() noexcept { m_size = 0; }
    [[nodiscard]] constexpr std::string_view view() const noexcept { return {m_text.data(), m_size}; }
    /// Zero-terminated.
    [[nodiscard]] constexpr const char* text() noexcept
    {
        m_text[m_size] = '\0';
        return m_text.data();
    }

private:
    std::array<char, Capacity + 1> m_text{};
    std::size_t m_size = 0;
};

} // namespace vt
