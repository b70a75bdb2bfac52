// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/BlockWrite.h"
#include "recording/FileWriter.h"
#include "recording/TargetAccounts.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace vt {

enum class WriteOperationType : quint32 { Bytes = 0, Double = 1, Int16 = 2, Int32 = 3, Flush = 4 };

/// One entry of the writer's queues. Numbers are held as the big-endian bytes that go to the file.
struct WriteOperation
{
    WriteOperationType type = WriteOperationType::Bytes;
    quint32 inlineSize = 0;
    QByteArray large; ///< the payload when it exceeds the inline bytes, shared with the producer
    QIODevice* target = nullptr;
    TargetAccount* account = nullptr;
    quint64 order = 0; ///< age among all operations
    bool wasDivertedWhileBusy = false;
    std::array<std::byte, FileWriter::InlineBytes> inlineBytes;

    [[nodiscard]] std::span<const std::byte> payload() const
    {
        if (large.isEmpty())
            return std::span(inlineBytes.data(), inlineSize);
        return std::as_bytes(std::span(large.constData(), static_cast<std::size_t>(large.size())));
    }
};

/// A bounded first-in first-out queue of operation slots, all allocated at once. Taken slots stay valid and
/// untouched until the next take(), so that the worker performs them where they are and holds the queue's
/// lock for a few index changes only. No locking of its own.
class OperationRing
{
public:
    explicit OperationRing(int capacity)
        : m_capacity(static_cast<std::size_t>(capacity)),
          m_slots(m_capacity + static_cast<std::size_t>(FileWriter::BatchSize))
    {}

    [[nodiscard]] bool full() const { return m_count >= m_capacity; }
    [[nodiscard]] bool empty() const { return m_count == 0; }
    [[nodiscard]] quint32 depth() const { return static_cast<quint32>(m_count); }

    /// The slot after the newest. Only when not full().
    [[nodiscard]] WriteOperation& append() { return m_slots[index(m_count++)]; }

    /// Moves up to limit operations, oldest first, out of the queue; their addresses go to out. limit is at
    /// most FileWriter::BatchSize. Returns how many.
    int take(int limit, WriteOperation** out)
    {
        int taken = 0;
        for (; taken < limit && m_count > 0; ++taken, --m_count) {
            out[taken] = &m_slots[m_head];
            m_head = index(1);
        }
        return taken;
    }

    /// The operation at the given place, 0 the oldest.
    [[nodiscard]] const WriteOperation& at(quint32 place) const { return m_slots[index(place)]; }

private:
    [[nodiscard]] std::size_t index(std::size_t offset) const
    {
        const std::size_t sum = m_head + offset;
        return sum < m_slots.size() ? sum : sum - m_slots.size();
    }

    std::size_t m_capacity;
    std::vector<WriteOperation> m_slots; ///< a batch more than the capacity: the slots taken last
    std::size_t m_head = 0;
    std::size_t m_count = 0;
};

/// How an operation ended.
struct WriteOperationResult
{
    enum class Kind { Done, NoTarget, Incomplete, FlushFailed, UnknownType };
    Kind kind = Kind::Done;
    qint64 written = 0;
    bool remnant = false; ///< a part of the block is in the file and could not be cut off
};

/// Performs an operation other than a write of bytes or numbers.
[[nodiscard]] WriteOperationResult performOther(const WriteOperation& operation);

/// Performs one operation: calls into the target only.
[[nodiscard]] inline WriteOperationResult performOperation(const WriteOperation& operation)
{
    using Kind = WriteOperationResult::Kind;
    if (!operation.target || !operation.target->isOpen())
        return {Kind::NoTarget};
    if (operation.type > WriteOperationType::Int32)
        return performOther(operation);
    const BlockWriteResult block = writeBlock(*operation.target, operation.payload());
    return {block.complete ? Kind::Done : Kind::Incomplete, block.written, block.remnant};
}
/// The error text of an operation that did not end well.
[[nodiscard]] QString operationErrorText(const WriteOperation& operation, const WriteOperationResult& result);

} // namespace vt
