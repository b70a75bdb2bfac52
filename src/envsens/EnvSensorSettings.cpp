// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnvSensorSettings.h"

#include <QDebug>
#include <utility>

namespace vt {

namespace {

// No objects: a sensor's thread that the system holds up may come here when those are gone already.
constexpr QLatin1StringView LabelGroup("EnvSensorLabels");
constexpr QLatin1StringView EnabledGroup("EnvSensorEnabled");

} // namespace

StoredEnvSensorSettings::StoredEnvSensorSettings(OpenStore openStore) : m_openStore(std::move(openStore)) {}

QString StoredEnvSensorSettings::label(const QString& serialNumber)
{
    return value(LabelGroup, serialNumber, serialNumber).toString();
}

void StoredEnvSensorSettings::setLabel(const QString& serialNumber, const QString& label)
{
    setValue(LabelGroup, serialNumber, label);
}

bool StoredEnvSensorSettings::isEnabled(const QString& serialNumber)
{
    return value(EnabledGroup, serialNumber, true).toBool();
}

void StoredEnvSensorSettings::setEnabled(const QString& serialNumber, bool enabled)
{
    setValue(EnabledGroup, serialNumber, enabled);
}

QVariant StoredEnvSensorSettings::value(QLatin1StringView group, const QString& key,
                                        const QVariant& otherwise)
{
    const MutexLock lock(m_mutex);
    const std::unique_ptr<QSettings> store = m_openStore();
    store->beginGroup(group);
    return store->value(key, otherwise);
}

void StoredEnvSensorSettings::setValue(QLatin1StringView group, const QString& key, const QVariant& newValue)
{
    const MutexLock lock(m_mutex);
    const std::unique_ptr<QSettings> store = m_openStore();
    store->beginGroup(group);
    store->setValue(key, newValue);
    store->sync();
    if (store->status() != QSettings::NoError && !std::exchange(m_isFailureTold, true))
        qWarning().noquote() << "Environmental sensor settings cannot be stored in" << store->fileName();
}

} // namespace vt
