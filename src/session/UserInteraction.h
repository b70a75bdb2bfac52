// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>
#include <functional>

namespace vt {

enum class Severity { Information, Warning, Critical };

/// A question with labelled buttons; '&' marks a button's mnemonic.
struct Question
{
    QString title;
    QString text;
    QStringList buttons;
    int defaultButton = 0;
    /// Escape and the frame's close button answer this; -1: they answer -1, which decides nothing.
    int escapeButton = -1;
    QString informativeText = {}; ///< below the text, in smaller type; may be empty
    QString checkBox = {};        ///< label of a check box; empty: none
    /// State of the check box, called before the answer; not when that is -1.
    std::function<void(bool)> checked = {};
    QString id = {}; ///< tells a question that may have to be withdrawn; empty for others
};

/// Id of the question whether to stop the recording.
[[nodiscard]] inline QString stopQuestionId()
{
    return QStringLiteral("stop");
}

/// How the session controller talks to the person in front of the program. The window shows boxes; the
/// headless mode writes the same texts to standard error. Interface thread only; no method waits for the
/// user, answers come through the callbacks, on the interface thread.
class UserInteraction
{
public:
    virtual ~UserInteraction() = default;

    /// A message that the user closes: the answer to what they have just done.
    virtual void notify(Severity severity, const QString& title, const QString& text) = 0;

    /// A message that comes by itself. Whoever types goes on typing; it waits beside until it is closed.
    virtual void announce(Severity severity, const QString& title, const QString& text)
    {
        notify(severity, title, text);
    }

    /// answered(index of the pressed button). Closing the box answers question.escapeButton, which may be -1;
    /// so does, with -1, a question that is withdrawn because it has become pointless. -1 is a no.
    virtual void ask(const Question& question, std::function<void(int)> answered) = 0;

    /// A non-modal notice that stays until closeNotice(id) or until a newer one takes its id's place.
    /// With a buttonText the notice has that button; pressed() is called once when it is used.
    virtual void showNotice(const QString& id, const QString& title, const QString& text,
                            const QString& buttonText, std::function<void()> pressed) = 0;
    virtual void closeNotice(const QString& id) = 0;

    /// The indicator "Vellumtide is recording"; an empty text hides it.
    virtual void setRecordingIndicator(const QString& text) = 0;

    /// The session cannot go on; the program ends with the exit status after the user saw the message.
    virtual void fatalError(const QString& title, const QString& text) = 0;
};

} // namespace vt
