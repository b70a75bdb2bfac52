// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/WriteOperation.h"

#include "recording/BlockWrite.h"

#include <QFileDevice>

namespace vt {

namespace {

WriteOperationResult performFlush(QIODevice& target)
{
    // Devices other than files hold nothing back.
    auto* file = qobject_cast<QFileDevice*>(&target);
    WriteOperationResult result;
    if (file && !file->flush())
        result.kind = WriteOperationResult::Kind::FlushFailed;
    return result;
}

} // namespace

WriteOperationResult performOperation(const WriteOperation& operation)
{
    using Kind = WriteOperationResult::Kind;
    if (!operation.target || !operation.target->isOpen())
        return {Kind::NoTarget};
    switch (operation.type) {
    case WriteOperationType::Bytes:
    case WriteOperationType::Double:
    case WriteOperationType::Int16:
    case WriteOperationType::Int32: {
        const BlockWriteResult block = writeBlock(*operation.target, operation.payload());
        return {block.complete ? Kind::Done : Kind::Incomplete, block.written, block.remnant};
    }
    case WriteOperationType::Flush:
        return performFlush(*operation.target);
    }
    return {Kind::UnknownType};
}

QString operationErrorText(const WriteOperation& operation, const WriteOperationResult& result)
{
    using Kind = WriteOperationResult::Kind;
    const QString type = QString::number(static_cast<quint32>(operation.type));
    if (result.kind == Kind::NoTarget)
        return QStringLiteral("Target file not open or null (type=%1)").arg(type);
    if (result.kind == Kind::UnknownType)
        return QStringLiteral("Unknown operation type: %1").arg(type);
    const QString reason = operation.target->errorString();
    switch (operation.type) {
    case WriteOperationType::Bytes:
        return QStringLiteral("Partial buffer write: %1/%2 bytes, error: %3")
            .arg(QString::number(result.written), QString::number(operation.payload().size()), reason);
    case WriteOperationType::Double:
        return QStringLiteral("Failed to write double value: %1").arg(reason);
    case WriteOperationType::Int16:
        return QStringLiteral("Failed to write int16 value: %1").arg(reason);
    case WriteOperationType::Int32:
        return QStringLiteral("Failed to write int32 value: %1").arg(reason);
    case WriteOperationType::Flush:
        return QStringLiteral("Flush failed: %1").arg(reason);
    }
    return QStringLiteral("Unknown operation type: %1").arg(type);
}

} // namespace vt
