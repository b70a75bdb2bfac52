// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AppendFile.h"

#include <QDir>
#include <algorithm>

#include <qt_windows.h>

namespace vt {

namespace {

HANDLE handleOf(std::intptr_t value)
{
    return reinterpret_cast<HANDLE>(value);
}

std::size_t writeAll(std::intptr_t handle, std::string_view bytes) noexcept
{
    constexpr std::size_t largestPiece = std::size_t{1} << 20;
    std::size_t taken = 0;
    while (taken < bytes.size()) {
        const auto piece = static_cast<DWORD>(std::min(bytes.size() - taken, largestPiece));
        DWORD count = 0;
        if (!WriteFile(handleOf(handle), bytes.data() + taken, piece, &count, nullptr) || count == 0)
            break;
        taken += count;
    }
    return taken;
}

} // namespace

AppendFile::~AppendFile()
{
    if (isOpen())
        CloseHandle(handleOf(m_handle.load()));
}

bool AppendFile::open(const QString& path)
{
    // FILE_APPEND_DATA writes at the end; FILE_WRITE_DATA allows to cut a half-written line.
    HANDLE opened =
        CreateFileW(reinterpret_cast<const wchar_t*>(QDir::toNativeSeparators(path).utf16()),
                    FILE_APPEND_DATA | FILE_WRITE_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
        return false;
    SetFilePointerEx(opened, {}, nullptr, FILE_END);
    const std::intptr_t before = m_handle.exchange(reinterpret_cast<std::intptr_t>(opened));
    if (before != Closed)
        CloseHandle(handleOf(before));
    return true;
}

std::size_t AppendFile::append(std::string_view bytes) noexcept
{
    return writeAll(m_handle.load(), bytes);
}

void AppendFile::cutBack(std::size_t bytes) noexcept
{
    LARGE_INTEGER back{};
    back.QuadPart = -static_cast<LONGLONG>(bytes);
    if (SetFilePointerEx(handleOf(m_handle.load()), back, nullptr, FILE_END))
        SetEndOfFile(handleOf(m_handle.load()));
}

bool AppendFile::isGone() const noexcept
{
    return false; // the system keeps an open file from being removed
}

std::size_t AppendFile::appendWhileDying(std::string_view bytes) const noexcept
{
    return writeAll(m_handle.load(), bytes);
}

} // namespace vt
