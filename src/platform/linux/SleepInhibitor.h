// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/linux/LogindInhibitor.h"

namespace vt {

/// PowerRequest on a given bus.
class SleepInhibitor
{
public:
    explicit SleepInhibitor(const QDBusConnection& bus);
    bool acquire();
    void release();

private:
    void report(const QDBusError& error);

    QDBusConnection m_bus;
    LogindInhibitor m_inhibitor;
    bool m_warned = false; ///< once per recording
};

} // namespace vt
