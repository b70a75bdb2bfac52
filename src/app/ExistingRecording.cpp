// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ExistingRecording.h"

#include "recording/RecordedFiles.h"
#include "recording/SegmentPaths.h"

namespace vt {

using namespace Qt::StringLiterals;

QString freeNumberedName(const QString& base)
{
    for (int number = 1; number <= LastSegmentSlot; ++number)
        if (QString name = u"%1 (%2)"_s.arg(base, QString::number(number)); !holdsRecording(name))
            return name;
    return {};
}

} // namespace vt
