// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"
#include "base/ThreadCall.h"

#include <QObject>

namespace vt::test {

/// A fake time source whose advance() waits for every timer that it fires, on whatever thread that lives. The
/// contexts of all timers are Inboxes on running threads.
class LockstepTime final : public TimeSource
{
public:
    [[nodiscard]] QDateTime now() const override { return m_fake.now(); }
    [[nodiscard]] qint64 monotonicMs() const override { return m_fake.monotonicMs(); }
    [[nodiscard]] qint64 monotonicUs() const override { return m_fake.monotonicUs(); }
    [[nodiscard]] std::unique_ptr<Timer> createTimer(QObject* context,
                                                     std::function<void()> onTimeout) override
    {
        auto* inbox = dynamic_cast<Inbox*>(context);
        return m_fake.createTimer(&m_here, [this, inbox, onTimeout = std::move(onTimeout)] {
            const auto done = callOn(*inbox, 10000, [onTimeout] {
                onTimeout();
                return true;
            });
            m_hasHung = m_hasHung || !done;
        });
    }

    void advance(qint64 milliseconds) { m_fake.advance(milliseconds); }
    [[nodiscard]] int activeTimers() const { return m_fake.activeTimers(); }
    [[nodiscard]] bool hasHung() const { return m_hasHung; }

private:
    QObject m_here; ///< on the test's thread, so that the fake fires directly
    FakeTimeSource m_fake;
    bool m_hasHung = false;
};

} // namespace vt::test
