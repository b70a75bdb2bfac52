// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/UnitInfo.h"

#include "hardware/BuildInfoCache.h"
#include "recording/McuHeader.h"

#include <QCoreApplication>
#include <QDate>
#include <QLocale>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("UnitInfo", source);
}

QString manufacturedText(const QString& stored)
{
    const QDate date = QDate::fromString(stored, u"yyyy_MM_dd"_s);
    return date.isValid() ? date.toString(Qt::ISODate) : stored;
}

QString firmwareText(const MCUHeader& header)
{
    const DaqBuildInfo build = decodeBuildInfo(header.buildInfo);
    if (!isPlausible(build))
        return text("Not told");
    const auto twoDigits = [](int number) { return QString::number(number).rightJustified(2, u'0'); };
    return text("%1, built %2 %3 20%4 %5:%6, compiler %7")
        .arg(build.firmwareVersion.trimmed(), QString::number(build.day), build.month, twoDigits(build.year),
             twoDigits(build.hour), twoDigits(build.minute), build.compilerVersion.trimmed());
}

} // namespace

QString shortedSensorsText(quint16 shortedMask)
{
    QStringList channels;
    for (int channel = 0; channel < 16; ++channel)
        if ((shortedMask >> channel & 1) != 0)
            channels << QString::number(channel + 1);
    if (channels.isEmpty())
        return {};
    return text("Shorted sensor on channel %1: no usable signal until its cable or the sensor has been "
                "changed.")
        .arg(channels.join(u", "_s));
}

UnitInfo describeUnit(const MCUHeader& header)
{
    UnitInfo info;
    const auto add = [&info](const char* name, const QString& value) {
        if (!value.isEmpty())
            info.rows.emplace_back(text(name), value);
    };
    add("Sensors", header.sensorCount > 0 ? text("%1, type %2").arg(header.sensorCount).arg(header.sensorType)
                                          : text("Not told"));
    add("Amplifier",
        header.amplifierText.isEmpty()
            ? text("Type %1").arg(header.amplifierType)
            : text("%1, type %2").arg(header.amplifierText, QString::number(header.amplifierType)));
    add("Firmware", firmwareText(header));
    add("Made", manufacturedText(header.manufacturingDate));
    add("Customer", header.customerInfo);
    add("Register map", text("Revision %1").arg(header.mapRevision));

    if (header.shortedMask != 0)
        info.warnings << shortedSensorsText(header.shortedMask);
    else if ((header.status & McuSensorShorted) != 0)
        info.warnings << text("At least one sensor is shorted.");
    if ((header.status & McuSensorCountChanged) != 0)
        info.warnings << text("The number of sensors has changed. Select the unit again to record from "
                              "them.");
    return info;
}

} // namespace vt
