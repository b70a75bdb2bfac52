// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>
#include <QTime>
#include <array>
#include <optional>
#include <vector>

namespace vt {

/// What "_cnfg.csv" says about a recording. The stimulation rows are optional: without a stimulation
/// controller they are written with empty values.
struct ConfigSummary
{
    struct Slot
    {
        QTime start;
        QTime end;
        QStringList days;
    };
    struct Cage
    {
        bool present = false;
        std::optional<double> frequency; ///< empty: randomised
        std::optional<double> amplitudeVolts;
        std::optional<double> durationSeconds;
    };
    QString basePath;
    int channelCount = 0;
    QString deviceSummary;
    QString deviceName;
    QString deviceDescription;
    QTime lightOnset;
    QTime darkOnset;
    QStringList animalIds;
    QStringList activationMode; ///< cells of the "Activation Mode:" row
    std::array<double, 6> randomizationRange{};
    std::vector<Slot> schedule; ///< empty: always active
    std::vector<bool> stimCages = std::vector<bool>(8, false);
    std::vector<Cage> cageParameters = std::vector<Cage>(8);

    [[nodiscard]] QByteArray toCsv() const;
};

/// Writes the summary; logs success or failure. Any thread.
bool writeConfigSummary(const QString& path, const ConfigSummary& summary);

} // namespace vt
