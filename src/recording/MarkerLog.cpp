// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/MarkerLog.h"

#include "base/Mutex.h"
#include "base/ThreadCall.h"

#include <QDebug>
#include <QFile>
#include <optional>
#include <utility>

namespace vt {

struct MarkerLog::Shared
{
    MarkerFile file; ///< used by whoever opens it, then on the worker only

    Mutex mutex;
    int inFile VT_GUARDED_BY(mutex) = 0; ///< markers that are known to be there as they shall be
    int toldUnwritten VT_GUARDED_BY(mutex) = 0;
    std::optional<Closed> closed VT_GUARDED_BY(mutex);

    /// After a step. The number to be told, or nothing when there is no news.
    [[nodiscard]] std::optional<int> noteProgress()
    {
        const int unwritten = file.unwritten();
        const MutexLock lock(mutex);
        inFile = static_cast<int>(file.markers().size()) - unwritten;
        if (unwritten == std::exchange(toldUnwritten, unwritten))
            return std::nullopt;
        return unwritten;
    }
    void closeFile(const QString& unusedPath)
    {
        file.close();
        (void)noteProgress(); // told by whoever waits for it
        if (!unusedPath.isEmpty() && !QFile::remove(unusedPath))
            qWarning().noquote() << "Could not remove the unused file" << unusedPath;
    }
};

MarkerLog::MarkerLog(std::shared_ptr<Inbox> worker, const Inbox& answers, Unwritten changed)
    : m_worker(std::move(worker)), m_answers(answers.address()),
      m_changed(std::make_shared<const Unwritten>(std::move(changed))), m_shared(std::make_shared<Shared>())
{}

MarkerLog::~MarkerLog()
{
    if (!m_isClosing)
        m_worker->post([shared = m_shared] { shared->closeFile({}); });
}

std::function<bool(const QString&)> MarkerLog::opening() const
{
    return [shared = m_shared](const QString& path) { return shared->file.open(path); };
}

int MarkerLog::add(int segment, const QDateTime& when, const QString& label)
{
    if (m_isClosing)
        return -1;
    m_markers.push_back({static_cast<int>(m_markers.size()) + 1, segment, when, markerLabel(label)});
    post([marker = m_markers.back()](MarkerFile& file) {
        file.addMarker(marker.segment, marker.when, marker.label);
    });
    return m_markers.back().event;
}

bool MarkerLog::setLabel(int event, const QString& label)
{
    if (m_isClosing)
        return false;
    if (event < 1 || static_cast<std::size_t>(event) > m_markers.size()) {
        qWarning().noquote() << "MarkerLog: setLabel for unknown event" << event;
        return false;
    }
    m_markers[static_cast<std::size_t>(event) - 1].label = markerLabel(label);
    post([event, label](MarkerFile& file) { file.setLabel(event, label); });
    return true;
}

/// The numbers stay the same there: the file counts every marker, written or not.
void MarkerLog::post(std::function<void(MarkerFile&)> step)
{
    m_worker->post([shared = m_shared, answers = m_answers, step = std::move(step),
                    changed = std::weak_ptr<const Unwritten>(m_changed)] {
        step(shared->file);
        if (const std::optional<int> unwritten = shared->noteProgress())
            answers->post([changed, count = *unwritten] {
                if (const auto tell = changed.lock(); tell && *tell)
                    (*tell)(count);
            });
    });
}

std::function<void(const QString&)> MarkerLog::closing(int timeoutMs)
{
    m_isClosing = true;
    return [shared = m_shared, worker = m_worker, total = static_cast<int>(m_markers.size()),
            timeoutMs](const QString& unusedPath) {
        const bool isInTime = callOn(*worker, timeoutMs, [shared, unusedPath] {
                                  shared->closeFile(unusedPath);
                                  return true;
                              }).has_value();
        if (!isInTime)
            qCritical("The marker file could not be closed within %d ms", timeoutMs);
        const MutexLock lock(shared->mutex);
        shared->closed = Closed{total - shared->inFile, !isInTime};
    };
}

MarkerLog::Closed MarkerLog::closed() const
{
    const MutexLock lock(m_shared->mutex);
    if (m_shared->closed)
        return *m_shared->closed;
    return {static_cast<int>(m_markers.size()) - m_shared->inFile, true};
}

} // namespace vt
