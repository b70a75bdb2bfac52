// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "hardware/DiskThread.h"

#include <QString>
#include <functional>

namespace vt {

/// What is on the disk under a name that is chosen for a recording.
struct RecordingNameState
{
    bool isThere = false; ///< the raw file: whoever chose it was asked about it
    QString any;          ///< else a file of an earlier recording, or empty
    QString ofOtherKind;  ///< likewise, that would not be replaced with this one: of another kind of animal
};

/// Looks at names without holding up its owner, on a share that hangs neither. Interface thread. Answers come
/// later, on this thread; only the one to the newest question, and none when the object is gone.
class RecordingNameDisk
{
public:
    /// path as chosen; base and raw: of the recording that is to be written there.
    void look(const QString& path, const QString& base, const QString& raw,
              std::function<void(const RecordingNameState&)> answer);

private:
    int m_questions = 0;
    DiskThread m_disk{QStringLiteral("recording names")};
    Inbox m_answers;
};

} // namespace vt
