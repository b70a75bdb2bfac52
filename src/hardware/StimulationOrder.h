// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDebug>
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace vt {

/// A request to stimulate on its way to the hardware. The interface thread may take cages back at any time
/// until it is carried out; the hardware thread asks for what is left of it. It holds for one second only: a
/// stimulation that comes later belongs to a state of the animal that has passed.
class StimulationOrder
{
public:
    static constexpr qint64 ValidUs = 1'000'000;

    enum class Target { Unit, Outputs };

    /// requestedUs: on the monotonic clock.
    StimulationOrder(Target target, std::uint16_t cages, qint64 requestedUs)
        : m_target(target), m_deadlineUs(requestedUs + ValidUs), m_cages(cages)
    {}

    [[nodiscard]] Target target() const { return m_target; }
    /// Any thread.
    void withdraw(std::uint16_t cages) { m_cages &= static_cast<std::uint16_t>(~unsigned{cages}); }
    [[nodiscard]] std::uint16_t cages() const { return m_cages; }
    [[nodiscard]] bool isExpired(qint64 nowUs) const { return nowUs > m_deadlineUs; }

private:
    const Target m_target;
    const qint64 m_deadlineUs;
    std::atomic<std::uint16_t> m_cages;
};

/// The orders that have not been carried out yet. Interface thread; the hardware thread holds each order
/// until it is done with it.
class StimulationOrders
{
public:
    using Target = StimulationOrder::Target;

    [[nodiscard]] std::shared_ptr<StimulationOrder> add(Target target, std::uint16_t cages, qint64 nowUs)
    {
        std::erase_if(m_pending, [](const auto& order) { return order.expired(); });
        auto order = std::make_shared<StimulationOrder>(target, cages, nowUs);
        m_pending.push_back(order);
        return order;
    }
    /// Is there one that has not been carried out, for any of these cages?
    [[nodiscard]] bool isWaiting(Target target, std::uint16_t cages) const
    {
        return std::ranges::any_of(m_pending, [=](const auto& pending) {
            const auto order = pending.lock();
            return order && order->target() == target && (order->cages() & cages) != 0;
        });
    }
    void withdraw(Target target, std::uint16_t cages)
    {
        for (const auto& pending : m_pending)
            if (const auto order = pending.lock(); order && order->target() == target)
                order->withdraw(cages);
    }

private:
    std::vector<std::weak_ptr<StimulationOrder>> m_pending;
};

/// Decides on the hardware thread what is left of an order, and tells of the first of several in a row that
/// are dropped for the same reason.
class StimulationOrderCheck
{
public:
    /// The cages that are still to be stimulated; 0 when there are none, or when it is too late.
    [[nodiscard]] std::uint16_t remaining(const StimulationOrder& order, qint64 nowUs)
    {
        const std::uint16_t cages = order.cages();
        if (cages == 0 && !std::exchange(m_isWithdrawalTold, true))
            qInfo("StimulationHardware: activation dropped, stopped before it was carried out");
        if (cages == 0 || !order.isExpired(nowUs))
            return cages;
        if (!std::exchange(m_isExpiryTold, true))
            qWarning("StimulationHardware: activation dropped, older than 1000 ms");
        return 0;
    }
    /// An order was carried out: the next one that is dropped is told.
    void noteCarriedOut() { m_isWithdrawalTold = m_isExpiryTold = false; }

private:
    bool m_isWithdrawalTold = false;
    bool m_isExpiryTold = false;
};

} // namespace vt
