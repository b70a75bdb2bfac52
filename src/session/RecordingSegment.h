// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/DAQInterface.h"
#include "base/Inbox.h"
#include "recording/FileWriter.h"
#include "recording/SegmentPaths.h"
#include "recording/TimeStampFile.h"
#include "recording/VellumtideFile.h"
#include "session/SessionTypes.h"

#include <QDateTime>
#include <QStringList>
#include <array>
#include <memory>

namespace vt {

class DataManager;
class ProcessingThread;

inline constexpr int FlushTimeoutMs = 30000;
inline constexpr int DestructionFlushTimeoutMs = 5000;
inline constexpr int DeviceStopTimeoutMs = 15000;      ///< a driver's read may take 10 s to give up
inline constexpr int ForcedDeviceStopTimeoutMs = 1000; ///< when the system waits for a few seconds in all
inline constexpr int ProcessingStopTimeoutMs = 10000;
inline constexpr int StampsCloseTimeoutMs = 5000;

/// What became of a segment.
struct TeardownReport
{
    bool deviceReleased = true;
    bool processingFinished = true;
    bool flushed = true;
    AcquisitionCounters acquisition;
    quint64 framesProcessed = 0;
    FileWriter::Statistics writer;
    std::array<FileWriter::TargetBytes, 4> files{}; ///< raw, feature vectors, activity, breath rate
    quint64 failedStamps = 0; ///< lines; a file that could not be closed in time counts as one more
};

/// Everything that one segment of a recording owns: four binary files, the time-stamp file, the writer, the
/// device and the processing thread. createFiles, writeHeaders and tearDown may wait for the disk and run on
/// the session's file thread, one at a time; launch runs on the interface thread. Time stamps are written on
/// the session's text thread: a disk that hangs there does not keep a segment from being torn down.
class RecordingSegment
{
public:
    RecordingSegment(const SegmentPaths& paths, int number, std::shared_ptr<Inbox> texts);
    /// Not before tearDown has run, unless no file was created.
    ~RecordingSegment();
    RecordingSegment(const RecordingSegment&) = delete;
    RecordingSegment& operator=(const RecordingSegment&) = delete;

    /// Which file could not be created, and why.
    struct CreateFailure
    {
        enum Which {
            None,
            Raw,
            FeatureVector,
            Activity,
            BreathRate,
            TimeStamps,
            Occupied ///< a resumed segment's number is taken: this file has content, which it keeps
        } which = None;
        QString path;
        QString error;
    };
    /// Opens the files and attaches a writer. After a failure the files that this call brought into being
    /// are removed again.
    [[nodiscard]] CreateFailure createFiles();

    /// Writes the raw file's header, reads it back and copies it to the three feature files; sets the
    /// time-stamp file's start. False when the raw file could not be written.
    [[nodiscard]] bool writeHeaders(const FileHeader& header, const QDateTime& start);

    /// Starts processing, then the device, then raises their priorities.
    void launch(std::unique_ptr<DAQInterface> device, std::shared_ptr<DataManager> manager);

    /// Stops the device, lets the processing finish what is queued, flushes the writer, closes the files.
    /// kind chooses the words of the log lines.
    [[nodiscard]] TeardownReport tearDown(TeardownKind kind, int deviceTimeoutMs, int flushTimeoutMs);
    /// For a segment that was never launched: removes the files that it brought into being. A header at most
    /// stands in them, and a disk that was too full for all of them is to have the room back.
    void discardUnusedFiles();

    [[nodiscard]] const SegmentPaths& paths() const { return m_paths; }
    [[nodiscard]] int number() const { return m_number; }
    [[nodiscard]] FileWriter* writer() const { return m_writer.get(); }
    [[nodiscard]] DAQInterface* device() const { return m_device.get(); }
    /// False while a hanging driver call, processing tick or write may still touch this object.
    [[nodiscard]] bool released() const;

private:
    [[nodiscard]] std::array<VellumtideFile*, 4> binaryFiles();
    [[nodiscard]] CreateFailure openFiles();
    void closeFiles(TeardownReport& report);
    void flushWriter(TeardownKind kind, int flushTimeoutMs, TeardownReport& report);
    void logAccounts(const TeardownReport& report) const;

    const SegmentPaths m_paths;
    const int m_number;
    VellumtideFile m_raw;
    VellumtideFile m_featureVector;
    VellumtideFile m_activity;
    VellumtideFile m_breathRate;
    std::shared_ptr<Inbox> m_texts;
    std::shared_ptr<TimeStampFile> m_timeStamps;
    QMetaObject::Connection m_stampConnection;
    std::unique_ptr<FileWriter> m_writer;
    std::unique_ptr<DAQInterface> m_device;
    std::unique_ptr<ProcessingThread> m_processing;
    std::shared_ptr<DataManager> m_manager;
    QStringList m_newPaths; ///< did not exist before createFiles
};

} // namespace vt
