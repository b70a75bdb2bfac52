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

/// The two questions of this class have one harmless answer, the last, which Escape gives, too.
Question riskyQuestion(const QString& title, const QString& text, const QString& button)
{
    return {title, text, {button, SetupFileActions::tr("&Cancel")}, 1, 1};
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

void SetupFileActions::acceptPanel()
{
    m_kept = fingerprint();
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
    read({path, {}});
}

void SetupFileActions::loadOnceReady(const QString& path, const Adjustment& adjust)
{
    m_waiting = Load{path, adjust, true};
    loadWaiting();
}

void SetupFileActions::loadWaiting()
{
    if (m_waiting && m_channelCount > 0 && !m_locked)
        read(*std::exchange(m_waiting, std::nullopt));
}

void SetupFileActions::read(const Load& load)
{
    emit done(tr("Loading %1…").arg(QDir::toNativeSeparators(load.path)));
    m_disk.read(load.path, m_channelCount,
                [this, load, mine = ++m_lastLoad,
                 channelCount = m_channelCount](const SetupFileDisk::ReadResult& result) {
                    if (mine != m_lastLoad)
                        return; // another file was chosen meanwhile
                    if (channelCount == m_channelCount) {
                        handleRead(load, result);
                        return;
                    }
                    m_waiting = load; // another unit was chosen meanwhile, or none
                    loadWaiting();
                });
}

void SetupFileActions::handleRead(const Load& load, const SetupFileDisk::ReadResult& result)
{
    const auto* contents = std::get_if<SetupFileContents>(&result);
    if (!contents) {
        const auto& error = std::get<SetupFileError>(result);
        if (load.waitsForUnit && error.isForOtherUnit)
            m_waiting = load;
        tell(error.text);
    } else if (m_locked) {
        tell(tr("The recording began before '%1' was read. Nothing was applied.")
                 .arg(QDir::toNativeSeparators(load.path)));
    } else {
        applyOrAsk(*contents, load);
    }
}

void SetupFileActions::tell(const QString& problem)
{
    m_user.notify(Severity::Critical, tr("Load Configuration"),
                  tr("Could not load the configuration.\n\n%1").arg(problem));
}

void SetupFileActions::applyOrAsk(const SetupFileContents& contents, const Load& load)
{
    if (!isChanged()) {
        apply(contents, load);
        return;
    }
    m_user.ask(riskyQuestion(tr("Load Configuration"),
                             tr("The setup was changed and not saved. Loading '%1' replaces the changes.")
                                 .arg(QFileInfo(load.path).fileName()),
                             tr("&Load")),
               [guard = QPointer<SetupFileActions>(this), contents, load](int answer) {
                   // The unit may have been changed, or a recording begun, before the answer.
                   if (guard && answer == 0 && !guard->m_locked &&
                       contents.channelCount == guard->m_channelCount)
                       guard->apply(contents, load);
               });
}

void SetupFileActions::apply(const SetupFileContents& contents, const Load& load)
{
    m_waiting.reset();
    RecordingSetup setup = m_panel.setupToSave();
    applySetup(contents, setup);
    if (load.adjust)
        load.adjust(setup);
    m_panel.setSetup(setup);
    acceptPanel();
    remember(load.path);
    emit loaded(load.path);
    emit done(tr("Configuration loaded from %1").arg(QDir::toNativeSeparators(load.path)));
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
    if (complete == path) {
        write(complete);
        return;
    }
    m_disk.exists(complete, [this, complete](bool isThere) {
        if (isThere)
            askToReplace(complete);
        else
            write(complete);
    });
}

void SetupFileActions::askToReplace(const QString& path)
{
    m_user.ask(riskyQuestion(tr("Save Configuration"),
                             tr("'%1' exists already. Replace it?").arg(QFileInfo(path).fileName()),
                             tr("&Replace")),
               [guard = QPointer<SetupFileActions>(this), path](int answer) {
                   if (guard && answer == 0)
                       guard->write(path);
               });
}

void SetupFileActions::write(const QString& path)
{
    if (!isReady())
        return;
    emit done(tr("Saving %1…").arg(QDir::toNativeSeparators(path)));
    const SetupFileContents contents = setupContents(m_panel.setupToSave(), m_channelCount);
    const QByteArray json = formatSetup(contents, softwareVersionText(), QDateTime::currentDateTimeUtc());
    m_disk.write(path, json, [this, path, written = fingerprint()](const QString& problem) {
        if (!problem.isEmpty()) {
            m_user.notify(Severity::Critical, tr("Save Configuration"),
                          tr("Could not save the configuration.\n\n%1").arg(problem));
            return;
        }
        m_kept = written;
        m_waiting.reset();
        remember(path);
        emit done(tr("Configuration saved in %1").arg(QDir::toNativeSeparators(path)));
    });
}

void SetupFileActions::remember(const QString& path)
{
    m_folder = QFileInfo(path).absolutePath();
    emit folderChosen(m_folder);
}

} // namespace vt
