// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/StimulationValues.h"

#include "hardware/VexioRegisters.h"

namespace vt {

double cageNumber(CageValue what, quint8 registerValue)
{
    switch (what) {
    case CageValue::Frequency:
        return VEXIO_NS::registerToFrequencyHz(registerValue);
    case CageValue::Amplitude:
        return VEXIO_NS::registerToAmplitudeVolts(registerValue);
    case CageValue::Duration:
        break;
    }
    return VEXIO_NS::registerToDurationSec(registerValue);
}

quint8 cageRegister(CageValue what, double number)
{
    switch (what) {
    case CageValue::Frequency:
        return VEXIO_NS::frequencyHzToRegister(number);
    case CageValue::Amplitude:
        return VEXIO_NS::amplitudeVoltsToRegister(number);
    case CageValue::Duration:
        break;
    }
    return VEXIO_NS::durationSecToRegister(number);
}

QString cageUnit(CageValue what)
{
    return what == CageValue::Frequency   ? QStringLiteral("Hz")
           : what == CageValue::Amplitude ? QStringLiteral("V")
                                          : QStringLiteral("s");
}

int cageDecimals(CageValue what)
{
    return what == CageValue::Frequency ? 0 : what == CageValue::Amplitude ? 2 : 1;
}

QString waveShapeText(quint8 waveShape)
{
    return VEXIO_NS::waveShapeName(waveShape);
}

int speakerFault(quint8 faults0C, quint8 faults0D, int cage)
{
    return VEXIO_NS::speakerFaultCode(faults0C, faults0D, cage);
}

QString speakerFaultWords(int fault)
{
    return VEXIO_NS::speakerFaultText(fault);
}

UnitStatus unitStatus(quint8 systemStatus)
{
    UnitStatus status;
    status.hasPower = (systemStatus & VEXIO_NS::StatusNoPower) == 0;
    status.isTooHot = status.hasPower && (systemStatus & VEXIO_NS::StatusOverTemperature) != 0;
    status.hasSpeakerFault = (systemStatus & VEXIO_NS::StatusSpeakerFault) != 0;
    return status;
}

} // namespace vt
