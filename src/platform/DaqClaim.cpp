// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DaqClaim.h"
#include "platform/SystemClaim.h"

#include <QCoreApplication>
#include <QDebug>

namespace vt {

using platform::ClaimAttempt;

struct DaqClaim::Private
{
    QString serial;
    std::unique_ptr<platform::SystemClaim> claim;
};

DaqClaim::DaqClaim() : d(std::make_unique<Private>()) {}

DaqClaim::~DaqClaim() = default;

bool DaqClaim::tryClaim(const QString& serial)
{
    using Outcome = ClaimAttempt::Outcome;
    const qint64 id = QCoreApplication::applicationPid();
    if (serial.isEmpty()) {
        qDebug().noquote() << "DaqClaim[" << id << "]::tryClaim - empty serial, not claiming";
        return false;
    }
    if (d->claim && serial == d->serial) {
        qDebug().noquote() << "DaqClaim[" << id << "]::tryClaim - serial" << serial << "already held (no-op)";
        return true;
    }
    ClaimAttempt attempt = platform::takeClaim(serial);
    if (attempt.outcome == Outcome::Failed) {
        qWarning().noquote() << "DaqClaim[" << id << "]::tryClaim -" << attempt.failedCall
                             << "failed for serial" << serial << "error:" << attempt.errorCode;
        return false;
    }
    if (attempt.outcome == Outcome::HeldElsewhere) {
        qWarning().noquote() << "DaqClaim[" << id << "]::tryClaim - serial" << serial
                             << "is held by another Vellumtide instance";
        return false;
    }
    d->claim = std::move(attempt.claim); // gives up the one held so far
    d->serial = serial;
    QDebug line = qDebug().noquote();
    line << "DaqClaim[" << id << "]::tryClaim - claimed serial" << serial;
    if (attempt.outcome == Outcome::ClaimedAbandoned)
        line << "(abandoned by prior owner)";
    return true;
}

void DaqClaim::release()
{
    d->claim.reset();
    d->serial.clear();
}

QString DaqClaim::serial() const
{
    return d->serial;
}

std::optional<qint64> DaqClaim::otherHolder(const QString& serial) const
{
    if (serial.isEmpty() || (d->claim && serial == d->serial))
        return std::nullopt;
    return platform::claimHolder(serial);
}

} // namespace vt
