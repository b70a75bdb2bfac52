// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/HeaderBuilder.h"

#include "acquisition/AcquisitionFrame.h"

namespace vt {

double inputOffsetVolts(int gain)
{
    return gain == 0 ? 2.5 : 0.0;
}

QStringList completeAnimalIds(const QStringList& ids, int channelCount)
{
    QStringList complete;
    for (int channel = 0; channel < channelCount; ++channel) {
        const QString id = ids.value(channel);
        complete << (id.trimmed().isEmpty() ? QString::number(channel + 1) : id);
    }
    return complete;
}

FileHeader buildHeader(const RecordingSetup& setup, const DeviceDetails& device, const MCUHeader& mcu)
{
    FileHeader header;
    header.version = 4;
    header.softwareVersion = softwareVersionText();
    header.envSensorInfo = QStringLiteral("envsensplaceholder");
    header.channelCount = setup.channelCount;
    header.animalType = mcu.animalType;
    header.featuresPerEpoch = mcu.animalType == AnimalMouse ? 4 : 6;
    header.sampleRate = DecimatedRateHz;
    header.mcuGain = mcu.gain;
    header.offsetSubtracted = inputOffsetVolts(mcu.gain);
    header.maxAmplitude = NiFullScaleVolts;
    header.lightOnset = setup.lightOnset;
    header.darkOnset = setup.darkOnset;
    header.channelLabels = completeAnimalIds(setup.animalIds, setup.channelCount);
    header.deviceDescription = device.productType;
    header.deviceSerial = device.serial;
    header.mcu = mcu;
    return header;
}

ConfigSummary buildConfigSummary(const QString& basePath, const RecordingSetup& setup,
                                 const DeviceDetails& device)
{
    ConfigSummary summary;
    summary.basePath = basePath;
    summary.channelCount = setup.channelCount;
    summary.deviceSummary = QStringLiteral("%1 serial %2%3")
                                .arg(device.productType, device.serial,
                                     device.simulated ? QStringLiteral(" (simulated)") : QString());
    summary.deviceName = device.name;
    summary.deviceDescription = device.productType;
    summary.lightOnset = setup.lightOnset;
    summary.darkOnset = setup.darkOnset;
    summary.animalIds = completeAnimalIds(setup.animalIds, setup.channelCount);
    return summary;
}

} // namespace vt
