// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ExistingRecording.h"

#include "acquisition/AcquisitionFrame.h"
#include "recording/SegmentPaths.h"
#include "session/SetupCheck.h"

namespace vt {

using namespace Qt::StringLiterals;

bool holdsRecording(const QString& base)
{
    const auto holds = [&base](int animalType) { return holdsFrames(segmentPaths(base, animalType).raw); };
    return holds(AnimalMouse) || holds(AnimalRat);
}

QString freeNumberedName(const QString& base)
{
    constexpr int last = 99;
    for (int number = 1; number <= last; ++number)
        if (QString name = u"%1 (%2)"_s.arg(base, QString::number(number)); !holdsRecording(name))
            return name;
    return {};
}

} // namespace vt
