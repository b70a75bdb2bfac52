// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QApplication>
#include <vector>

namespace vt::bench {

/// Processor seconds of the calling thread so far; where the system does not tell them, seconds that passed.
[[nodiscard]] double threadSeconds();

/// Measures what refreshes cost the interface thread: the tick of a view's timer together with the painting
/// that follows it, or a painting that follows none.
class MeasuringApplication final : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override;

    struct Refreshes
    {
        std::vector<double> ms; ///< of the interface thread, ascending
        int ticks = 0;          ///< of views' timers
        int paintings = 0;      ///< of windows
        /// Milliseconds that this share (0 to 1) of them stays under; 0 without any.
        [[nodiscard]] double at(double share) const;
    };
    /// Those since the last call.
    [[nodiscard]] Refreshes take();

private:
    Refreshes m_refreshes;
    bool m_awaitsPainting = false;
};

} // namespace vt::bench
