// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/Safeguards.h"

#include "session/OpenRecordings.h"
#include "session/UserInteraction.h"

#include <QCoreApplication>
#include <utility>

namespace vt {

namespace {

constexpr int SettingsEndWaitMs = 5000;

}

Safeguards::Safeguards()
    : m_settings(QStringLiteral("settings"), SettingsEndWaitMs),
      m_showsLidWarning(AppSettings::showLidWarning()), m_unclosed(store())
{}

AppSettings::StoreThread Safeguards::store()
{
    return [this](std::function<void()> change) { m_settings.post(std::move(change)); };
}

SessionController::Options Safeguards::sessionOptions()
{
    SessionController::Options options;
    options.autoResume = AppSettings::autoResumeOnDaqDisconnect();
    options.rememberSaveName = [store = store()](const QString& base) {
        store([base] { AppSettings::setSaveFileName(base); });
    };
    options.claim = &m_claim;
    options.lidQuery = &PowerSchemeQuery::query;
    options.showLidWarning = [this] { return m_showsLidWarning; };
    options.hideLidWarning = [this] {
        m_showsLidWarning = false;
        store()([] { AppSettings::setShowLidWarning(false); });
    };
    return options;
}

std::unique_ptr<PowerGuard> Safeguards::protect(SessionController& session, TimeSource& time,
                                                UserInteraction& user)
{
    session.addCompanion(std::make_unique<OpenRecordings>(store()));
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
