// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "session/AppSettings.h"

#include <QStringList>
#include <QThread>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace vt {

/// Looks for recordings that were noted as running (OpenRecordings) by instances that run no more. A note
/// that does not tell whose it is counts while somebody holds its file. Interface thread; it looks at the
/// disk on a thread of its own, since a folder on the network may not answer.
class UnclosedRecordings
{
public:
    /// Raw files.
    struct Found
    {
        QStringList unclosed;
        QStringList missing; ///< noted, but not there (any more)
        [[nodiscard]] bool isEmpty() const { return unclosed.isEmpty() && missing.isEmpty(); }
    };

    explicit UnclosedRecordings(AppSettings::StoreThread store) : m_store(std::move(store)) {}
    /// Waits half a second for a disk that does not answer, then leaves it to itself.
    ~UnclosedRecordings();
    UnclosedRecordings(const UnclosedRecordings&) = delete;
    UnclosedRecordings& operator=(const UnclosedRecordings&) = delete;

    /// Once. tell(what was found) when it is known and there is something, never after this object's end.
    /// What was told of is not found again by a later run; the recordings of running instances never are.
    void look(std::function<void(const Found&)> tell);
    /// Looks at the disk. Any thread.
    [[nodiscard]] static Found judge(const std::vector<AppSettings::OpenRecording>& noted);
    /// What the user is told.
    [[nodiscard]] static QString message(const Found& found);

private:
    const AppSettings::StoreThread m_store;
    Inbox m_answers;
    std::shared_ptr<QThread> m_thread;
};

} // namespace vt
