// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ConsoleInteraction.h"

#include <cstdio>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

void print(const QString& text, std::FILE* stream)
{
    const QByteArray bytes = (text + u'\n').toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

void printError(const QString& text)
{
    print(text, stderr);
}

void printOutput(const QString& text)
{
    print(text, stdout);
}

void ConsoleInteraction::notify(Severity, const QString& title, const QString& text)
{
    printError(u"%1: %2"_s.arg(title, text));
}

void ConsoleInteraction::ask(const Question& question, std::function<void(int)> answered)
{
    if (!question.informativeText.isEmpty())
        printError(u"%1: %2 %3"_s.arg(question.title, question.text, question.informativeText));
    else
        printError(u"%1 %2"_s.arg(question.text, question.buttons.value(question.defaultButton)));
    answered(question.defaultButton);
}

void ConsoleInteraction::showNotice(const QString&, const QString& title, const QString& text, const QString&,
                                    std::function<void()>)
{
    printError(u"%1: %2"_s.arg(title, text));
}

void ConsoleInteraction::closeNotice(const QString&) {}

void ConsoleInteraction::setRecordingIndicator(const QString& text)
{
    if (!text.isEmpty())
        printError(text);
}

void ConsoleInteraction::fatalError(const QString& title, const QString& text)
{
    m_fatal = true;
    printError(u"%1: %2"_s.arg(title, text));
}

} // namespace vt
