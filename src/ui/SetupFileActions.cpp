// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SetupFileActions.h"

#include "acquisition/AcquisitionFrame.h"
#include "recording/FileHeader.h"
#include "session/UserInteraction.h"
#include "ui/SetupPanel.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QPointer>

namespace vt {

namespace {

/// The two questions of this class have one harmless answer, the last.
Question riskyQuestion(const QString& title, const QString& text, const QString& button)
{
    return {title, text, {button, SetupFileActions::tr("&Cancel")}, 1};
}

} // namespace

SetupFileActions::SetupFileActions(SetupPanel& panel, UserInteraction& user, QObject* parent)
    : QObject(parent), m_panel(panel), m_user(user), m_kept(fingerprint())
{
    connect(&panel, &SetupPanel::loadConfigRequested, this, &SetupFileActions::load);
    connect(&panel, &SetupPanel::saveConfigRequested, this, &SetupFileActions::save);
}

void SetupFileActions::setDevice(const DeviceDetails& details)
{
    m_channelCount = details.usable ? details.offeredChannels : 0;
    loadWaiting();
}

void SetupFileActions::setLocked(bool locked)
{
    m_locked = locked;
}

/// Of what a setup file would hold, whatever the number of channels.
QByteArray SetupFileActions::fingerprint() const
{
    return formatSetup(setupContents(m_panel.setupToSave(), MaxChannels), {}, {});
}

bool SetupFileActions::isReady()
{
    m_panel.finishEditing();
    if (m_channelCount > 0)
        return true;
    m_user.notify(Severity::Warning, tr("Not Ready to Record"),
                  tr("Select a DAQ device on the Basic Config tab."));
    return false;
}

QFileDialog* SetupFileActions::createDialog(const QString& title)
{
    auto* dialog = new QFileDialog(&m_panel, title, m_folder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setNameFilter(tr("Vellumtide Config (*.vtconfig)"));
    return dialog;
}

void SetupFileActions::load()
{
    if (m_locked || !isReady())
        return;
    QFileDialog* dialog = createDialog(tr("Load Configuration"));
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &SetupFileActions::loadFrom);
    dialog->open();
}

void SetupFileActions::save()
{
    if (!isReady())
        return;
    QFileDialog* dialog = createDialog(tr("Save Configuration"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setDefaultSuffix(QStringLiteral("vtconfig"));
    connect(dialog, &QFileDialog::fileSelected, this, &SetupFileActions::saveTo);
    dialog->open();
}

void SetupFileActions::loadFrom(const QString& path)
{
    if (m_locked || !isReady())
        return;
    const std::optional<SetupFileContents> contents = readOrTell(path);
    if (!contents)
        return;
    if (fingerprint() == m_kept) {
        apply(*contents, path);
        return;
    }
    m_user.ask(riskyQuestion(tr("Load Configuration"),
                             tr("The setup was changed and not saved. Loading '%1' replaces the changes.")
                                 .arg(QFileInfo(path).fileName()),
                             tr("&Load")),
               [guard = QPointer<SetupFileActions>(this), contents = *contents, path](int answer) {
                   // The unit may have been changed, or a recording begun, before the answer.
                   if (guard && answer == 0 && !guard->m_locked &&
                       contents.channelCount == guard->m_channelCount)
                       guard->apply(contents, path);
               });
}

void SetupFileActions::loadOnceReady(const QString& path)
{
    m_waiting = path;
    loadWaiting();
}

void SetupFileActions::loadWaiting()
{
    if (m_waiting.isEmpty() || m_channelCount == 0 || m_locked)
        return;
    const QString path = std::exchange(m_waiting, {});
    if (const auto contents = readOrTell(path))
        apply(*contents, path);
}

std::optional<SetupFileContents> SetupFileActions::readOrTell(const QString& path)
{
    auto result = readSetupFile(path, m_channelCount);
    if (auto* contents = std::get_if<SetupFileContents>(&result))
        return std::move(*contents);
    m_user.notify(Severity::Critical, tr("Load Configuration"),
                  tr("Could not load the configuration.\n\n%1").arg(std::get<SetupFileError>(result).text));
    return std::nullopt;
}

void SetupFileActions::apply(const SetupFileContents& contents, const QString& path)
{
    RecordingSetup setup = m_panel.setupToSave();
    applySetup(contents, setup);
    m_panel.setSetup(setup);
    m_kept = fingerprint();
    remember(path);
    emit loaded(path);
    emit done(tr("Configuration loaded from %1").arg(QDir::toNativeSeparators(path)));
    if (!contents.vexioProblem.isEmpty())
        m_user.notify(Severity::Warning, tr("Load Configuration"),
                      tr("Could not load the configuration.\n\n%1").arg(contents.vexioProblem) +
                          tr("\n\nEverything else was applied."));
}

void SetupFileActions::saveTo(const QString& path)
{
    if (!isReady())
        return;
    const QString complete = withSetupExtension(path);
    // The dialog has asked about the name that it gave, not about the one with the extension.
    if (complete == path || !QFileInfo::exists(complete)) {
        write(complete);
        return;
    }
    m_user.ask(riskyQuestion(tr("Save Configuration"),
                             tr("'%1' exists already. Replace it?").arg(QFileInfo(complete).fileName()),
                             tr("&Replace")),
               [guard = QPointer<SetupFileActions>(this), complete](int answer) {
                   if (guard && answer == 0)
                       guard->write(complete);
               });
}

void SetupFileActions::write(const QString& path)
{
    if (!isReady())
        return;
    const SetupFileContents contents = setupContents(m_panel.setupToSave(), m_channelCount);
    const QByteArray json = formatSetup(contents, softwareVersionText(), QDateTime::currentDateTimeUtc());
    const QString problem = writeSetupFile(path, json);
    if (!problem.isEmpty()) {
        m_user.notify(Severity::Critical, tr("Save Configuration"),
                      tr("Could not save the configuration.\n\n%1").arg(problem));
        return;
    }
    m_kept = fingerprint();
    remember(path);
    emit done(tr("Configuration saved in %1").arg(QDir::toNativeSeparators(path)));
}

void SetupFileActions::remember(const QString& path)
{
    m_folder = QFileInfo(path).absolutePath();
    emit folderChosen(m_folder);
}

} // namespace vt
