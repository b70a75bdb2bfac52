// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "hardware/DiskThread.h"
#include "session/SetupFile.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <variant>

namespace vt {

/// Reads and writes setup files, one after the other, without holding up its owner, whatever the disk does.
/// Answers come later, on this thread; not when the object is gone. Interface thread. The end waits for 5 s
/// for what is still to be written.
class SetupFileDisk
{
public:
    using ReadResult = std::variant<SetupFileContents, SetupFileError>;

    void read(const QString& path, int deviceChannelCount, std::function<void(const ReadResult&)> answer);
    /// answer: the error text, or empty.
    void write(const QString& path, const QByteArray& json, std::function<void(const QString&)> answer);
    void exists(const QString& path, std::function<void(bool)> answer);
    /// Something has not been answered yet.
    [[nodiscard]] bool isBusy() const { return m_pending > 0; }

private:
    template <typename Work, typename Value>
    void run(Work work, std::function<void(const Value&)> answer);

    int m_pending = 0;
    DiskThread m_disk{QStringLiteral("setup files"), 5000};
    Inbox m_answers;
};

} // namespace vt
