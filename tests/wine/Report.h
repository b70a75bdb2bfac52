// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdio>
#include <string>

namespace vt::test {

/// Judges one thing and prints its line when it goes out of scope: "ok", "not run" or "FAILED".
class Report
{
public:
    explicit Report(std::string name) : m_name(std::move(name)) {}
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
    ~Report()
    {
        if (!m_failure.empty()) {
            std::printf("FAILED %s: %s\n", m_name.c_str(), m_failure.c_str());
            s_failed = true;
        } else if (!m_obstacle.empty()) {
            std::printf("not run %s: %s\n", m_name.c_str(), m_obstacle.c_str());
        } else {
            std::printf("ok %s\n", m_name.c_str());
        }
        std::fflush(stdout);
    }

    /// Returns met; the first failure is the one told.
    bool check(bool met, const std::string& what)
    {
        if (!met && m_failure.empty())
            m_failure = what;
        return met;
    }
    template <class Value>
    bool equal(Value found, Value wanted, const std::string& what)
    {
        return check(found == wanted, what + ": " + std::to_string(static_cast<long long>(found)) +
                                          " instead of " + std::to_string(static_cast<long long>(wanted)));
    }
    /// call is not there in this system, by its own account (ERROR_CALL_NOT_IMPLEMENTED); any other error is
    /// a failure. True when it may go on.
    bool reached(const char* call, unsigned long error)
    {
        constexpr unsigned long NotImplemented = 120;
        if (error == 0)
            return true;
        const std::string text = std::string(call) + " (error " + std::to_string(error) + ")";
        if (error == NotImplemented)
            m_obstacle = text;
        else
            check(false, text);
        return false;
    }

    [[nodiscard]] static int exitCode() { return s_failed ? 1 : 0; }

private:
    inline static bool s_failed = false;
    std::string m_name;
    std::string m_failure;
    std::string m_obstacle;
};

} // namespace vt::test
