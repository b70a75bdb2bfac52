// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace vt {

/// One file of a recording that another thread writes while nobody waits for it. A disk that hangs may answer
/// when the next recording runs already: that counts for none. Thread of its owner, but for the answer.
class AwaitedWrite
{
public:
    /// The file is to be written now. What is returned tells how that went, on any thread.
    [[nodiscard]] std::function<void(bool isWritten)> begin()
    {
        m_outcome = std::make_shared<std::atomic<Outcome>>(Outcome::Pending);
        return [outcome = m_outcome](bool isWritten) {
            *outcome = isWritten ? Outcome::Written : Outcome::Failed;
        };
    }
    /// As far as is known.
    [[nodiscard]] bool hasFailed() const { return m_outcome && *m_outcome == Outcome::Failed; }
    /// The recording has ended: is the file missing? One that nobody has answered for is. Forgets it.
    [[nodiscard]] bool endsMissing()
    {
        const auto outcome = std::exchange(m_outcome, nullptr);
        return outcome && *outcome != Outcome::Written;
    }

private:
    enum class Outcome { Pending, Written, Failed };
    std::shared_ptr<std::atomic<Outcome>> m_outcome;
};

} // namespace vt
