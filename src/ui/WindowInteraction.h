// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/UserInteraction.h"

#include <QHash>
#include <QObject>
#include <QPointer>

class QMessageBox;
class QWidget;

namespace vt {

/// Talks to the user through message boxes that never hold up the session: every box is shown and left to
/// the event loop. Made before the session controller; the window attaches itself once it exists.
/// Interface thread.
class WindowInteraction : public QObject, public UserInteraction
{
    Q_OBJECT
public:
    using QObject::QObject;
    ~WindowInteraction() override;

    /// Boxes shown from now on belong to this window and stay above it.
    void attachTo(QWidget* window);

    void notify(Severity severity, const QString& title, const QString& text) override;
    void announce(Severity severity, const QString& title, const QString& text) override;
    void ask(const Question& question, std::function<void(int)> answered) override;
    void showNotice(const QString& id, const QString& title, const QString& text, const QString& buttonText,
                    std::function<void()> pressed) override;
    void closeNotice(const QString& id) override;
    void setRecordingIndicator(const QString& text) override;
    void fatalError(const QString& title, const QString& text) override;

    /// Withdraws the open question of that id, which answers -1; does nothing without one.
    void closeQuestion(const QString& id);
    /// The program ends with exit status 1, whatever ends it.
    [[nodiscard]] bool hadFatalError() const { return m_fatal; }
    [[nodiscard]] QString recordingIndicator() const { return m_indicator; }

signals:
    void recordingIndicatorChanged(const QString& text);
    /// After the asker's callback has run; id of the question, index as in UserInteraction::ask.
    void questionAnswered(const QString& id, int index);
    /// The user has seen the message: end the program with exit status 1.
    void fatalErrorSeen();

private:
    QPointer<QWidget> m_window;
    QHash<QString, QPointer<QMessageBox>> m_notices;
    QHash<QString, std::function<void()>> m_withdrawals; ///< of open questions with an id
    QString m_indicator;
    bool m_fatal = false;
};

} // namespace vt
