// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

namespace vt {

/// Keeps the computer from going to sleep by itself for as long as it is held: a system-required and, where
/// granted, an execution-required power request on Windows; a logind inhibitor for "sleep:idle" on Linux.
/// Interface thread; no call waits for an answer (on Linux the answer comes later and is logged).
class PowerRequest
{
public:
    PowerRequest();
    ~PowerRequest(); ///< releases
    PowerRequest(const PowerRequest&) = delete;
    PowerRequest& operator=(const PowerRequest&) = delete;

    /// False when the system refused at once; the recording runs all the same. True when held already.
    bool acquire();
    void release();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
