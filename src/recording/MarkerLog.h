// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "recording/MarkerFile.h"

#include <QString>
#include <functional>
#include <memory>
#include <vector>

namespace vt {

/// The markers of a recording for a thread that must not wait for the disk: numbers and labels are known at
/// once, and each change is on its way to the file, on the worker, when the call returns.
///
/// Thread of its owner, where answers lives, but for open() and what closing() returns. Only between a
/// successful open() and closing() do markers get a number.
class MarkerLog
{
public:
    /// Called on the owner's thread when the file lacks this many markers, or the newest labels, and with 0
    /// when it has everything again. What it lacks is tried again with the next change.
    using Unwritten = std::function<void(int markers)>;
    /// What became of the file.
    struct Closed
    {
        int unwritten = 0;   ///< markers that are not in the file, as far as is known
        bool isLate = false; ///< the disk still owed an answer when the time was over
    };

    /// answers outlives the object.
    MarkerLog(std::shared_ptr<Inbox> worker, const Inbox& answers, Unwritten changed);
    /// Closes the file, later, when nobody has.
    ~MarkerLog();
    MarkerLog(const MarkerLog&) = delete;
    MarkerLog& operator=(const MarkerLog&) = delete;

    /// What creates the file, on the thread that calls it; waits for the disk. Before the first marker.
    [[nodiscard]] std::function<bool(const QString& path)> opening() const;

    /// Event number, or -1 when closing() has been called.
    int add(int segment, const QDateTime& when, const QString& label);
    /// False when there is no such marker or closing() has been called.
    bool setLabel(int event, const QString& label);
    [[nodiscard]] const std::vector<MarkerFile::Marker>& markers() const { return m_markers; }

    [[nodiscard]] bool isClosing() const { return m_isClosing; }
    /// What closes the file, for a thread that may wait: up to timeoutMs until all that was asked for before
    /// has been done. It is closed also when that takes longer. Removes the file unusedPath, unless empty,
    /// when it is closed. Takes no more markers.
    [[nodiscard]] std::function<void(const QString& unusedPath)> closing(int timeoutMs);
    /// The outcome of what closing() returned; before that has run, as far as is known.
    [[nodiscard]] Closed closed() const;

private:
    struct Shared;
    void post(std::function<void(MarkerFile&)> step);

    std::shared_ptr<Inbox> m_worker;
    std::shared_ptr<Inbox::Address> m_answers;
    std::shared_ptr<const Unwritten> m_changed;
    std::shared_ptr<Shared> m_shared;
    std::vector<MarkerFile::Marker> m_markers; ///< as they will be in the file
    bool m_isClosing = false;
};

} // namespace vt
