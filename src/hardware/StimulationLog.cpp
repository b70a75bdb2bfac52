// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationLog.h"

#include "hardware/StimulationRows.h"
#include "recording/BlockWrite.h"
#include "recording/DataFile.h"

#include <QDebug>
#include <utility>

namespace vt {

/// What the worker does. Lives there.
class StimulationLog::File
{
public:
    void open(const QString& path, const QString& mode)
    {
        m_path = path;
        const FileUtils::OpenResult result = m_file.openForWriting(path, FileUtils::Content::Append);
        if (result == FileUtils::OpenResult::InUse) {
            qWarning().noquote() << "StimulationController: stim file is held by another process,"
                                 << "stimulation events will not be logged:" << path;
            return;
        }
        if (result == FileUtils::OpenResult::Failed) {
            qWarning().noquote() << "StimulationController: Failed to open stim file:" << path;
            return;
        }
        qDebug().noquote().nospace() << "StimulationController: Stim file opened: " << path
                                     << " (mode: " << mode << ")";
        if (m_file.size() == 0)
            append(stimulationHeaderRow());
        else if (endsInsideRow())
            append(QStringLiteral("\n"));
    }
    void append(const QString& row)
    {
        const bool isOpen = m_file.isOpen();
        if (isOpen && writeBlock(m_file, row.toUtf8()).complete)
            return;
        if (++m_lostRows == 1 && isOpen)
            qWarning().noquote() << "StimulationController: Failed to write stim file:" << m_path
                                 << m_file.errorString();
    }
    void close()
    {
        const bool wasOpen = m_file.isOpen();
        m_file.close();
        if (m_lostRows > 0)
            qWarning().noquote() << "StimulationController:" << m_lostRows
                                 << "rows could not be written to stim file:" << m_path;
        if (wasOpen)
            qDebug().noquote() << "StimulationController: Stim file closed";
    }

private:
    /// Did a crash leave half a row at the end? Leaves the position at the end.
    [[nodiscard]] bool endsInsideRow()
    {
        char last = '\n';
        const qint64 end = m_file.size();
        const bool cut = m_file.seek(end - 1) && m_file.getChar(&last) && last != '\n';
        return m_file.seek(end) && cut;
    }

    QString m_path;
    DataFile m_file;
    quint64 m_lostRows = 0;
};

StimulationLog::StimulationLog(std::shared_ptr<Inbox> worker) : m_worker(std::move(worker)) {}

StimulationLog::~StimulationLog()
{
    close();
}

template <typename Step>
void StimulationLog::perform(Step step)
{
    if (m_worker)
        m_worker->post([file = m_file, step = std::move(step)] { step(*file); });
    else
        step(*m_file);
}

void StimulationLog::open(const QString& path, const QString& mode)
{
    close();
    m_file = std::make_shared<File>();
    perform([path, mode](File& file) { file.open(path, mode); });
}

void StimulationLog::append(const QString& row)
{
    if (m_file)
        perform([row](File& file) { file.append(row); });
}

void StimulationLog::close()
{
    if (!m_file)
        return;
    perform([](File& file) { file.close(); });
    m_file.reset();
}

} // namespace vt
