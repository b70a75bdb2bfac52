// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <vector>

/// Which cameras film which cage, as the user sets it and the setup file keeps it. No credentials.
namespace vt {

struct CameraEntry
{
    QString mac;     ///< upper-case hexadecimal pairs joined by "-"
    int channel = 0; ///< 1-based cage; 0: none
    bool enabled = false;
    int width = 0; ///< pixels
    int height = 0;
    int rotation = 0; ///< degrees: 0, 90, 180, 270
    bool operator==(const CameraEntry&) const = default;
};

struct VideoSettings
{
    int segmentMinutes = 60; ///< length of one video file
    std::vector<CameraEntry> cameras;
    bool operator==(const VideoSettings&) const = default;
};

} // namespace vt
