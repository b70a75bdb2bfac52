// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt::windows {

enum class FileContent { Emptied, Kept };

/// A file opened for writing by one writer, with readers let in.
struct ExclusiveHandle
{
    void* handle = nullptr; ///< the caller's, at position 0; null on failure
    bool inUse = false;     ///< another writer has it; it was left untouched
    const char* failedCall = nullptr;
    unsigned long error = 0;
};

/// Creates or opens the regular file at the native path. Any thread.
[[nodiscard]] ExclusiveHandle openExclusiveHandle(const wchar_t* path, FileContent content);

} // namespace vt::windows
