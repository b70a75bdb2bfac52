// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/VellumtideFile.h"

#include <span>
#include <vector>

namespace vt {

/// Which of a recording's feature files: the files do not say it themselves.
enum class FeatureFileKind {
    Vector, ///< ".FeatVec": featuresPerEpoch values for each channel
    Single  ///< "_at.Feat", "_br.Feat": one value for each channel
};

/// Reads a feature file: its header, then epochs of 64-bit values, channel after channel. A file that ends
/// inside an epoch is read up to its last whole one. Thread of its owner; blocks on the disk.
class FeatureFileReader
{
public:
    [[nodiscard]] bool open(const QString& path, FeatureFileKind kind);
    [[nodiscard]] const FileHeader& header() const { return m_file.header(); }
    [[nodiscard]] qint64 epochCount() const { return m_epochCount; }
    /// Bytes after the last whole epoch.
    [[nodiscard]] qint64 trailingBytes() const { return m_trailingBytes; }
    [[nodiscard]] int valuesPerChannel() const { return m_valuesPerChannel; }
    /// The values of one epoch: channel c's value v at c * valuesPerChannel() + v. Empty past the end and on
    /// a read error.
    [[nodiscard]] std::vector<double> readEpoch(qint64 epoch);
    [[nodiscard]] QString lastError() const { return m_error; }

private:
    [[nodiscard]] qint64 epochBytes() const;

    VellumtideFile m_file;
    int m_valuesPerChannel = 0;
    qint64 m_epochCount = 0;
    qint64 m_trailingBytes = 0;
    QString m_error;
};

} // namespace vt
