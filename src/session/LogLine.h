// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <string>
#include <string_view>

namespace vt {

/// One record of the log, with its line feed, stamped with the time of the call:
///
///     [2026/03/09 7:05:01.042 UTC+0100 W] src/session/File.cpp:42 - message
///
/// That is "[%{time yyyy/MM/dd h:mm:ss.zzz} UTC%{time tt} letter] %{file}:%{line} - %{message}" as Qt prints
/// it from 6.5 on; Qt 6.4 takes "tt" for the zone's abbreviation twice ("CETCET"). The zone's offset is
/// looked up once a minute, which also keeps the crash report's clock right; changes of the offset fall on
/// full minutes. message is UTF-8; beyond 1 MiB it is cut, which the record says. sourceFile may be null. Any
/// thread.
[[nodiscard]] std::string logLine(QtMsgType type, const char* sourceFile, int sourceLine,
                                  std::string_view message);

/// The same for a given moment.
[[nodiscard]] std::string logLineAt(qint64 utcMs, int utcOffsetSeconds, QtMsgType type,
                                    const char* sourceFile, int sourceLine, std::string_view message);

/// The letter in the head of such a record: D, I, W, C or F; 0 when it is no such record.
[[nodiscard]] char severityOf(std::string_view record) noexcept;

} // namespace vt
