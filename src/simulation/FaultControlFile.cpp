// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/FaultControlFile.h"
#include "platform/CrashHandler.h"

#include <QFile>
#include <chrono>

namespace vt {

namespace {

constexpr std::chrono::milliseconds PollInterval{200};
constexpr qint64 MaximumLineBytes = 512;

} // namespace

FaultControlFile::FaultControlFile(const QString& path, std::function<void(const QString&)> apply)
    : m_path(path), m_apply(std::move(apply))
{
    readNewLines();
    m_thread = std::thread([this] { run(); });
}

FaultControlFile::~FaultControlFile()
{
    {
        MutexLock lock(m_mutex);
        m_quit = true;
    }
    m_quitChanged.notify_all();
    m_thread.join();
}

void FaultControlFile::run()
{
    CrashHandler::prepareThread();
    while (true) {
        readNewLines();
        MutexLock lock(m_mutex);
        if (!m_quit)
            m_quitChanged.wait_for(m_mutex, PollInterval);
        if (m_quit)
            return;
    }
}

void FaultControlFile::readNewLines()
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    if (file.size() < m_offset)
        m_offset = 0;
    if (!file.seek(m_offset))
        return;
    while (true) {
        const QByteArray line = file.readLine(MaximumLineBytes);
        const bool complete = line.endsWith('\n') || line.size() >= MaximumLineBytes - 1;
        if (!complete)
            return;
        m_offset += line.size();
        m_apply(QString::fromUtf8(line));
    }
}

} // namespace vt
