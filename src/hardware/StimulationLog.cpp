// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationLog.h"

#include "hardware/StimulationRows.h"
#include "recording/BlockWrite.h"
#include "recording/DataFile.h"

#include <QDebug>
#include <atomic>
#include <utility>

namespace vt {

/// Counted by the worker.
struct StimulationLog::Account
{
    std::atomic<quint64> rowsWritten{0};
    std::atomic<quint64> rowsLost{0};
    std::atomic<quint64> filesFailed{0};
};

/// What the worker does. Lives there.
class StimulationLog::File
{
public:
    explicit File(std::shared_ptr<Account> account) : m_account(std::move(account)) {}
    void open(const QString& path, const QString& mode)
    {
        m_path = path;
        const FileUtils::OpenResult result = m_file.openForWriting(path, FileUtils::Content::Append);
        m_account->filesFailed += result == FileUtils::OpenResult::Opened ? 0U : 1U;
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
            write(stimulationHeaderRow());
        else if (endsInsideRow())
            write(QStringLiteral("\n"));
    }
    void append(const QString& row) { ++(write(row) ? m_account->rowsWritten : m_account->rowsLost); }
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
    bool write(const QString& row)
    {
        const bool isOpen = m_file.isOpen();
        if (isOpen && writeBlock(m_file, row.toUtf8()).complete)
            return true;
        if (++m_lostRows == 1 && isOpen)
            qWarning().noquote() << "StimulationController: Failed to write stim file:" << m_path
                                 << m_file.errorString();
        return false;
    }
    /// Did a crash leave half a row at the end? Leaves the position at the end.
    [[nodiscard]] bool endsInsideRow()
    {
        char last = '\n';
        const qint64 end = m_file.size();
        const bool cut = m_file.seek(end - 1) && m_file.getChar(&last) && last != '\n';
        return m_file.seek(end) && cut;
    }

    const std::shared_ptr<Account> m_account;
    QString m_path;
    DataFile m_file;
    quint64 m_lostRows = 0;
};

StimulationLog::StimulationLog(std::shared_ptr<Inbox> worker)
    : m_worker(std::move(worker)), m_account(std::make_shared<Account>())
{}

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
    m_file = std::make_shared<File>(m_account);
    perform([path, mode](File& file) { file.open(path, mode); });
}

void StimulationLog::append(const QString& row)
{
    if (!m_file)
        return;
    ++m_rowsGiven;
    perform([row](File& file) { file.append(row); });
}

void StimulationLog::close()
{
    if (!m_file)
        return;
    perform([](File& file) { file.close(); });
    m_file.reset();
}

void StimulationLog::beginAccount()
{
    close();
    m_account = std::make_shared<Account>();
    m_rowsGiven = 0;
    m_final.reset();
}

void StimulationLog::endAccount()
{
    m_final = Losses{m_rowsGiven - m_account->rowsWritten, m_account->filesFailed};
}

StimulationLog::Losses StimulationLog::losses() const
{
    return m_final.value_or(Losses{m_account->rowsLost, m_account->filesFailed});
}

} // namespace vt
