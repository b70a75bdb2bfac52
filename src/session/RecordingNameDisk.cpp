// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/RecordingNameDisk.h"

#include "recording/RecordedFiles.h"

#include <QFileInfo>
#include <utility>

namespace vt {

void RecordingNameDisk::look(const QString& path, const QString& base, const QString& raw,
                             std::function<void(const RecordingNameState&)> answer)
{
    const auto find = [path, base, raw] {
        return QFileInfo::exists(path)
                   ? RecordingNameState{true, {}, {}}
                   : RecordingNameState{false, recordedFile(base), recordedFile(base, raw)};
    };
    m_disk.run(m_answers, find,
               [this, mine = ++m_questions, answer = std::move(answer)](const RecordingNameState& found) {
                   if (mine == m_questions)
                       answer(found);
               });
}

} // namespace vt
