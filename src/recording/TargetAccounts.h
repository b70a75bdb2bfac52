// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <array>
#include <atomic>

class QIODevice;

namespace vt {

/// Payload bytes of one target. Producers and the worker count on different cache lines.
struct TargetAccount
{
    alignas(64) std::atomic<const QIODevice*> target{nullptr};
    std::atomic<quint64> queued{0};
    std::atomic<quint64> dropped{0};
    alignas(64) std::atomic<quint64> written{0};
    std::atomic<quint64> failed{0};
    quint64 youngestPerformed = 0; ///< order; the worker's own
};

/// The accounts of one writer's targets, found and opened without a lock. Targets beyond the table's size,
/// and null, share the last account. Any thread.
class TargetAccounts
{
public:
    static constexpr std::size_t OwnAccounts = 16; ///< a recording has four files

    [[nodiscard]] TargetAccount& of(const QIODevice* target)
    {
        for (std::size_t i = 0; target && i < OwnAccounts; ++i) {
            const QIODevice* holder = m_accounts[i].target.load(std::memory_order_relaxed);
            if (holder == target)
                return m_accounts[i];
            if (!holder && (m_accounts[i].target.compare_exchange_strong(holder, target) || holder == target))
                return m_accounts[i];
        }
        return m_accounts.back();
    }
    /// Null when nothing was ever offered for target.
    [[nodiscard]] const TargetAccount* find(const QIODevice* target) const
    {
        for (const TargetAccount& account : m_accounts)
            if (target && account.target.load() == target)
                return &account;
        return nullptr;
    }
    [[nodiscard]] const std::array<TargetAccount, OwnAccounts + 1>& all() const { return m_accounts; }

private:
    std::array<TargetAccount, OwnAccounts + 1> m_accounts;
};

} // namespace vt
