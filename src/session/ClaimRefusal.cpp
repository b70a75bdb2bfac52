// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/ClaimRefusal.h"

#include "platform/DaqClaim.h"
#include "session/SessionController.h"

namespace vt {

QString claimOrRefusal(DaqClaim& claim, const QString& serial, const QString& name)
{
    if (claim.tryClaim(serial))
        return {};
    claim.release(); // whatever was selected before is selected no more
    const auto holder = claim.otherHolder(serial);
    if (!holder)
        return SessionController::tr("%1 could not be reserved for this program.").arg(name);
    if (*holder == 0)
        return SessionController::tr("%1 is in use by another Vellumtide instance.").arg(name);
    return SessionController::tr("%1 is in use by another Vellumtide instance (process %2).")
        .arg(name, QString::number(*holder));
}

} // namespace vt
