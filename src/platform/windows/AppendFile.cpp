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

/// INVALID_HANDLE_VALUE after an error, which GetLastError() tells.
HANDLE openFile(const QString& path, DWORD creation)
{
    // FILE_APPEND_DATA writes at the end; FILE_WRITE_DATA allows to cut a half-written line.
    return CreateFileW(reinterpret_cast<const wchar_t*>(QDir::toNativeSeparators(path).utf16()),
                       FILE_APPEND_DATA | FILE_WRITE_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

} // namespace

AppendFile::~AppendFile()
{
    if (isOpen())
        CloseHandle(handleOf(m_handle.load()));
}

AppendFile::Creation AppendFile::create(const QString& path)
{
    HANDLE opened = openFile(path, CREATE_NEW);
    if (opened == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_FILE_EXISTS ? Creation::NameTaken : Creation::Failed;
    take(reinterpret_cast<std::intptr_t>(opened));
    return Creation::Created;
}

bool AppendFile::open(const QString& path)
{
    HANDLE opened = openFile(path, OPEN_ALWAYS);
    if (opened == INVALID_HANDLE_VALUE)
        return false;
    take(reinterpret_cast<std::intptr_t>(opened));
    return true;
}

void AppendFile::take(std::intptr_t handle) noexcept
{
    SetFilePointerEx(handleOf(handle), {}, nullptr, FILE_END);
    if (const std::intptr_t before = m_handle.exchange(handle); before != Closed)
        CloseHandle(handleOf(before));
}

bool AppendFile::isOpenSomewhere(const QString& path)
{
    // The writer does not let it be removed.
    HANDLE looked = CreateFileW(reinterpret_cast<const wchar_t*>(QDir::toNativeSeparators(path).utf16()),
                                DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, 0, nullptr);
    if (looked == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_SHARING_VIOLATION;
    CloseHandle(looked);
    return false;
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
