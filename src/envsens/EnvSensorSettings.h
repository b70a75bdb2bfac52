// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QSettings>
#include <QString>
#include <functional>
#include <memory>

namespace vt {

/// What the program remembers of each environmental sensor, by serial number. All methods are called from the
/// sensors' threads and the interface thread.
class EnvSensorSettings
{
public:
    virtual ~EnvSensorSettings() = default;
    /// The serial number when none was stored.
    [[nodiscard]] virtual QString label(const QString& serialNumber) = 0;
    virtual void setLabel(const QString& serialNumber, const QString& label) = 0;
    /// True when nothing was stored.
    [[nodiscard]] virtual bool isEnabled(const QString& serialNumber) = 0;
    virtual void setEnabled(const QString& serialNumber, bool enabled) = 0;
};

/// In the groups "EnvSensorLabels" and "EnvSensorEnabled" of a QSettings store. Changes are on the disk when
/// the function returns; the first that cannot be stored is logged.
class StoredEnvSensorSettings final : public EnvSensorSettings
{
public:
    using OpenStore = std::function<std::unique_ptr<QSettings>()>;

    /// openStore opens the store anew for each access, on any thread. Default: the application's own.
    explicit StoredEnvSensorSettings(OpenStore openStore = [] { return std::make_unique<QSettings>(); });

    [[nodiscard]] QString label(const QString& serialNumber) override;
    void setLabel(const QString& serialNumber, const QString& label) override;
    [[nodiscard]] bool isEnabled(const QString& serialNumber) override;
    void setEnabled(const QString& serialNumber, bool enabled) override;

private:
    [[nodiscard]] QVariant value(QLatin1StringView group, const QString& key, const QVariant& otherwise);
    void setValue(QLatin1StringView group, const QString& key, const QVariant& newValue);

    const OpenStore m_openStore;
    Mutex m_mutex;
    bool m_isFailureTold VT_GUARDED_BY(m_mutex) = false;
};

} // namespace vt
