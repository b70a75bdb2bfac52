// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/WriteOperation.h"

#include <QFileDevice>

namespace vt {

WriteOperationResult performOther(const WriteOperation& operation)
{
    using Kind = WriteOperationResult::Kind;
    if (operation.type != WriteOperationType::Flush)
        return {Kind::UnknownType};
    // Devices other than files hold nothing back.
    auto* file = qobject_cast<QFileDevice*>(operation.target);
    return {!file || file->flush() ? Kind::Done : Kind::FlushFailed};
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
