// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/PowerEvents.h"
#include "platform/windows/plain/PowerMessages.h"

#include <QAbstractNativeEventFilter>
#include <memory>
#include <optional>

namespace vt {

namespace windows {
class EventWindow;
}

/// PowerEvents by window messages. With windows, they come through the application's native event filter, to
/// each top-level window in turn: each is answered, an event is told once. A program without windows gets a
/// hidden one of its own for them. Made and used on the interface thread, after the application object.
class WinPowerEvents final : public PowerEvents, public QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    WinPowerEvents();
    ~WinPowerEvents() override;

    void setAcquiring(bool acquiring) override;
    void readyForSystemEvent() override; ///< nothing waits: the events are over when the receivers return
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    /// The answer to a message to the window that goes no further.
    std::optional<qintptr> handle(void* window, unsigned message, quintptr wParam, qintptr lParam);
    void tell(const windows::MessageVerdict& verdict);
    void block();
    void unblock();

    std::unique_ptr<windows::EventWindow> m_window;
    void* m_blockingWindow = nullptr; ///< carries the block reason
    windows::ToldEvent m_told;
    bool m_acquiring = false;
};

} // namespace vt
