// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt {

class DaqClaim;

/// Claims a device for this instance of the program. Returns why that is not possible, for the user, with the
/// device called name; empty when it is claimed. What the claim held before is given up either way. Interface
/// thread.
[[nodiscard]] QString claimOrRefusal(DaqClaim& claim, const QString& serial, const QString& name);

} // namespace vt
