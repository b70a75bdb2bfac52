// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>

namespace vt {

/// A serial line without a wire, for simulated devices: what is written here is read by whoever opens
/// peerPath() as a serial port, and the other way round. The line stays up while nobody has opened the other
/// end, and carries every byte unchanged. Only on systems that have pseudo-terminals (not on Windows).
/// Lives on one thread, which runs an event loop; never blocks.
class PseudoTerminal
{
public:
    [[nodiscard]] static bool isAvailable();

    PseudoTerminal();
    ~PseudoTerminal(); ///< closes
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// Makes a new line. readyRead is called when bytes have arrived; it may not close the line. False on
    /// failure, see errorText().
    [[nodiscard]] bool open(std::function<void()> readyRead);
    /// Like a cable pulled out: whoever has the other end open gets an error.
    void close();
    [[nodiscard]] bool isOpen() const;

    /// The device file of the other end; another one after each open().
    [[nodiscard]] QString peerPath() const;
    /// All that has arrived; empty when nothing has.
    [[nodiscard]] QByteArray read();
    /// How many bytes the line took; less than there are when the other end does not read, 0 when closed.
    [[nodiscard]] qsizetype write(const QByteArray& bytes);
    [[nodiscard]] QString errorText() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
