// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TimeSource.h"
#include "camera/SegmentIndex.h"

#include <QObject>
#include <QProcess>
#include <QString>
#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace vt {

class ChildProcessJob;

/// Keeps "segments.csv" in the cameras' folders: which video files there are, when each began, how long it is
/// and whether it can be read. Files are looked into with ffprobe, one at a time, at low priority and for
/// ProbeLimitMs at most, as soon as the next one has been begun; so the end of a recording has only the last
/// one to wait for. Files of earlier recordings that have no row are looked into, too. Nothing is deleted.
///
/// Which file is being written is told by its time, and a clock that was set back tells wrong. So a file of
/// the recording that runs is never called unreadable before its end, when it is looked into again.
///
/// Lives on the thread of the recording manager; listing a folder and writing the table touch the disk there.
class SegmentFiles : public QObject
{
    Q_OBJECT

public:
    static constexpr int ProbeLimitMs = 10000;
    static constexpr int LookIntervalMs = 30000;

    /// job outlives this object.
    SegmentFiles(TimeSource& time, ChildProcessJob& job, QString probeProgram);
    ~SegmentFiles() override;

    /// A recording into this folder begins; the names of its files are local time at this offset from UTC.
    void begin(const QString& directory, int channel, int offsetSeconds);
    /// It has ended. done is called when the table has been written, or could not be.
    void end(const QString& directory, std::function<void()> done);
    /// Writes the tables of the ended recordings now; what has not been looked into by then is "unknown", and
    /// is looked into by the next recording into this folder.
    void writeNow();
    /// No recording's end is being worked on.
    [[nodiscard]] bool isIdle() const;
    /// Looks for finished files now, instead of at the next LookIntervalMs.
    void look();

private:
    struct Folder
    {
        QString directory;
        int channel = 0;
        int offsetSeconds = 0;
        SegmentIndex index;
        std::set<QString> tried;  ///< looked into without an answer
        std::set<QString> ours;   ///< begun since begin()
        std::set<QString> failed; ///< of ours, not to be read so far
        bool ended = false;
        std::vector<std::function<void()>> done;
    };
    using FolderPtr = std::shared_ptr<Folder>;

    [[nodiscard]] FolderPtr find(const QString& directory) const;
    void list(Folder& folder);
    [[nodiscard]] static QString nextToProbe(const Folder& folder);
    void work();
    void probe(const FolderPtr& folder, const QString& file);
    void probed(QProcess::ExitStatus status, int exitCode);
    void probeFailedToStart();
    /// The file that was looked into cannot be read.
    [[nodiscard]] Readable judgeFailure();
    static void lookAgain(Folder& folder);
    void note(std::optional<double> lengthSeconds, Readable readable);
    void complete(const FolderPtr& folder);
    static void write(const Folder& folder);

    ChildProcessJob& m_job;
    const QString m_probeProgram;
    std::vector<FolderPtr> m_folders;
    std::unique_ptr<QProcess> m_process; ///< the one that runs, or the last one
    FolderPtr m_probedFolder;            ///< empty: none is being looked into
    QString m_probedFile;
    bool m_isProbedEarly = false; ///< it may have been the one that was being written
    std::unique_ptr<Timer> m_limit;
    std::unique_ptr<Timer> m_lookTimer;
    bool m_canProbe = true;
    bool m_toldMissing = false;
};

} // namespace vt
