// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/FeatureFileReader.h"

#include "base/BigEndian.h"

namespace vt {

bool FeatureFileReader::open(const QString& path, FeatureFileKind kind)
{
    m_epochCount = 0;
    m_trailingBytes = 0;
    if (m_file.openFile(path, false) != VellumtideFile::Opened) {
        m_error = m_file.lastError();
        return false;
    }
    m_valuesPerChannel = kind == FeatureFileKind::Vector ? header().featuresPerEpoch : 1;
    if (m_valuesPerChannel < 1) {
        m_error = QStringLiteral("Header says %1 features per epoch").arg(m_valuesPerChannel);
        m_file.close();
        return false;
    }
    const qint64 bodyBytes = m_file.device()->size() - header().dataStart;
    m_epochCount = bodyBytes / epochBytes();
    m_trailingBytes = bodyBytes % epochBytes();
    return true;
}

std::vector<double> FeatureFileReader::readEpoch(qint64 epoch)
{
    if (epoch < 0 || epoch >= m_epochCount)
        return {};
    QIODevice& file = *m_file.device();
    const QByteArray bytes =
        file.seek(header().dataStart + epoch * epochBytes()) ? file.read(epochBytes()) : QByteArray();
    if (bytes.size() != epochBytes()) {
        m_error = file.errorString();
        return {};
    }
    std::vector<double> values;
    values.reserve(static_cast<std::size_t>(bytes.size()) / sizeof(double));
    const auto* in = reinterpret_cast<const std::byte*>(bytes.constData());
    const std::byte* const end = in + bytes.size();
    for (; in != end; in += sizeof(double))
        values.push_back(loadBigEndianDouble(in));
    return values;
}

/// Cannot overflow: a header's channel count is bounded by its own bytes.
qint64 FeatureFileReader::epochBytes() const
{
    return static_cast<qint64>(sizeof(double)) * header().channelCount * m_valuesPerChannel;
}

} // namespace vt
