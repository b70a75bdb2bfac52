// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <utility>

namespace vt {

/// Steps that come back with a callback, one after another: a camera's small server is asked one thing at a
/// time. One thread.
class StepQueue
{
public:
    /// Calls it once when the step is over. false: the steps up to the next milestone would be in vain.
    using Next = std::function<void(bool)>;
    using Step = std::function<void(Next)>;

    void add(Step step) { enqueue({std::move(step), false}); }
    /// A step that runs whatever came of those before it.
    void addMilestone(Step step) { enqueue({std::move(step), true}); }
    [[nodiscard]] bool isIdle() const { return !m_isRunning; }
    /// Drops what has not begun; what runs may end, but nothing follows from it.
    void clear()
    {
        m_steps.clear();
        m_present = std::make_shared<int>(0);
        m_isRunning = false;
    }

private:
    struct Entry
    {
        Step step;
        bool isMilestone;
    };
    void enqueue(Entry entry)
    {
        m_steps.push_back(std::move(entry));
        if (!m_isRunning)
            runNext(true);
    }
    void runNext(bool wasUseful)
    {
        while (!wasUseful && !m_steps.empty() && !m_steps.front().isMilestone)
            m_steps.pop_front();
        m_isRunning = !m_steps.empty();
        if (!m_isRunning)
            return;
        const Step step = std::move(m_steps.front().step);
        m_steps.pop_front();
        step([this, run = std::weak_ptr<int>(m_present)](bool useful) {
            if (!run.expired())
                runNext(useful);
        });
    }

    std::deque<Entry> m_steps;
    std::shared_ptr<int> m_present = std::make_shared<int>(0); ///< replaced by clear()
    bool m_isRunning = false;
};

} // namespace vt
