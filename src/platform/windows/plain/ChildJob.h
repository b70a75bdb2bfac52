// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt::windows {

/// Ends child processes together with this one, however this one ends: a job that kills its members when its
/// last handle is closed. Any thread.
class ChildJob
{
public:
    ChildJob();
    ~ChildJob(); ///< ends the children that are still alive
    ChildJob(const ChildJob&) = delete;
    ChildJob& operator=(const ChildJob&) = delete;

    /// Adds a running process (its handle, with the right to set quota and to terminate) and whatever it
    /// starts from then on. False: see failedCall() and error().
    [[nodiscard]] bool add(void* process);
    [[nodiscard]] const char* failedCall() const { return m_failedCall; }
    [[nodiscard]] unsigned long error() const { return m_error; }

private:
    bool fail(const char* call);

    void* m_job = nullptr;
    const char* m_failedCall = nullptr;
    unsigned long m_error = 0;
};

} // namespace vt::windows
