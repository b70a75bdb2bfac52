// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

namespace vt {

/// The names of one segment's files for a base path and an animal-type code. With code 1 the four binary
/// files' names end in "fb"; the others never do.
struct SegmentPaths
{
    QString base;
    QString raw;           ///< base.bin
    QString featureVector; ///< base.FeatVec
    QString activity;      ///< base_at.Feat
    QString breathRate;    ///< base_br.Feat
    QString timeStamps;    ///< base_daq.Tstamp
    QString markers;       ///< base_Marks.csv
    QString stimulation;   ///< base_Stim.csv
    QString configuration; ///< base_cnfg.csv
};

[[nodiscard]] SegmentPaths segmentPaths(const QString& base, int animalType);

/// The user's file name without a trailing ".bin" or ".binfb".
[[nodiscard]] QString stripRecordingExtension(const QString& fileName);

/// The last number that a segment can have, and the only one that is used again.
inline constexpr int LastSegmentSlot = 99;

/// The base for the next segment: a trailing " (n)" is removed, then " (1)" to " (99)" tried in turn,
/// beginning behind slot after; when all their raw files exist, slot 99 is reused and a warning logged.
[[nodiscard]] QString nextAvailableSegmentPath(const QString& base, int animalType, int after = 0);

/// The number that a segment's base ends in; 0 without one.
[[nodiscard]] int segmentSlot(const QString& base);

} // namespace vt
