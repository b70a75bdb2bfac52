// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/PowerSchemeQuery.h"
#include "session/UserInteraction.h"

#include <functional>

/// Warns before a recording on a computer that closing its lid would send to sleep.
namespace vt::LidWarning {

/// Asks the system; the answer comes on the interface thread.
using Query = std::function<void(QObject* receiver, std::function<void(const PowerSchemeQuery::Result&)>)>;

enum Button { OpenPowerSettings, Continue };

/// The question for this power scheme; checked is left to the caller.
[[nodiscard]] Question question(const PowerSchemeQuery::Result& scheme);

} // namespace vt::LidWarning
