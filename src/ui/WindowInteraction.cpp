// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/WindowInteraction.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QWidget>

#include <memory>

namespace vt {

namespace {

/// A notice with a button of consequence (it ends the recording). Neither Escape nor the frame's close
/// button may press it, as they would the only button of an ordinary box.
class NoticeBox : public QMessageBox
{
public:
    explicit NoticeBox(QWidget* parent) : QMessageBox(parent)
    {
        setWindowFlag(Qt::WindowCloseButtonHint, false);
    }
    /// By the session, not by the user.
    void dismiss()
    {
        m_dismissed = true;
        done(QDialog::Rejected);
    }

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->matches(QKeySequence::Cancel) || event->key() == Qt::Key_Back)
            event->accept();
        else
            QMessageBox::keyPressEvent(event);
    }
    void closeEvent(QCloseEvent* event) override
    {
        if (m_dismissed)
            QMessageBox::closeEvent(event);
        else
            event->ignore();
    }
    void showEvent(QShowEvent* event) override
    {
        QMessageBox::showEvent(event);
        for (QAbstractButton* button : buttons()) {
            if (auto* push = qobject_cast<QPushButton*>(button)) {
                push->setAutoDefault(false);
                push->setDefault(false);
            }
        }
        setFocusPolicy(Qt::StrongFocus);
        setFocus();
    }

private:
    bool m_dismissed = false;
};

/// Escape and the frame's close button reject the box instead of pressing one of its buttons.
class QuestionBox : public QMessageBox
{
public:
    using QMessageBox::QMessageBox;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->matches(QKeySequence::Cancel) || event->key() == Qt::Key_Back)
            reject();
        else
            QMessageBox::keyPressEvent(event);
    }
    // Not the message box's own answer, which would take this for its escape button.
    void closeEvent(QCloseEvent* event) override
    {
        reject();
        event->setAccepted(!isVisible());
    }
};

QMessageBox::Icon iconFor(Severity severity)
{
    switch (severity) {
    case Severity::Information:
        return QMessageBox::Information;
    case Severity::Warning:
        return QMessageBox::Warning;
    case Severity::Critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

void fill(QMessageBox* box, QMessageBox::Icon icon, const QString& title, const QString& text)
{
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::NonModal);
    box->setTextFormat(Qt::PlainText);
    box->setIcon(icon);
    box->setWindowTitle(title);
    box->setText(text);
}

/// Deletes itself when it is closed.
QMessageBox* messageBox(QWidget* window, Severity severity, const QString& title, const QString& text)
{
    auto* box = new QMessageBox(window);
    fill(box, iconFor(severity), title, text);
    box->setStandardButtons(QMessageBox::Ok);
    return box;
}

void closeBox(QMessageBox* box)
{
    if (auto* notice = dynamic_cast<NoticeBox*>(box))
        notice->dismiss();
    else if (box)
        box->done(QDialog::Rejected);
}

} // namespace

WindowInteraction::~WindowInteraction()
{
    for (const QPointer<QMessageBox>& box : std::as_const(m_notices))
        if (box)
            box->disconnect(this);
}

void WindowInteraction::attachTo(QWidget* window)
{
    m_window = window;
}

void WindowInteraction::notify(Severity severity, const QString& title, const QString& text)
{
    messageBox(m_window, severity, title, text)->show();
}

void WindowInteraction::announce(Severity severity, const QString& title, const QString& text)
{
    QMessageBox* box = messageBox(m_window, severity, title, text);
    box->setAttribute(Qt::WA_ShowWithoutActivating);
    box->show();
}

void WindowInteraction::ask(const Question& question, std::function<void(int)> answered)
{
    closeQuestion(question.id);
    auto* box = new QuestionBox(m_window);
    fill(box, QMessageBox::Question, question.title, question.text);
    box->setInformativeText(question.informativeText);
    QCheckBox* check = nullptr;
    if (!question.checkBox.isEmpty()) {
        check = new QCheckBox(question.checkBox, box);
        box->setCheckBox(check);
    }
    QAbstractButton* last = nullptr;
    for (int index = 0; index < question.buttons.size(); ++index) {
        // The same role for all: the buttons stand in the order of the question on every desktop.
        QPushButton* button = box->addButton(question.buttons[index], QMessageBox::AcceptRole);
        button->setProperty("answer", index);
        if (index == question.defaultButton)
            box->setDefaultButton(button);
        last = button;
    }
    // Never pressed by the box. Without any the frame's close button would be disabled on some systems.
    box->setEscapeButton(last);
    const auto done = std::make_shared<bool>(false);
    const auto finish = [this, done, check, id = question.id, checked = question.checked,
                         answered = std::move(answered)](int index) {
        if (std::exchange(*done, true))
            return;
        m_withdrawals.remove(id);
        if (check && checked && index >= 0)
            checked(check->isChecked());
        answered(index);
        emit questionAnswered(id, index);
    };
    connect(box, &QMessageBox::buttonClicked, this,
            [finish](QAbstractButton* button) { finish(button->property("answer").toInt()); });
    connect(box, &QDialog::finished, this, [finish, escape = question.escapeButton] { finish(escape); });
    if (!question.id.isEmpty())
        m_withdrawals.insert(question.id, [finish, shown = QPointer<QMessageBox>(box)] {
            finish(-1);
            closeBox(shown);
        });
    if (m_window)
        box->setWindowModality(Qt::WindowModal);
    box->show();
}

void WindowInteraction::closeQuestion(const QString& id)
{
    if (const auto withdraw = m_withdrawals.take(id))
        withdraw();
}

void WindowInteraction::showNotice(const QString& id, const QString& title, const QString& text,
                                   const QString& buttonText, std::function<void()> pressed)
{
    closeNotice(id);
    QMessageBox* box = buttonText.isEmpty() ? new QMessageBox(m_window) : new NoticeBox(m_window);
    fill(box, QMessageBox::Information, title, text);
    box->setAttribute(Qt::WA_ShowWithoutActivating); // it comes by itself, perhaps while the user types
    if (buttonText.isEmpty()) {
        box->setStandardButtons(QMessageBox::Ok);
    } else {
        box->setIcon(QMessageBox::Warning);
        box->addButton(buttonText, QMessageBox::ActionRole);
        connect(box, &QMessageBox::buttonClicked, this, [pressed = std::move(pressed)] { pressed(); });
    }
    m_notices.insert(id, box);
    box->show();
}

void WindowInteraction::closeNotice(const QString& id)
{
    // Out of the table first: closing may lead to the next notice of the same id.
    const QPointer<QMessageBox> box = m_notices.take(id);
    closeBox(box);
}

void WindowInteraction::setRecordingIndicator(const QString& text)
{
    m_indicator = text;
    emit recordingIndicatorChanged(text);
}

void WindowInteraction::fatalError(const QString& title, const QString& text)
{
    m_fatal = true;
    QMessageBox* box = messageBox(m_window, Severity::Critical, title, text);
    if (m_window)
        box->setWindowModality(Qt::WindowModal);
    connect(box, &QDialog::finished, this, &WindowInteraction::fatalErrorSeen);
    box->show();
}

} // namespace vt
