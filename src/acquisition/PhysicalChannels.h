// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt {

/// The analog inputs of a unit, in order: "Dev1/ai0:7" for 8 channels of Dev1. channelCount >= 1.
[[nodiscard]] inline QString physicalChannels(const QString& device, int channelCount)
{
    return QStringLiteral("%1/ai0:%2").arg(device).arg(channelCount - 1);
}

} // namespace vt
