// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt::windows {

/// A power request that keeps the system awake while it is held, and where the system grants that, keeps this
/// process running in connected standby.
class SleepRequest
{
public:
    struct Outcome
    {
        const char* failedCall = nullptr; ///< null: the system-required request is held
        unsigned long error = 0;          ///< of the failed call
        bool executionRequired = false;
        unsigned long executionError = 0; ///< why the execution-required request is not held
    };

    SleepRequest() = default;
    ~SleepRequest() { release(); }
    SleepRequest(const SleepRequest&) = delete;
    SleepRequest& operator=(const SleepRequest&) = delete;

    /// reason is shown by "powercfg /requests". Call only when not held.
    [[nodiscard]] Outcome acquire(const wchar_t* reason);
    void release();
    [[nodiscard]] bool isHeld() const { return m_request != nullptr; }

private:
    void* m_request = nullptr;
    bool m_executionRequired = false;
};

} // namespace vt::windows
