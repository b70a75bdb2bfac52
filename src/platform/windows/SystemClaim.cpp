// SPDX-License-Identifier: GPL-3.0-or-later
// A claim is a named mutex in the session's namespace. The system destroys a mutex together with the last
// process that has it open, so an "abandoned" one is only met when somebody else had it open when its owner
// died.
#include "platform/SystemClaim.h"
#include "platform/windows/plain/ClaimMutex.h"

namespace vt::platform {

namespace {

using Mutex = windows::ClaimMutex;

class MutexClaim final : public SystemClaim
{
public:
    Mutex mutex;
};

std::wstring mutexName(const QString& serial)
{
    return (QStringLiteral("Local\\Vellumtide_") + serial).toStdWString();
}

ClaimAttempt::Outcome outcomeOf(Mutex::Outcome outcome)
{
    switch (outcome) {
    case Mutex::Outcome::Claimed:
        return ClaimAttempt::Outcome::Claimed;
    case Mutex::Outcome::ClaimedAbandoned:
        return ClaimAttempt::Outcome::ClaimedAbandoned;
    case Mutex::Outcome::HeldElsewhere:
        return ClaimAttempt::Outcome::HeldElsewhere;
    case Mutex::Outcome::Failed:
        break;
    }
    return ClaimAttempt::Outcome::Failed;
}

} // namespace

ClaimAttempt takeClaim(const QString& serial)
{
    auto claim = std::make_unique<MutexClaim>();
    ClaimAttempt attempt;
    attempt.outcome = outcomeOf(claim->mutex.take(mutexName(serial)));
    if (attempt.outcome == ClaimAttempt::Outcome::Failed) {
        attempt.failedCall = QStringLiteral("CreateMutexW");
        attempt.errorCode = claim->mutex.error();
    } else if (attempt.outcome != ClaimAttempt::Outcome::HeldElsewhere) {
        attempt.claim = std::move(claim);
    }
    return attempt;
}

std::optional<qint64> claimHolder(const QString& serial)
{
    if (const auto holder = Mutex::holder(mutexName(serial)))
        return static_cast<qint64>(*holder);
    return std::nullopt;
}

} // namespace vt::platform
