// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "StallDevice.h"
#include "recording/FileWriter.h"

namespace vt::test {

/// A running writer whose worker hangs in a first write of one byte until released: what is queued meanwhile
/// meets no contention and stays in order.
class HeldWriter
{
public:
    HeldWriter()
    {
        writer.start();
        writer.queueWrite(&m_gate, QByteArray("0"));
        m_gate.waitUntilEntered();
    }
    void release() { m_gate.release(); }

private:
    StallDevice m_gate{StallDevice::Gate::Closed};

public:
    FileWriter writer; ///< goes before the gate
};

} // namespace vt::test
