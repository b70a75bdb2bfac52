// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/Safeguards.h"

#include "session/AppSettings.h"
#include "session/OpenRecordings.h"
#include "session/UserInteraction.h"

#include <QCoreApplication>

namespace vt {

SessionController::Options Safeguards::sessionOptions()
{
    SessionController::Options options;
    options.autoResume = AppSettings::autoResumeOnDaqDisconnect();
    options.rememberSaveName = [](const QString& base) { AppSettings::setSaveFileName(base); };
    options.claim = &m_claim;
    options.lidQuery = &PowerSchemeQuery::query;
    options.showLidWarning = &AppSettings::showLidWarning;
    options.hideLidWarning = [] { AppSettings::setShowLidWarning(false); };
    return options;
}

std::unique_ptr<PowerGuard> Safeguards::protect(SessionController& session, TimeSource& time,
                                                UserInteraction& user)
{
    session.addCompanion(std::make_unique<OpenRecordings>());
    return std::make_unique<PowerGuard>(session, time, user, PowerGuard::systemServices());
}

void Safeguards::tellUnclosed(UserInteraction& user)
{
    m_unclosed.look([&user](const UnclosedRecordings::Found& found) {
        user.notify(Severity::Warning, QCoreApplication::translate("Safeguards", "Recording Not Closed"),
                    UnclosedRecordings::message(found));
    });
}

} // namespace vt
