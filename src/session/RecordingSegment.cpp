// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/RecordingSegment.h"

#include "base/ThreadCall.h"
#include "processing/DataManager.h"
#include "processing/ProcessingThread.h"

#include <QDebug>
#include <QFileInfo>

namespace vt {

using namespace Qt::StringLiterals;

RecordingSegment::RecordingSegment(const SegmentPaths& paths, int number, std::shared_ptr<Inbox> texts)
    : m_paths(paths), m_number(number), m_texts(std::move(texts)),
      m_timeStamps(std::make_shared<TimeStampFile>())
{}

RecordingSegment::~RecordingSegment() = default;

std::array<VellumtideFile*, 4> RecordingSegment::binaryFiles()
{
    return {&m_raw, &m_featureVector, &m_activity, &m_breathRate};
}

RecordingSegment::CreateFailure RecordingSegment::createFiles()
{
    CreateFailure failure = openFiles();
    if (failure.which != CreateFailure::None) {
        for (VellumtideFile* file : binaryFiles())
            file->close();
        m_timeStamps->close();
        discardUnusedFiles();
        return failure;
    }
    m_writer = std::make_unique<FileWriter>(FileWriter::MaxQueueSize);
    m_writer->start(QThread::LowPriority);
    qInfo("FileWriter created and started");
    for (VellumtideFile* file : binaryFiles())
        file->setFileWriter(m_writer.get());
    qInfo("FileWriter attached to all VellumtideFiles");
    return {};
}

/// The files of a resumed segment are never emptied, but for the last number's. Whether one is empty is asked
/// when it is open and locked: a network share that does not find a file for a moment does not cost it.
RecordingSegment::CreateFailure RecordingSegment::openFiles()
{
    struct Item
    {
        CreateFailure::Which which;
        QString path;
        VellumtideFile* file;
    };
    const std::array<Item, 4> items{{{CreateFailure::Raw, m_paths.raw, &m_raw},
                                     {CreateFailure::FeatureVector, m_paths.featureVector, &m_featureVector},
                                     {CreateFailure::Activity, m_paths.activity, &m_activity},
                                     {CreateFailure::BreathRate, m_paths.breathRate, &m_breathRate}}};
    const bool isReplacing = m_number == 0 || segmentSlot(m_paths.base) == LastSegmentSlot;
    const auto content = isReplacing ? FileUtils::Content::Replace : FileUtils::Content::Append;
    for (const Item& item : items) {
        const bool existed = QFileInfo::exists(item.path);
        if (item.file->openFile(item.path, true, content) != VellumtideFile::Opened)
            return {item.which, item.path, item.file->lastError()};
        if (item.file->device()->size() > 0)
            return {CreateFailure::Occupied, item.path, {}};
        if (!existed)
            m_newPaths << item.path;
    }
    const bool existed = QFileInfo::exists(m_paths.timeStamps);
    if (!m_timeStamps->open(m_paths.timeStamps, content))
        return {CreateFailure::TimeStamps, m_paths.timeStamps, u"Could not open Tstamp file."_s};
    if (m_timeStamps->size() > 0)
        return {CreateFailure::Occupied, m_paths.timeStamps, {}};
    if (!existed)
        m_newPaths << m_paths.timeStamps;
    return {};
}

bool RecordingSegment::writeHeaders(const FileHeader& header, const QDateTime& start)
{
    for (VellumtideFile* file : binaryFiles()) {
        file->header() = header;
        file->header().start = start;
    }
    if (!m_raw.writeHeader())
        return false;
    const QByteArray bytes = m_raw.headerBytesOnDisk();
    if (bytes.isEmpty())
        return false;
    for (VellumtideFile* file : {&m_featureVector, &m_activity, &m_breathRate})
        if (!file->writeHeaderBytes(bytes))
            return false;
    m_timeStamps->setStartTime(start);
    return true;
}

void RecordingSegment::launch(std::unique_ptr<DAQInterface> device, std::shared_ptr<DataManager> manager)
{
    m_device = std::move(device);
    m_manager = std::move(manager);
    m_manager->setFiles(&m_raw, &m_featureVector, &m_activity, &m_breathRate);
    m_manager->beginSegment(m_device.get());
    m_stampConnection = QObject::connect(
        m_manager.get(), &DataManager::sig_writeTstamp, m_manager.get(),
        [texts = m_texts, stamps = m_timeStamps](const QDateTime& when, uint sampleCount) {
            texts->post([stamps, when, sampleCount] { stamps->writeStamp(when, sampleCount); });
        },
        Qt::DirectConnection);
    m_processing = std::make_unique<ProcessingThread>(*m_manager);
    m_device->setDataNotifier([thread = m_processing.get()](int) { thread->notify(); });
    m_processing->start();
    m_device->start();
    m_device->setThreadPriority(QThread::TimeCriticalPriority);
    m_processing->setPriority(QThread::HighestPriority);
    qInfo("Thread priorities set: DAQ=TimeCritical, DataManager=Highest");
}

TeardownReport RecordingSegment::tearDown(TeardownKind kind, int deviceTimeoutMs, int flushTimeoutMs)
{
    TeardownReport report;
    if (m_device) {
        report.deviceReleased = m_device->stop(deviceTimeoutMs);
        if (!report.deviceReleased)
            qCritical("Acquisition did not stop within %d ms: the driver does not return", deviceTimeoutMs);
    }
    if (m_processing) {
        qInfo("DAQ watchdog timer stopped and deleted");
        qInfo("Stopping DataManager thread...");
        report.processingFinished = m_processing->finish(ProcessingStopTimeoutMs);
        if (report.processingFinished)
            qInfo("DataManager thread stopped");
        else
            qCritical("DataManager thread did not stop within %d ms", ProcessingStopTimeoutMs);
    }
    if (m_device)
        report.acquisition = m_device->counters();
    if (m_manager)
        report.framesProcessed = m_manager->segmentFramesProcessed();
    QObject::disconnect(m_stampConnection);
    if (report.processingFinished) {
        flushWriter(kind, flushTimeoutMs, report);
        closeFiles(report);
    }
    if (m_device)
        logAccounts(report);
    return report;
}

void RecordingSegment::closeFiles(TeardownReport& report)
{
    // A write that hangs still uses its file; the segment is then kept until it has returned.
    if (!m_writer || m_writer->isFinished()) {
        for (VellumtideFile* file : binaryFiles())
            file->close();
    }
    // After the stamps of the last frames, which are queued there.
    const auto failedLines = callOn(*m_texts, StampsCloseTimeoutMs, [stamps = m_timeStamps] {
        stamps->close();
        return stamps->failedLines();
    });
    if (!failedLines)
        qCritical("The time-stamp file could not be closed within %d ms", StampsCloseTimeoutMs);
    report.failedStamps = failedLines.value_or(1);
}

bool RecordingSegment::released() const
{
    return (!m_device || m_device->released()) && (!m_processing || m_processing->isFinished()) &&
           (!m_writer || m_writer->isFinished());
}

void RecordingSegment::flushWriter(TeardownKind kind, int flushTimeoutMs, TeardownReport& report)
{
    if (!m_writer)
        return;
    const bool pause = kind == TeardownKind::Pause;
    const FileWriter::Statistics before = m_writer->statistics();
    qInfo().noquote() << (pause ? "Flushing FileWriter queue (pause):" : "Flushing FileWriter queue:")
                      << before.currentDepth << "main queue," << before.emergencyDepth << "emergency buffer";
    report.flushed = m_writer->shutdown(flushTimeoutMs);
    report.writer = m_writer->statistics();
    if (report.flushed) {
        qInfo("All writes flushed successfully");
    } else if (pause) {
        qWarning("FileWriter flush timeout during pause — some data may be lost!");
    } else {
        qWarning("FileWriter flush timeout - some data may be lost!");
    }
    if (!report.flushed)
        qWarning().noquote() << "Remaining: main=" << report.writer.currentDepth
                             << "emergency=" << report.writer.emergencyDepth;
    qInfo().noquote() << "FileWriter statistics: total=" << report.writer.totalWrites
                      << "bytes=" << report.writer.bytesWritten << "dropped=" << report.writer.droppedWrites
                      << "emergency_hits=" << report.writer.emergencyHits;
    const auto files = binaryFiles();
    for (std::size_t i = 0; i < files.size(); ++i) {
        report.files[i] = m_writer->targetBytes(files[i]->device());
        files[i]->setFileWriter(nullptr);
    }
    if (m_writer->isFinished())
        qInfo("%s", pause ? "FileWriter deleted (pause)" : "FileWriter deleted");
}

void RecordingSegment::logAccounts(const TeardownReport& report) const
{
    const AcquisitionCounters& frames = report.acquisition;
    qInfo().noquote() << "Frames: acquired" << frames.framesAcquired << "processed" << report.framesProcessed
                      << "dropped" << frames.framesDropped;
    if (frames.framesAcquired != report.framesProcessed + frames.framesDropped)
        qCritical().noquote() << "Frame account does not balance: acquired" << frames.framesAcquired
                              << "processed + dropped" << report.framesProcessed + frames.framesDropped;
    if (frames.gapMs > 0 || frames.openGapMs > 0)
        qWarning().noquote() << "Acquisition:" << frames.gapMs << "ms without data in" << frames.gaps
                             << "gaps, and" << frames.openGapMs << "ms at the end";
    if (frames.samplesCut > 0)
        qWarning().noquote() << "Serial line:" << frames.samplesCut
                             << "samples had arrived behind the last frame when the device went away";
    if (frames.bytesDamaged > 0 || frames.interruptions > 0 || frames.samplesDropped > 0)
        qWarning().noquote() << "Serial line:" << frames.bytesDamaged << "bytes damaged,"
                             << frames.interruptions << "interruptions of the stream,"
                             << frames.samplesDropped << "samples dropped";
    const std::array<const QString*, 4> names{&m_paths.raw, &m_paths.featureVector, &m_paths.activity,
                                              &m_paths.breathRate};
    for (std::size_t i = 0; i < names.size(); ++i) {
        const FileWriter::TargetBytes& bytes = report.files[i];
        qInfo().noquote() << "Bytes:" << *names[i] << "queued" << bytes.queued << "written" << bytes.written
                          << "dropped" << bytes.dropped << "failed" << bytes.failed;
        if (bytes.queued != bytes.written + bytes.dropped + bytes.failed)
            qCritical().noquote() << "Byte account does not balance:" << *names[i];
    }
}

void RecordingSegment::discardUnusedFiles()
{
    // Files without a sample, of a segment that never ran or never got data, with or without a header.
    for (const QString& path : std::as_const(m_newPaths))
        if (!QFile::remove(path))
            qWarning().noquote() << "Could not remove the unused file" << path;
    m_newPaths.clear();
}

} // namespace vt
