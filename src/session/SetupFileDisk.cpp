// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/SetupFileDisk.h"

#include <QDebug>
#include <QFileInfo>
#include <utility>

namespace vt {

template <typename Work, typename Value>
void SetupFileDisk::run(Work work, std::function<void(const Value&)> answer)
{
    ++m_pending;
    m_disk.run(m_answers, std::move(work), [this, answer = std::move(answer)](const Value& value) {
        --m_pending;
        answer(value);
    });
}

void SetupFileDisk::read(const QString& path, int deviceChannelCount,
                         std::function<void(const ReadResult&)> answer)
{
    run([path, deviceChannelCount] { return readSetupFile(path, deviceChannelCount); }, std::move(answer));
}

void SetupFileDisk::write(const QString& path, const QByteArray& json,
                          std::function<void(const QString&)> answer)
{
    const auto work = [path, json] {
        QString problem = writeSetupFile(path, json);
        if (!problem.isEmpty()) // perhaps nobody is left to be told
            qWarning().noquote() << problem;
        return problem;
    };
    run(work, std::move(answer));
}

void SetupFileDisk::exists(const QString& path, std::function<void(bool)> answer)
{
    run([path] { return QFileInfo::exists(path); },
        std::function<void(const bool&)>([answer = std::move(answer)](bool isThere) { answer(isThere); }));
}

} // namespace vt
