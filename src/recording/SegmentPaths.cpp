// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/SegmentPaths.h"

#include <QDebug>
#include <QFile>
#include <QRegularExpression>

namespace vt {

namespace {

/// Animal-type code 1 marks the four binary files' names.
QString binarySuffix(int animalType)
{
    return animalType == 1 ? QStringLiteral("fb") : QString();
}

const QRegularExpression& trailingNumber()
{
    static const QRegularExpression number(QStringLiteral("\\s\\((\\d+)\\)$"));
    return number;
}

} // namespace

SegmentPaths segmentPaths(const QString& base, int animalType)
{
    const QString suffix = binarySuffix(animalType);
    SegmentPaths paths;
    paths.base = base;
    paths.raw = base + QLatin1String(".bin") + suffix;
    paths.featureVector = base + QLatin1String(".FeatVec") + suffix;
    paths.activity = base + QLatin1String("_at.Feat") + suffix;
    paths.breathRate = base + QLatin1String("_br.Feat") + suffix;
    paths.timeStamps = base + QLatin1String("_daq.Tstamp");
    paths.markers = base + QLatin1String("_Marks.csv");
    paths.stimulation = base + QLatin1String("_Stim.csv");
    paths.configuration = base + QLatin1String("_cnfg.csv");
    return paths;
}

QString stripRecordingExtension(const QString& fileName)
{
    static const QRegularExpression extension(QStringLiteral("\\.bin(fb)?$"));
    QString base = fileName;
    return base.remove(extension);
}

QString nextAvailableSegmentPath(const QString& base, int animalType, int after)
{
    QString stripped = base;
    stripped.remove(trailingNumber());
    for (int segment = after + 1; segment <= LastSegmentSlot; ++segment) {
        QString candidate = QStringLiteral("%1 (%2)").arg(stripped, QString::number(segment));
        if (!QFile::exists(segmentPaths(candidate, animalType).raw))
            return candidate;
    }
    qWarning().noquote() << "nextAvailableSegmentPath: cap reached for base" << base
                         << "— reusing the last segment slot; earlier segments are preserved";
    return QStringLiteral("%1 (%2)").arg(stripped, QString::number(LastSegmentSlot));
}

int segmentSlot(const QString& base)
{
    return trailingNumber().match(base).captured(1).toInt();
}

} // namespace vt
