// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/FileWriterCore.h"

namespace vt {

/// Lets a test hold the writer's main lock, as the worker does now and then, and queue what no caller can.
struct FileWriterPeer
{
    static Mutex& mainMutex(FileWriter& writer) { return writer.m_core->m_mainMutex; }
    static void queueType(FileWriter& writer, QIODevice* target, quint32 type)
    {
        (void)writer.m_core->enqueue({target, static_cast<WriteOperationType>(type), {}, {}});
    }
};

} // namespace vt
