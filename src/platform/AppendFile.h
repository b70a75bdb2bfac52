// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <atomic>
#include <cstdint>
#include <string_view>

namespace vt {

/// A file that only grows, unbuffered: what append() has taken is with the system, and survives the death of
/// the program. One thread; appendWhileDying() any. Logs nothing, so that the log can be written with it.
class AppendFile
{
public:
    AppendFile() = default;
    ~AppendFile();
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    enum class Creation { Created, NameTaken, Failed };
    /// As open(), for a file that does not exist yet.
    [[nodiscard]] Creation create(const QString& path);
    /// True when an AppendFile of this process or another has the existing file open. Does not touch it.
    [[nodiscard]] static bool isOpenSomewhere(const QString& path);
    /// Opens for appending, creates what is missing (not the folder). Replaces the file that was open when
    /// that works, else leaves it.
    [[nodiscard]] bool open(const QString& path);
    [[nodiscard]] bool isOpen() const noexcept { return m_handle.load() != Closed; }
    /// Returns how many bytes were taken: fewer than given after an error.
    [[nodiscard]] std::size_t append(std::string_view bytes) noexcept;
    /// Takes back the last so many bytes, as far as the system lets it.
    void cutBack(std::size_t bytes) noexcept;
    /// True when no name leads to the file any more.
    [[nodiscard]] bool isGone() const noexcept;

    /// append() for a crash handler: no lock, no allocation.
    [[nodiscard]] std::size_t appendWhileDying(std::string_view bytes) const noexcept;

private:
    void take(std::intptr_t handle) noexcept;
    static constexpr std::intptr_t Closed = -1; ///< also the value of an invalid handle on Windows
    std::atomic<std::intptr_t> m_handle{Closed};
};

} // namespace vt
