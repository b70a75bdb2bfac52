// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnvLogWriter.h"

#include "envsens/WorkerThread.h"
#include "recording/BlockWrite.h"
#include "recording/DataFile.h"

#include <QDebug>
#include <atomic>
#include <future>

namespace vt {

namespace {

constexpr int FinishWaitMs = 3000;

} // namespace

/// The file and what is owed to it on the writer's thread; the counters anywhere.
struct EnvLogWriter::Shared
{
    bool open(const QString& path, bool exclusive)
    {
        close();
        isFailureTold = false;
        isOpen = exclusive ? file.openForWriting(path) == FileUtils::OpenResult::Opened : openShared(path);
        return isOpen;
    }
    void writeHeading(const QByteArray& bytes)
    {
        if (isOpen && !write(owed + bytes))
            owed += bytes;
        else
            owed.clear();
    }
    void writeRecord(const QByteArray& bytes)
    {
        if (!isOpen) {
            --given;
        } else if (write(owed + bytes)) {
            owed.clear();
            ++written;
        } else {
            ++failed;
        }
    }
    void close()
    {
        if (isOpen && !owed.isEmpty())
            qCritical().noquote() << "Env-sens file: the last header is not in" << file.fileName();
        owed.clear();
        isOpen = false;
        file.close();
        end = 0;
    }

    std::atomic<int> waiting{0};
    std::atomic<bool> isDropTold{false};
    std::atomic<quint64> given{0};
    std::atomic<quint64> written{0};
    std::atomic<quint64> failed{0};
    std::atomic<quint64> dropped{0};
    std::atomic<quint64> failedWrites{0};
    WorkerThread worker{QStringLiteral("env-sens log")};

private:
    bool openShared(const QString& path)
    {
        file.setFileName(path);
        return file.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered);
    }
    bool write(const QByteArray& bytes)
    {
        // A part of an earlier block that could not be cut off is cut off now, or overwritten.
        const bool isInPlace = file.pos() == end && file.size() == end;
        if ((isInPlace || (file.resize(end) && file.seek(end))) && writeBlock(file, bytes).complete) {
            end += bytes.size();
            return true;
        }
        ++failedWrites;
        if (!isFailureTold)
            qCritical().noquote() << "Env-sens file: write failed for" << file.fileName()
                                  << file.errorString();
        isFailureTold = true;
        return false;
    }

    DataFile file;
    bool isOpen = false;
    bool isFailureTold = false;
    qint64 end = 0;  ///< of the last whole block
    QByteArray owed; ///< headers and separators that are still to be written
};

EnvLogWriter::EnvLogWriter() : m_shared(std::make_shared<Shared>())
{
    m_shared->worker.start();
}

EnvLogWriter::~EnvLogWriter()
{
    m_shared->worker.finish([shared = m_shared.get()] { shared->close(); });
    if (m_shared->worker.wait(FinishWaitMs))
        return;
    qCritical("Env-sens file: the disk does not answer, %d records are not written",
              m_shared->waiting.load());
    keepToTheEnd(m_shared);
}

void EnvLogWriter::open(const QString& path, bool exclusive, std::function<void(bool)> done)
{
    m_shared->worker.post([shared = m_shared.get(), path, exclusive, done = std::move(done)] {
        done(shared->open(path, exclusive));
    });
}

void EnvLogWriter::writeHeading(const QByteArray& bytes)
{
    m_shared->worker.post([shared = m_shared.get(), bytes] { shared->writeHeading(bytes); });
}

void EnvLogWriter::writeRecord(const QByteArray& bytes)
{
    ++m_shared->given;
    if (m_shared->waiting >= MaxWaitingRecords) {
        ++m_shared->dropped;
        if (!m_shared->isDropTold.exchange(true))
            qCritical("Env-sens file: the disk does not keep up, records are lost");
        return;
    }
    ++m_shared->waiting;
    m_shared->worker.post([shared = m_shared.get(), bytes] {
        shared->writeRecord(bytes);
        --shared->waiting;
    });
}

void EnvLogWriter::close()
{
    m_shared->worker.post([shared = m_shared.get()] { shared->close(); });
}

bool EnvLogWriter::waitForWritten(int timeoutMs)
{
    auto reached = std::make_shared<std::promise<void>>();
    std::future<void> future = reached->get_future();
    m_shared->worker.post([reached] { reached->set_value(); });
    return future.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
}

EnvLogCounts EnvLogWriter::counts() const
{
    return {m_shared->given, m_shared->written, m_shared->failed, m_shared->dropped, m_shared->failedWrites};
}

} // namespace vt
