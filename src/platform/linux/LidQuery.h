// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/PowerSchemeQuery.h"

#include <QDBusConnection>

namespace vt::PowerSchemeQuery {

/// query() on a given bus, with the batteries of a given folder in the layout of /sys/class/power_supply.
void queryLid(const QDBusConnection& bus, const QString& powerSupplyFolder, QObject* receiver,
              std::function<void(const Result&)> answered);

} // namespace vt::PowerSchemeQuery
