// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/HeaderBuilder.h"

#include "acquisition/AcquisitionFrame.h"

namespace vt {

namespace {

QString deviceDescription(const DeviceDetails& device)
{
    if (device.kind == DeviceKind::SerialAmplifier)
        return QStringLiteral("Strivix ") + device.serial;
    return device.productType;
}

} // namespace

double inputOffsetVolts(int gain, DeviceKind kind)
{
    return kind == DeviceKind::NiUnit && gain == 0 ? 2.5 : 0.0;
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
    header.offsetSubtracted = inputOffsetVolts(mcu.gain, device.kind);
    header.maxAmplitude =
        device.kind == DeviceKind::SerialAmplifier ? AmplifierFullScaleVolts : NiFullScaleVolts;
    header.lightOnset = setup.lightOnset;
    header.darkOnset = setup.darkOnset;
    header.channelLabels = completeAnimalIds(setup.animalIds, setup.channelCount);
    header.deviceDescription = deviceDescription(device);
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
    summary.deviceDescription = deviceDescription(device);
    summary.lightOnset = setup.lightOnset;
    summary.darkOnset = setup.darkOnset;
    summary.animalIds = completeAnimalIds(setup.animalIds, setup.channelCount);
    return summary;
}

} // namespace vt
