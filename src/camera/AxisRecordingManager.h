// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TimeSource.h"
#include "camera/CameraRecorder.h"
#include "camera/FfmpegLog.h"
#include "camera/FfmpegOutput.h"
#include "camera/SegmentFiles.h"
#include "platform/ChildProcessJob.h"

#include <QProcess>
#include <QStringList>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace vt {

/// What AxisRecordingManager starts.
struct RecordingPrograms
{
    QString ffmpeg = childProgram(QStringLiteral("ffmpeg"));
    QString ffprobe = childProgram(QStringLiteral("ffprobe"));
};

/// Records every camera with an ffmpeg process of its own, which copies the stream into MP4 files of a fixed
/// length ("CAM_<channel>/<channel>_<date>_<time>.mp4"), and starts it anew for as long as the camera is to
/// be recorded.
///
///     idle -> starting -> recording (first "frame=") -> unexpected end -> waiting -> starting ...
///
/// The wait is 2 s for the first ten ends in a row, then 30 s without limit; the row ends with a process that
/// goes on for SteadyMs after its first frame. An attempt that cannot even start counts like an end. A
/// deliberate stop leads back to idle: "q", which lets ffmpeg finish the file, and one kill EndPatienceMs
/// later. Processes are never ended by signals: two in a row cost the MP4 its index.
///
/// A process that runs without video for StallMs, or whose folder is gone, is ended and started anew. So is,
/// at once, one that films from an address at which the camera is no more.
///
/// Constructed, used and destroyed on one thread, that of the camera manager: children are tied to it (see
/// ChildProcessJob). Blocks for the start of a process, 3 s at most; the destructor until all have ended, at
/// most EndPatienceMs and a second.
class AxisRecordingManager final : public CameraRecorder
{
    Q_OBJECT

public:
    static constexpr int StartPatienceMs = 3000;
    static constexpr int EndPatienceMs = 10000;
    static constexpr int KillPatienceMs = 1000;
    static constexpr int StopAllLimitMs = 12000;
    static constexpr int CheckIntervalMs = 5000;
    static constexpr int StallMs = 60000;
    /// More than the 5 s without data after which ffmpeg ends. A disk that is full, too, takes a few frames.
    static constexpr int SteadyMs = 10000;

    explicit AxisRecordingManager(TimeSource& time, RecordingPrograms programs = {},
                                  QObject* parent = nullptr);
    ~AxisRecordingManager() override;

    void startCamera(const CameraStream& stream) override;
    void changeAddress(const QString& mac, const QHostAddress& address) override;
    void setCredentials(const QString& user, const QString& password) override;
    void stopCamera(const QString& mac) override;
    void stopAll(std::function<void()> done) override;
    [[nodiscard]] bool isRecording(const QString& mac) const override;

    /// 0: no process runs for this camera.
    [[nodiscard]] qint64 processId(const QString& mac) const;

    // Slots.
    void onProcessStarted();
    void onProcessFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void onProcessError(QProcess::ProcessError error);
    void onReadyReadStandardError();
    void onReadyReadStandardOutput();
    void checkRecordingStatus();

private:
    struct Entry;
    using EntryPtr = std::shared_ptr<Entry>;

    [[nodiscard]] EntryPtr find(const QString& mac) const;
    [[nodiscard]] EntryPtr senderEntry() const;
    [[nodiscard]] bool isCurrent(const EntryPtr& entry) const;
    [[nodiscard]] bool launch(const EntryPtr& entry);
    [[nodiscard]] bool hasAddress(const EntryPtr& entry);
    void tryAtOnce(Entry& entry);
    void noteEnd(const EntryPtr& entry);
    void tellMissingProgram(const QString& mac);
    [[nodiscard]] bool makeDirectory(const EntryPtr& entry);
    void restart(const EntryPtr& entry);
    void attemptFailed(const EntryPtr& entry);
    void askToEnd(const EntryPtr& entry);
    void endPatienceOver(const EntryPtr& entry);
    void discardProcess(const EntryPtr& entry);
    void remove(const EntryPtr& entry);
    void handleOutput(const EntryPtr& entry, const FfmpegOutput::News& news);
    void fail(const EntryPtr& entry, const QString& error);
    void callWhenStopped();
    void endAllNow();

    TimeSource& m_time;
    const RecordingPrograms m_programs;
    std::unique_ptr<ChildProcessJob> m_job;
    std::unique_ptr<SegmentFiles> m_files;
    std::map<QString, EntryPtr> m_entries; ///< by MAC address
    std::vector<std::function<void()>> m_whenStopped;
    std::unique_ptr<Timer> m_stopAllLimit;
    std::unique_ptr<Timer> m_check;
    bool m_toldMissing = false;
};

} // namespace vt
