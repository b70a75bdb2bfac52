// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/UserInteraction.h"

namespace vt {

/// UserInteraction of a run without a window: writes each message, word for word, to standard error, and
/// answers questions with their default button.
class ConsoleInteraction final : public UserInteraction
{
public:
    void notify(Severity severity, const QString& title, const QString& text) override;
    void ask(const Question& question, std::function<void(int)> answered) override;
    void showNotice(const QString& id, const QString& title, const QString& text, const QString& buttonText,
                    std::function<void()> pressed) override;
    void closeNotice(const QString& id) override;
    void setRecordingIndicator(const QString& text) override;
    void fatalError(const QString& title, const QString& text) override;

    /// True once fatalError has been called.
    [[nodiscard]] bool fatal() const { return m_fatal; }

private:
    bool m_fatal = false;
};

/// One line (or several) to standard error / output, UTF-8, in one write.
void printError(const QString& text);
void printOutput(const QString& text);

} // namespace vt
