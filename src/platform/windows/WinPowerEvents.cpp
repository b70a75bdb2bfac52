// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/WinPowerEvents.h"
#include "platform/windows/plain/EventWindow.h"

#include <QCoreApplication>
#include <QDebug>
#include <utility>

#include <qt_windows.h>

namespace vt {

using windows::SystemEvent;

namespace {

// Windows ends a program 5 s after it was told of the end, and suspends 2 s after it told of that. Both less
// a margin for what comes after the wait: the last lines of the log, the answer to the message.
constexpr int EndSessionMs = 4000;
constexpr int SuspendMs = 1500;

const char* reasonText(windows::EndReason reason)
{
    switch (reason) {
    case windows::EndReason::UserLogoff:
        return "User logoff";
    case windows::EndReason::ApplicationClose:
        return "Application close";
    case windows::EndReason::SystemShutdown:
        break;
    }
    return "System shutdown";
}

void logEvent(const windows::MessageVerdict& verdict)
{
    switch (verdict.event) {
    case SystemEvent::None:
        return;
    case SystemEvent::QueryPassed:
    case SystemEvent::QueryBlocked:
        qDebug("WinPowerEvents: WM_QUERYENDSESSION received - Windows requesting shutdown/restart");
        qDebug("  Reason: %s", reasonText(verdict.reason));
        if (verdict.event == SystemEvent::QueryBlocked)
            qWarning("WinPowerEvents: BLOCKING shutdown - data acquisition is in progress");
        return;
    case SystemEvent::ShutdownConfirmed:
        qWarning("WinPowerEvents: WM_ENDSESSION received - Shutdown confirmed");
        qWarning("  Reason: %s", reasonText(verdict.reason));
        return;
    case SystemEvent::ShutdownCancelled:
        qDebug("WinPowerEvents: WM_ENDSESSION - Shutdown cancelled");
        return;
    case SystemEvent::Suspending:
        qDebug("WinPowerEvents: PBT_APMSUSPEND - System is suspending (sleep/hibernate)");
        qDebug("  Application has ~2 seconds to stop critical operations");
        return;
    case SystemEvent::ResumedByUser:
        qDebug("WinPowerEvents: PBT_APMRESUMESUSPEND - System resumed (user interaction)");
        return;
    case SystemEvent::ResumedAutomatically:
        qDebug("WinPowerEvents: PBT_APMRESUMEAUTOMATIC - System resumed from sleep");
        return;
    case SystemEvent::BatteryLow:
        qWarning("WinPowerEvents: PBT_APMBATTERYLOW - Battery critically low!");
        return;
    case SystemEvent::PowerStatusChanged:
        qDebug("WinPowerEvents: PBT_APMPOWERSTATUSCHANGE - Power status changed (battery/AC)");
        return;
    }
}

} // namespace

std::unique_ptr<PowerEvents> PowerEvents::create()
{
    return std::make_unique<WinPowerEvents>();
}

WinPowerEvents::WinPowerEvents()
{
    QCoreApplication* application = QCoreApplication::instance();
    application->installNativeEventFilter(this);
    // Asked by name: this folder knows no windows of Qt's.
    if (!application->inherits("QGuiApplication")) {
        m_window = std::make_unique<windows::EventWindow>(
            [this](unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
                return handle(nullptr, message, wParam, lParam);
            });
        if (!m_window->window())
            qWarning("WinPowerEvents: CreateWindowExW failed, error: %lu", m_window->error());
    }
    qDebug("WinPowerEvents: Initialized - monitoring system power and shutdown events");
}

WinPowerEvents::~WinPowerEvents()
{
    qDebug("WinPowerEvents: Shutting down event monitor");
    unblock();
    if (QCoreApplication* application = QCoreApplication::instance())
        application->removeNativeEventFilter(this);
}

void WinPowerEvents::setAcquiring(bool acquiring)
{
    if (acquiring == m_acquiring)
        return;
    m_acquiring = acquiring;
    if (acquiring)
        block();
    else
        unblock();
}

void WinPowerEvents::readyForSystemEvent() {}

void WinPowerEvents::block()
{
    void* window = windows::visibleTopLevelWindow();
    if (!window && m_window)
        window = m_window->window();
    const std::wstring reason = QStringLiteral("%1 is running — reboot would interrupt operation.")
                                    .arg(QCoreApplication::applicationName())
                                    .toStdWString();
    if (const unsigned long error = windows::createBlockReason(window, reason.c_str())) {
        qWarning("WinPowerEvents: ShutdownBlockReasonCreate failed, error: %lu", error);
        return;
    }
    m_blockingWindow = window;
    qDebug("WinPowerEvents: ShutdownBlockReasonCreate registered");
    qDebug("WinPowerEvents: Shutdown blocking ENABLED — system reboots will be denied");
}

void WinPowerEvents::unblock()
{
    if (!m_blockingWindow)
        return;
    windows::destroyBlockReason(std::exchange(m_blockingWindow, nullptr));
    qDebug("WinPowerEvents: ShutdownBlockReasonDestroy called");
    qDebug("WinPowerEvents: Shutdown blocking DISABLED");
}

bool WinPowerEvents::nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result)
{
    if (eventType != "windows_generic_MSG" || !message)
        return false;
    const MSG& native = *static_cast<const MSG*>(message);
    const auto answer = handle(native.hwnd, native.message, native.wParam, native.lParam);
    if (answer && result)
        *result = *answer;
    return answer.has_value();
}

std::optional<qintptr> WinPowerEvents::handle(void* window, unsigned message, quintptr wParam, qintptr lParam)
{
    const windows::MessageVerdict verdict = windows::judgeMessage(message, wParam, lParam, m_acquiring);
    if (verdict.event != SystemEvent::None && m_told.isNew(verdict.event, window))
        tell(verdict);
    if (!verdict.answered)
        return std::nullopt;
    return verdict.answer;
}

void WinPowerEvents::tell(const windows::MessageVerdict& verdict)
{
    logEvent(verdict);
    if (verdict.event == SystemEvent::ShutdownConfirmed)
        emit shutdownConfirmed(EndSessionMs);
    else if (verdict.event == SystemEvent::Suspending)
        emit suspending(SuspendMs);
    else if (verdict.event == SystemEvent::ResumedAutomatically)
        emit resumed();
}

} // namespace vt
