// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QThread>

namespace vt {

/// The thread of a FileWriter. It may be terminated while it performs a batch, where a dead disk can hold it
/// for ever, and nowhere else: never with a lock held, memory half allocated or a signal being delivered.
/// Both functions speak of the calling thread.
class WriterThread final : public QThread
{
public:
    using QThread::QThread;
    /// Ends the thread at once when it was terminated while that was forbidden.
    static void allowTermination() { setTerminationEnabled(true); }
    static void forbidTermination() { setTerminationEnabled(false); }
};

} // namespace vt
