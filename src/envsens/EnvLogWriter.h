// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>
#include <functional>
#include <memory>

namespace vt {

/// What became of the records of all files so far: given = written + failed + dropped + still waiting.
struct EnvLogCounts
{
    quint64 recordsGiven = 0;
    quint64 recordsWritten = 0;
    quint64 recordsFailed = 0;  ///< the disk did not take them
    quint64 recordsDropped = 0; ///< too many were waiting for the disk
    quint64 failedWrites = 0;   ///< of records, headers and separators
    [[nodiscard]] quint64 recordsLost() const { return recordsFailed + recordsDropped; }
};

/// Writes blocks to one file after another on a thread of its own, in the order given. A block is written as
/// a whole or cut off again, so that columns never shift; headers that the disk did not take are tried again
/// together with the next record, which without them would be read by the wrong header.
/// Owner's thread, which never waits for the disk, but for waitForWritten() and the destructor.
class EnvLogWriter
{
public:
    static constexpr int MaxWaitingRecords = 2000; ///< more than an hour at the usual pace

    EnvLogWriter();
    /// Waits up to 3 s for what has been given; a disk that takes longer keeps its thread, which is left to
    /// the end of the process.
    ~EnvLogWriter();
    EnvLogWriter(const EnvLogWriter&) = delete;
    EnvLogWriter& operator=(const EnvLogWriter&) = delete;

    /// Closes the file before. done gets false when the file cannot be opened, on the writer's thread. What
    /// is given until then is not written and not lost: there is no log.
    void open(const QString& path, bool exclusive, std::function<void(bool)> done);
    /// A header or separator; is never dropped.
    void writeHeading(const QByteArray& bytes);
    void writeRecord(const QByteArray& bytes);
    void close();
    /// True when everything given so far has met the disk; waits for that up to timeoutMs.
    [[nodiscard]] bool waitForWritten(int timeoutMs);
    /// Any thread.
    [[nodiscard]] EnvLogCounts counts() const;

private:
    struct Shared;
    std::shared_ptr<Shared> m_shared;
};

} // namespace vt
