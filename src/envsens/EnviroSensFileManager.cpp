// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnviroSensFileManager.h"

#include <QDebug>
#include <future>

namespace vt {

namespace {

bool hasPath(const QString& path)
{
    if (path.isEmpty())
        qWarning("No file selected");
    return !path.isEmpty();
}

void tellNotOpened(const QString& path)
{
    qWarning().noquote() << "Could not open env-sens file:" << path
                         << "(in use by another application, or other open error)";
}

} // namespace

EnviroSensFileManager::EnviroSensFileManager()
{
    m_header.programId = QStringLiteral("ES1");
    m_header.columnNote = QStringLiteral("device");
}

EnviroSensFileManager::~EnviroSensFileManager() = default;

void EnviroSensFileManager::beginFile(const QString& path)
{
    m_path = path;
    m_isOpen = true;
    m_hasData = false;
    m_isHeaderNeeded = true;
    ++m_attempt;
}

bool EnviroSensFileManager::openFile(const QString& path, bool exclusive)
{
    if (m_isOpen)
        closeFile();
    if (!hasPath(path))
        return false;
    beginFile(path);
    auto opened = std::make_shared<std::promise<bool>>();
    std::future<bool> answer = opened->get_future();
    m_writer.open(path, exclusive, [opened](bool ok) { opened->set_value(ok); });
    m_isOpen = answer.get();
    if (!m_isOpen)
        tellNotOpened(path);
    return m_isOpen;
}

void EnviroSensFileManager::openFileAsync(const QString& path, bool exclusive, std::function<void(bool)> done)
{
    if (m_isOpen)
        closeFile();
    if (!hasPath(path)) {
        m_answers.post([done = std::move(done)] { done(false); });
        return;
    }
    beginFile(path);
    const auto finish = [this, path, attempt = m_attempt, done = std::move(done)](bool ok) {
        if (!ok)
            tellNotOpened(path);
        if (!ok && attempt == m_attempt)
            m_isOpen = false;
        done(ok);
    };
    m_writer.open(path, exclusive, [answers = m_answers.address(), finish](bool ok) {
        answers->post([finish, ok] { finish(ok); });
    });
}

void EnviroSensFileManager::closeFile()
{
    if (!m_isOpen)
        return;
    qInfo("env-sens log closed");
    m_isOpen = false;
    ++m_attempt;
    m_writer.close();
}

template <typename T>
bool EnviroSensFileManager::change(T& member, const T& value)
{
    if (member == value)
        return false;
    member = value;
    m_isHeaderNeeded = true;
    return true;
}

bool EnviroSensFileManager::setSensorCount(int count)
{
    return change(m_header.sensorCount, count);
}

bool EnviroSensFileManager::setIntervalSeconds(int seconds)
{
    return change(m_header.intervalSeconds, seconds);
}

bool EnviroSensFileManager::setStartTime(const QTime& time)
{
    const bool changed = change(m_header.startTime, time);
    m_startMs = QDateTime(m_header.startDate, m_header.startTime).toMSecsSinceEpoch();
    return changed;
}

bool EnviroSensFileManager::setStartDate(const QDate& date)
{
    const bool changed = change(m_header.startDate, date);
    m_startMs = QDateTime(m_header.startDate, m_header.startTime).toMSecsSinceEpoch();
    return changed;
}

bool EnviroSensFileManager::setStart(const QDateTime& start)
{
    const bool isNewDate = setStartDate(start.date());
    const bool isNewTime = setStartTime(start.time());
    m_startMs = start.toMSecsSinceEpoch();
    return isNewDate || isNewTime;
}

bool EnviroSensFileManager::setProgramId(const QString& id)
{
    return change(m_header.programId, id);
}

bool EnviroSensFileManager::setLabels(const QStringList& labels)
{
    return change(m_header.labels, labels);
}

bool EnviroSensFileManager::setSerialNumbers(const QStringList& serialNumbers)
{
    return change(m_header.serialNumbers, serialNumbers);
}

bool EnviroSensFileManager::setColumnNames(const QStringList& names)
{
    return change(m_header.columnNames, names);
}

bool EnviroSensFileManager::writeFileHeader()
{
    if (!m_isOpen)
        return false;
    qDebug().noquote() << "EnviroSensFileManager::writeFileHeader" << m_path;
    m_writer.writeHeading(EnvLogFormat::headerBytes(m_header));
    m_hasData = true;
    m_isHeaderNeeded = false;
    return true;
}

void EnviroSensFileManager::writeSeparator()
{
    if (!m_isOpen || !m_hasData)
        return;
    m_writer.writeHeading(
        EnvLogFormat::separatorBytes(m_header.sensorCount, static_cast<int>(m_header.columnNames.size())));
    m_isHeaderNeeded = true;
}

void EnviroSensFileManager::writeRecords(const QMap<QString, EnvSample>& round)
{
    if (!m_isOpen)
        return;
    if (round.size() != m_header.serialNumbers.size())
        qWarning("size mismatch need new header.");
    m_writer.writeRecord(EnvLogFormat::recordBytes(m_header.serialNumbers, round, m_startMs));
    m_hasData = true;
}

} // namespace vt
