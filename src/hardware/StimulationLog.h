// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"

#include <QString>
#include <memory>
#include <optional>

namespace vt {

/// The file "_Stim.csv": opened for one writer, appended to, whole rows only. A file that cannot be opened or
/// written costs rows, never a stimulation: the first lost row is logged, and their number when the file is
/// closed. An account over all files of a recording says how many there were.
///
/// Interface thread; never waits for the disk when it has a worker: opening, writing and closing run there,
/// in the order of the calls. Without a worker they run at once, on the calling thread.
class StimulationLog
{
public:
    explicit StimulationLog(std::shared_ptr<Inbox> worker = nullptr);
    ~StimulationLog();
    StimulationLog(const StimulationLog&) = delete;
    StimulationLog& operator=(const StimulationLog&) = delete;

    /// Closes an open file first. An empty file gets the header row. mode is for the log line.
    void open(const QString& path, const QString& mode);
    void append(const QString& row);
    void close();
    /// From open() to close(). With a worker, the file itself may not have been opened yet, or never be.
    [[nodiscard]] bool isOpen() const { return m_file != nullptr; }

    struct Losses
    {
        quint64 rows = 0;  ///< not in their file
        quint64 files = 0; ///< that could not be opened
    };
    /// A recording begins: files that are opened from now on count for it, older ones no more.
    void beginAccount();
    /// It has ended, and its last file is closed: rows that the worker still owes an answer count as lost.
    void endAccount();
    /// Of the newest account, as far as is known.
    [[nodiscard]] Losses losses() const;

private:
    class File;
    struct Account;
    template <typename Step>
    void perform(Step step);

    std::shared_ptr<Inbox> m_worker;
    std::shared_ptr<File> m_file; ///< used on the worker only
    std::shared_ptr<Account> m_account;
    quint64 m_rowsGiven = 0; ///< in this account
    std::optional<Losses> m_final;
};

} // namespace vt
