// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/SegmentFiles.h"

#include "platform/ChildProcessJob.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <algorithm>
#include <utility>

namespace vt {

namespace {

QString tablePath(const QString& directory)
{
    return directory + u'/' + QLatin1String(SegmentIndex::FileName);
}

/// The camera's files, the one written to last at the end.
QFileInfoList videoFiles(const QString& directory, int channel)
{
    QFileInfoList files = QDir(directory).entryInfoList({QStringLiteral("%1_*.mp4").arg(channel)},
                                                        QDir::Files, QDir::Time | QDir::Reversed);
    files.removeIf([channel](const QFileInfo& file) {
        return !SegmentIndex::startOf(file.fileName(), channel, std::nullopt);
    });
    return files;
}

} // namespace

SegmentFiles::SegmentFiles(TimeSource& time, ChildProcessJob& job, QString probeProgram)
    : m_job(job), m_probeProgram(std::move(probeProgram)), m_limit(time.createTimer(this,
                                                                                    [this] {
                                                                                        if (m_process)
                                                                                            m_process->kill();
                                                                                    })),
      m_lookTimer(time.createTimer(this, [this] { look(); }))
{}

SegmentFiles::~SegmentFiles()
{
    if (m_process)
        m_process->disconnect(this); // it is killed with the object
}

void SegmentFiles::begin(const QString& directory, int channel, int offsetSeconds)
{
    FolderPtr folder = find(directory);
    if (!folder) {
        folder = std::make_shared<Folder>();
        folder->directory = directory;
        m_folders.push_back(folder);
    } else if (folder->ended) {
        write(*folder);
        for (const auto& done : std::exchange(folder->done, {}))
            done();
    }
    folder->channel = channel;
    folder->offsetSeconds = offsetSeconds;
    folder->ended = false;
    folder->tried.clear();
    folder->ours.clear();
    folder->failed.clear();
    m_canProbe = true;

    QFile table(tablePath(directory));
    if (table.open(QIODevice::ReadOnly)) {
        qsizetype badLines = 0;
        folder->index = SegmentIndex::parse(table.readAll(), &badLines);
        if (badLines > 0)
            qWarning().noquote() << "AxisRecordingManager:" << badLines << "lines of" << table.fileName()
                                 << "could not be read and will be left out";
    } else if (table.exists()) {
        qWarning().noquote() << "AxisRecordingManager: Could not read" << table.fileName() << ":"
                             << table.errorString();
    }
    // Whatever has no row was left over by a recording that did not come to its end: nobody knows its offset.
    for (const QFileInfo& file : videoFiles(directory, channel))
        if (!folder->index.rows().contains(file.fileName()))
            folder->index.put({file.fileName(),
                               *SegmentIndex::startOf(file.fileName(), channel, std::nullopt), std::nullopt,
                               Readable::Unknown});
    if (!m_lookTimer->isActive())
        m_lookTimer->start(LookIntervalMs, TimerMode::Repeating);
    work();
}

void SegmentFiles::end(const QString& directory, std::function<void()> done)
{
    const FolderPtr folder = find(directory);
    if (!folder) {
        done();
        return;
    }
    folder->ended = true;
    lookAgain(*folder);
    folder->done.push_back(std::move(done));
    list(*folder);
    work();
}

void SegmentFiles::writeNow()
{
    const std::vector<FolderPtr> folders = m_folders;
    for (const FolderPtr& folder : folders)
        if (folder->ended)
            complete(folder);
}

bool SegmentFiles::isIdle() const
{
    return std::none_of(m_folders.begin(), m_folders.end(),
                        [](const FolderPtr& folder) { return folder->ended; });
}

void SegmentFiles::look()
{
    for (const FolderPtr& folder : m_folders)
        list(*folder);
    work();
}

SegmentFiles::FolderPtr SegmentFiles::find(const QString& directory) const
{
    const auto found = std::find_if(m_folders.begin(), m_folders.end(),
                                    [&](const FolderPtr& folder) { return folder->directory == directory; });
    return found == m_folders.end() ? nullptr : *found;
}

/// Gives new files a row; while the recording runs not the one that is being written.
void SegmentFiles::list(Folder& folder)
{
    QFileInfoList files = videoFiles(folder.directory, folder.channel);
    if (!folder.ended && !files.isEmpty())
        files.removeLast();
    for (const QFileInfo& file : std::as_const(files)) {
        if (folder.index.rows().contains(file.fileName()))
            continue;
        folder.ours.insert(file.fileName());
        folder.index.put({file.fileName(),
                          *SegmentIndex::startOf(file.fileName(), folder.channel, folder.offsetSeconds),
                          std::nullopt, Readable::Unknown});
    }
}

QString SegmentFiles::nextToProbe(const Folder& folder)
{
    for (const auto& [file, row] : folder.index.rows())
        if (row.readable == Readable::Unknown && !folder.tried.contains(file) &&
            QFile::exists(folder.directory + u'/' + file))
            return file;
    return {};
}

void SegmentFiles::work()
{
    if (m_probedFolder)
        return;
    // Somebody waits for the ended ones.
    std::stable_partition(m_folders.begin(), m_folders.end(),
                          [](const FolderPtr& folder) { return folder->ended; });
    const std::vector<FolderPtr> folders = m_folders;
    for (const FolderPtr& folder : folders) {
        const QString file = m_canProbe ? nextToProbe(*folder) : QString();
        if (!file.isEmpty()) {
            probe(folder, file);
            return;
        }
        if (folder->ended)
            complete(folder);
    }
}

void SegmentFiles::probe(const FolderPtr& folder, const QString& file)
{
    m_probedFolder = folder;
    m_probedFile = file;
    m_isProbedEarly = !folder->ended && folder->ours.contains(file);
    if (m_process)
        m_process.release()->deleteLater(); // this may be its own signal
    m_process = std::make_unique<QProcess>();
    m_process->setStandardErrorFile(QProcess::nullDevice());
    m_process->setStandardInputFile(QProcess::nullDevice());
    connect(m_process.get(), &QProcess::finished, this,
            [this](int exitCode, QProcess::ExitStatus status) { probed(status, exitCode); });
    // Queued: a failure may be told from within start().
    connect(
        m_process.get(), &QProcess::errorOccurred, this,
        [this](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                probeFailedToStart();
        },
        Qt::QueuedConnection);
    m_job.prepare(*m_process, ChildProcessJob::Priority::Low);
    connect(m_process.get(), &QProcess::started, this, [this] { (void)m_job.add(m_process->processId()); });
    m_limit->start(ProbeLimitMs, TimerMode::SingleShot);
    const auto word = [](const char* text) { return QString::fromLatin1(text); };
    m_process->start(m_probeProgram,
                     {word("-v"), word("error"), word("-show_entries"), word("format=duration"), word("-of"),
                      word("csv=p=0"), word("file:") + folder->directory + u'/' + file},
                     QIODevice::ReadOnly);
}

void SegmentFiles::probed(QProcess::ExitStatus status, int exitCode)
{
    if (status == QProcess::CrashExit) {
        note(std::nullopt, Readable::Unknown);
        return;
    }
    bool isNumber = false;
    const double length = m_process->readAllStandardOutput().trimmed().toDouble(&isNumber);
    if (exitCode == 0 && isNumber && length >= 0) {
        note(length, Readable::Yes);
        return;
    }
    note(std::nullopt, judgeFailure());
}

Readable SegmentFiles::judgeFailure()
{
    if (m_isProbedEarly) {
        m_probedFolder->failed.insert(m_probedFile);
        return Readable::Unknown;
    }
    qWarning().noquote() << "AxisRecordingManager: Video file"
                         << m_probedFolder->directory + u'/' + m_probedFile
                         << "cannot be read, it was probably cut off; it is kept";
    return Readable::No;
}

void SegmentFiles::probeFailedToStart()
{
    if (!std::exchange(m_toldMissing, true))
        qWarning().noquote() << "AxisRecordingManager: The program" << m_probeProgram
                             << "of FFmpeg could not be started; the lengths of video files stay unknown";
    m_canProbe = false;
    note(std::nullopt, Readable::Unknown);
}

void SegmentFiles::note(std::optional<double> lengthSeconds, Readable readable)
{
    m_limit->stop();
    const FolderPtr folder = std::exchange(m_probedFolder, nullptr);
    VideoSegment row = folder->index.rows().at(m_probedFile);
    row.lengthSeconds = lengthSeconds;
    row.readable = readable;
    folder->index.put(row);
    if (readable == Readable::Unknown)
        folder->tried.insert(m_probedFile);
    if (folder->ended)
        lookAgain(*folder);
    work();
}

/// Nothing is being written any more.
void SegmentFiles::lookAgain(Folder& folder)
{
    for (const QString& file : std::exchange(folder.failed, {}))
        folder.tried.erase(file);
}

void SegmentFiles::complete(const FolderPtr& folder)
{
    m_folders.erase(std::remove(m_folders.begin(), m_folders.end(), folder), m_folders.end());
    if (m_folders.empty())
        m_lookTimer->stop();
    write(*folder);
    for (const auto& done : std::exchange(folder->done, {}))
        done();
}

void SegmentFiles::write(const Folder& folder)
{
    if (folder.index.rows().empty())
        return; // no file ever came: nothing to list
    const QByteArray table = folder.index.toCsv();
    QSaveFile file(tablePath(folder.directory));
    if (!file.open(QIODevice::WriteOnly) || file.write(table) != table.size() || !file.commit())
        qCritical().noquote() << "AxisRecordingManager: Could not write" << file.fileName() << ":"
                              << file.errorString();
}

} // namespace vt
