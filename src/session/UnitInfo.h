// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>
#include <utility>
#include <vector>

namespace vt {

struct MCUHeader;

/// What an acquisition unit says of itself, in words for the user.
struct UnitInfo
{
    std::vector<std::pair<QString, QString>> rows; ///< name, value
    QStringList warnings;
};

[[nodiscard]] UnitInfo describeUnit(const MCUHeader& header);

/// "Channels 3, 5 have a shorted sensor ..."; empty for no channel.
[[nodiscard]] QString shortedSensorsText(quint16 shortedMask);

} // namespace vt
